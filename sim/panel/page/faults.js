// The list of faults that can be injected.

const GROUPS = [
    {when: "any", title: "At any time"},
    {when: "start", title: "From the next power-on"},
];

export class Faults {
    #list;
    #count;
    #connection;
    #boxes = new Map();
    #active = "";

    constructor(list, count, connection) {
        this.#list = list;
        this.#count = count;
        this.#connection = connection;
    }

    /** `choices`: name, title and `when` (see GROUPS) of each fault. */
    setChoices(choices) {
        this.#boxes.clear();
        this.#list.replaceChildren(...GROUPS.map(group => this.#fieldset(group, choices)));
    }

    setActive(names) {
        // An unchanged state must not reset the boxes: the simulator may not have applied the latest change yet.
        if (names.join() === this.#active) {
            return;
        }
        this.#active = names.join();
        for (const [name, box] of this.#boxes) {
            box.checked = names.includes(name);
        }
        this.#count.textContent = names.length === 0 ? "" : `${names.length} on`;
    }

    #fieldset({when, title}, choices) {
        const set = document.createElement("fieldset");
        const legend = set.appendChild(document.createElement("legend"));
        legend.textContent = title;
        set.append(...choices.filter(choice => choice.when === when).map(choice => this.#label(choice)));
        return set;
    }

    #label({name, title}) {
        const box = document.createElement("input");
        box.type = "checkbox";
        box.addEventListener("change", () => this.#set(name, box));
        this.#boxes.set(name, box);
        const label = document.createElement("label");
        label.append(box, title);
        return label;
    }

    async #set(name, box) {
        if (!await this.#connection.send("input", `fault ${box.checked ? "on" : "off"} ${name}`)) {
            box.checked = !box.checked;
        }
    }
}
