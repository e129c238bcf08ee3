// The USB drive: one of the prepared drives, or a drive with the user's own file.

/** Bytes; the simulator rejects larger files. */
const MAX_FIRMWARE = 64 * 1024 * 1024;

export class Drive {
    #elements;
    #connection;
    #report;
    #plugged = null;
    #titles = new Map();

    /** `elements`: dock, stick, sticker, choice (select) and file (input). `report`: shows an error. */
    constructor(elements, connection, report) {
        this.#elements = elements;
        this.#connection = connection;
        this.#report = report;
        elements.stick.addEventListener("click", () => this.#toggle());
        elements.choice.addEventListener("change", () => this.#exchange());
        elements.file.addEventListener("change", () => this.#useFiles(elements.file.files));
        this.#listenToDrops();
    }

    /** `choices`: name and title of each prepared drive. Before this call, the stick is disabled. */
    setChoices(choices) {
        this.#elements.stick.disabled = false;
        this.#titles = new Map(choices.map(({name, title}) => [name, title]));
        this.#elements.choice.replaceChildren(...choices.map(({name, title}) => new Option(title, name)));
        if (this.#titles.has(this.#plugged)) {
            this.#elements.choice.value = this.#plugged;
        }
        this.#show();
    }

    /** `name`: the drive in the port; null for none. */
    setPlugged(name) {
        // An unchanged state must not reset the choice: the simulator may not have applied the latest choice yet.
        if (name === this.#plugged) {
            return;
        }
        this.#plugged = name;
        if (this.#titles.has(name)) {
            this.#elements.choice.value = name;
        }
        this.#show();
    }

    #show() {
        const {stick, sticker, choice} = this.#elements;
        const title = this.#titles.get(this.#plugged ?? choice.value) ?? "Your own file";
        sticker.textContent = title;
        stick.ariaPressed = this.#plugged !== null;
        stick.ariaLabel = `USB drive: ${title}`;
    }

    #toggle() {
        this.#connection.input(this.#plugged === null ? `plug ${this.#elements.choice.value}` : "unplug");
    }

    #exchange() {
        if (this.#plugged === null) {
            this.#show();
        } else {
            this.#connection.input("unplug");
            this.#connection.input(`plug ${this.#elements.choice.value}`);
        }
    }

    #listenToDrops() {
        const {dock} = this.#elements;
        let depth = 0;
        const show = change => {
            depth = Math.max(0, depth + change);
            dock.classList.toggle("dropping", depth > 0);
        };
        dock.addEventListener("dragenter", () => show(1));
        dock.addEventListener("dragleave", () => show(-1));
        dock.addEventListener("drop", event => {
            show(-depth);
            this.#useFiles(event.dataTransfer.files);
        });
        // A file that is dropped beside the drive must not replace the page.
        for (const type of ["dragover", "drop"]) {
            addEventListener(type, event => event.preventDefault());
        }
    }

    #useFiles(files) {
        const [file] = files;
        if (!file) {
            return;
        }
        if (file.size > MAX_FIRMWARE) {
            this.#report(`${file.name} is larger than ${MAX_FIRMWARE >> 20} MiB.`);
        } else {
            this.#connection.send("firmware", file);
        }
        this.#elements.file.value = "";
    }
}
