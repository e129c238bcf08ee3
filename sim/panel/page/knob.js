// The knob: turned with the mouse wheel, with the arrow keys, or by dragging its skirt; pressed with the pointer or the
// space bar.

const DEGREES_PER_STEP = 15;
/** As a fraction of the knob's radius: up to here, the pointer presses the cap; farther out, it turns the skirt. */
const CAP_RADIUS = 0.62;
/** In CSS pixels: a wheel event of at least this length is a notch of a mouse wheel; it turns the knob by one step. */
const WHEEL_NOTCH = 50;
/** In CSS pixels: shorter events come from touchpads; the knob turns by one step when their sum reaches this length. */
const WHEEL_STEP = 40;

const STEPS_OF_KEY = {ArrowLeft: -1, ArrowDown: -1, ArrowRight: 1, ArrowUp: 1};

export class Knob {
    #element;
    #handlers;
    #angle = 0;
    #wheel = 0;
    #drag = null;
    #isDown = false;

    /** `handlers`: step(direction), press(), release(). */
    constructor(element, handlers) {
        this.#element = element;
        this.#handlers = handlers;
        this.#listenToPointer();
        this.#listenToWheel();
        this.#listenToKeys();
    }

    turn(steps) {
        this.#angle += steps * DEGREES_PER_STEP;
        this.#element.style.setProperty("--angle", `${this.#angle}deg`);
        for (let i = 0; i < Math.abs(steps); ++i) {
            this.#handlers.step(Math.sign(steps));
        }
    }

    #press() {
        if (!this.#isDown) {
            this.#isDown = true;
            this.#handlers.press();
        }
    }

    #release() {
        if (this.#isDown) {
            this.#isDown = false;
            this.#handlers.release();
        }
    }

    /** Shows the state of the device's button, which another page may have pressed. */
    setPressed(isPressed) {
        this.#element.classList.toggle("pressed", isPressed);
    }

    #listenToPointer() {
        const element = this.#element;
        element.addEventListener("pointerdown", event => this.#grasp(event));
        element.addEventListener("pointermove", event => this.#pull(event));
        for (const end of ["pointerup", "pointercancel", "lostpointercapture"]) {
            element.addEventListener(end, () => this.#letGo());
        }
        element.addEventListener("contextmenu", event => event.preventDefault());
    }

    #grasp(event) {
        if (event.button !== 0 || !event.isPrimary) {
            return;
        }
        this.#element.setPointerCapture(event.pointerId);
        const {radius, angle} = this.#polar(event);
        if (radius <= CAP_RADIUS) {
            this.#press();
        } else {
            this.#drag = {angle, rest: 0};
            this.#element.classList.add("turning");
        }
    }

    #pull(event) {
        if (!this.#drag) {
            return;
        }
        const {angle} = this.#polar(event);
        const change = (angle - this.#drag.angle + 540) % 360 - 180;
        this.#drag.angle = angle;
        this.#drag.rest += change;
        const steps = Math.trunc(this.#drag.rest / DEGREES_PER_STEP);
        if (steps !== 0) {
            this.#drag.rest -= steps * DEGREES_PER_STEP;
            this.turn(steps);
        }
    }

    #letGo() {
        this.#drag = null;
        this.#element.classList.remove("turning");
        this.#release();
    }

    /** The distance from the centre as a fraction of the knob's radius, and the clockwise angle in degrees. */
    #polar(event) {
        const box = this.#element.getBoundingClientRect();
        const x = event.clientX - box.left - box.width / 2;
        const y = event.clientY - box.top - box.height / 2;
        return {radius: Math.hypot(x, y) / (box.width / 2), angle: Math.atan2(y, x) * 180 / Math.PI};
    }

    #listenToWheel() {
        this.#element.addEventListener("wheel", event => {
            event.preventDefault();
            const delta = event.deltaY || event.deltaX;
            if (event.deltaMode !== WheelEvent.DOM_DELTA_PIXEL || Math.abs(delta) >= WHEEL_NOTCH) {
                this.turn(Math.sign(delta));
                this.#wheel = 0;
                return;
            }
            this.#wheel += delta;
            const steps = Math.trunc(this.#wheel / WHEEL_STEP);
            if (steps !== 0) {
                this.#wheel -= steps * WHEEL_STEP;
                this.turn(steps);
            }
        }, {passive: false});
    }

    /** The keys act while the knob or no element has the focus. */
    #listenToKeys() {
        document.addEventListener("keydown", event => {
            const steps = STEPS_OF_KEY[event.key];
            if (!this.#owns(event) || (steps === undefined && event.key !== " ")) {
                return;
            }
            event.preventDefault();
            if (steps !== undefined) {
                this.turn(steps);
            } else if (!event.repeat) {
                this.#press();
            }
        });
        document.addEventListener("keyup", event => {
            if (event.key === " " && this.#isDown) {
                event.preventDefault();
                this.#release();
            }
        });
        addEventListener("blur", () => this.#letGo());
        this.#element.addEventListener("blur", () => this.#letGo());
    }

    #owns(event) {
        const isPlain = !event.ctrlKey && !event.altKey && !event.metaKey && !event.shiftKey;
        return isPlain && (event.target === this.#element || event.target === document.body);
    }
}
