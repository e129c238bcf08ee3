// Converts a press of the knob to input statements, so that a short press is a click at every speed of the simulation.

/** In milliseconds; longer than the device's debouncing takes. */
const SHORTEST_PRESS = 60;
/** In milliseconds; a shorter press is sent as a click, unless the device runs in real time. */
const CLICK_LIMIT = 500;

export class Press {
    #send;
    #isRealTime = () => true;
    #start = 0;
    #timer = null;
    #isSent = false;

    /** `send`: sends a statement. `isRealTime`: returns true while the device runs at speed 1. */
    constructor(send, isRealTime) {
        this.#send = send;
        this.#isRealTime = isRealTime;
    }

    begin() {
        clearTimeout(this.#timer);
        this.#end();
        this.#start = performance.now();
        if (this.#isRealTime()) {
            this.#sendPress();
        } else {
            this.#timer = setTimeout(() => this.#sendPress(), CLICK_LIMIT);
        }
    }

    finish() {
        clearTimeout(this.#timer);
        if (!this.#isSent) {
            this.#send("click");
            return;
        }
        const rest = SHORTEST_PRESS - (performance.now() - this.#start);
        this.#timer = setTimeout(() => this.#end(), Math.max(0, rest));
    }

    #sendPress() {
        this.#isSent = true;
        this.#send("press");
    }

    #end() {
        if (this.#isSent) {
            this.#isSent = false;
            this.#send("release");
        }
    }
}
