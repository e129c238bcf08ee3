// The log: output, errors, events and protocol violations.

const MAX_ENTRIES = 1000;
/** The end of the list counts as visible if fewer than this many CSS pixels are hidden below. */
const END_RANGE = 24;

export class Log {
    #list;
    #badge;
    #violations = 0;
    #pending = [];
    /** Whether the list scrolls to new entries: true while its end is visible. */
    #isFollowing = true;

    constructor(list, badge) {
        this.#list = list;
        this.#badge = badge;
        list.addEventListener("scroll", () => {
            this.#isFollowing = list.scrollHeight - list.scrollTop - list.clientHeight < END_RANGE;
        });
        new ResizeObserver(() => this.#follow()).observe(list);
    }

    clear() {
        this.#pending = [];
        this.#list.replaceChildren();
        this.#violations = 0;
        this.#badge.hidden = true;
    }

    /** `entry`: iteration, kind (output, error, violation or event) and text. */
    add(entry) {
        this.#pending.push(entry);
        if (this.#pending.length === 1) {
            setTimeout(() => this.#flush());
        }
    }

    #flush() {
        const list = this.#list;
        list.append(...this.#pending.slice(-MAX_ENTRIES).map(entryElement));
        while (list.childElementCount > MAX_ENTRIES) {
            list.firstChild.remove();
        }
        this.#countViolations(this.#pending.filter(entry => entry.kind === "violation").length);
        this.#pending = [];
        this.#follow();
    }

    #follow() {
        if (this.#isFollowing) {
            this.#list.scrollTop = this.#list.scrollHeight;
        }
    }

    #countViolations(count) {
        this.#violations += count;
        this.#badge.hidden = this.#violations === 0;
        this.#badge.textContent = this.#violations === 1 ? "1 violation" : `${this.#violations} violations`;
    }
}

function entryElement({iteration, kind, text}) {
    const element = document.createElement("div");
    element.dataset.kind = kind;
    element.append(span("at", String(iteration)), span("text", kind === "violation" ? `Violation: ${text}` : text));
    return element;
}

function span(className, text) {
    const element = document.createElement("span");
    element.className = className;
    element.textContent = text;
    return element;
}
