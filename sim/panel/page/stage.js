// Chooses the largest whole-number scale at which the display fits the window (at least 1), and the knob's diameter.

const DISPLAY_WIDTH = 256;
const DISPLAY_HEIGHT = 160;
/** The limits of the knob's diameter in CSS pixels, and its share of the display's width. */
const MIN_KNOB = 150;
const MAX_KNOB = 250;
const KNOB_SHARE = 0.22;

export class Stage {
    #element;
    #display;

    constructor(element, display) {
        this.#element = element;
        this.#display = display;
        new ResizeObserver(() => this.#fit()).observe(element);
        this.#watchPixelRatio();
        this.#fit();
    }

    #watchPixelRatio() {
        const query = matchMedia(`(resolution: ${devicePixelRatio}dppx)`);
        query.addEventListener("change", () => {
            this.#fit();
            this.#watchPixelRatio();
        }, {once: true});
    }

    #fit() {
        let scale = 1;
        while (this.#fits(scale + 1)) {
            ++scale;
        }
        this.#display.setScale(scale);
        this.#element.style.setProperty("--knob", `${knobFor(scale)}px`);
    }

    #fits(scale) {
        const style = getComputedStyle(this.#element);
        const number = name => parseFloat(style.getPropertyValue(name));
        const width = DISPLAY_WIDTH * scale / devicePixelRatio;
        const height = DISPLAY_HEIGHT * scale / devicePixelRatio;
        const knob = knobFor(scale) * number("--has-knob-beside");
        const limit = number("--around-y") > 0 ? innerHeight - number("--around-y") : Infinity;
        return width + knob + number("--around-x") <= this.#element.clientWidth && height <= limit;
    }
}

function knobFor(scale) {
    const share = KNOB_SHARE * DISPLAY_WIDTH * scale / devicePixelRatio;
    return Math.round(Math.min(MAX_KNOB, Math.max(MIN_KNOB, share)));
}
