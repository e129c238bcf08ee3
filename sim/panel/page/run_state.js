// Shows the status, the script and the counters, and handles the controls for pausing, stepping and speed.

const ITERATIONS_PER_SECOND = 1000;
const FULL_SPEED = 0;

export class RunState {
    #elements;
    #connection;
    #isRunning = true;
    #isConnected = false;
    #state = null;

    /** `elements`: status, statusText, time, iteration, frames, script, pause, pauseText, steps, speeds, announcement. */
    constructor(elements, connection) {
        this.#elements = elements;
        this.#connection = connection;
        elements.pause.addEventListener("click", () => connection.input(this.#isRunning ? "pause" : "resume"));
        elements.steps.forEach(({button, unit}) => {
            button.addEventListener("click", () => connection.input(`step ${unit}`));
        });
        elements.speeds.forEach(radio => {
            radio.addEventListener("change", () => connection.input(`speed ${radio.value}`));
        });
    }

    get isRealTime() {
        return this.#isRunning && this.#state?.speed === 1;
    }

    setConnected(isConnected) {
        this.#isConnected = isConnected;
        this.#showStatus();
    }

    set(state) {
        if (state.speed !== this.#state?.speed) {
            this.#elements.speeds.forEach(radio => { radio.checked = radio.value === speedName(state.speed); });
        }
        this.#state = state;
        this.#isRunning = state.running;
        const {script, pause, pauseText, steps} = this.#elements;
        script.textContent = state.script ?? "none";
        pause.dataset.paused = !state.running;
        pauseText.textContent = state.running ? "Pause" : "Resume";
        steps.forEach(({button}) => { button.disabled = state.running; });
        this.#showStatus();
    }

    setCounters(state) {
        const {time, iteration, frames} = this.#elements;
        time.textContent = `${(state.iteration / ITERATIONS_PER_SECOND).toFixed(3)} s`;
        iteration.textContent = String(state.iteration);
        frames.textContent = String(state.frames);
    }

    #showStatus() {
        const {status, statusText, announcement} = this.#elements;
        const [kind, text] = this.#describe();
        if (statusText.textContent !== text) {
            status.dataset.kind = kind;
            statusText.textContent = text;
            announcement.textContent = text;
        }
    }

    #describe() {
        const state = this.#state;
        if (!this.#isConnected) {
            return ["lost", "Not connected"];
        }
        if (state?.ended) {
            return ["ended", `Updater ended: ${state.ended}`];
        }
        if (!state?.power) {
            return ["off", "Power off"];
        }
        return state.running ? ["running", "Running"] : ["paused", "Paused"];
    }
}

function speedName(speed) {
    return speed === FULL_SPEED ? "full" : String(speed);
}
