// The connection to the simulator: receives a stream of events, and sends inputs in order.

export class Connection {
    #queue = [];
    #isSending = false;
    #onFailure;

    /** `handlers`: open(), lost(), state(data), frame(text), log(entry), failure(text). */
    constructor(handlers) {
        this.#onFailure = handlers.failure;
        const source = new EventSource("events");
        source.addEventListener("open", handlers.open);
        source.addEventListener("error", handlers.lost);
        source.addEventListener("frame", event => handlers.frame(event.data));
        source.addEventListener("state", event => handlers.state(JSON.parse(event.data)));
        source.addEventListener("log", event => handlers.log(JSON.parse(event.data)));
    }

    /** Sends an input after all earlier requests. */
    input(statement) {
        this.#queue.push({path: "input", body: statement});
        this.#sendNext();
    }

    /** Sends a body to a path after all earlier requests. Resolves to whether the simulator has accepted it. */
    send(path, body) {
        return new Promise(resolve => {
            this.#queue.push({path, body, resolve});
            this.#sendNext();
        });
    }

    async #sendNext() {
        if (this.#isSending) {
            return;
        }
        this.#isSending = true;
        for (let request = this.#queue.shift(); request; request = this.#queue.shift()) {
            const isAccepted = await this.#post(request);
            request.resolve?.(isAccepted);
        }
        this.#isSending = false;
    }

    async #post({path, body}) {
        try {
            const response = await fetch(path, {method: "POST", body, headers: {"Content-Type": "text/plain"}});
            if (!response.ok) {
                this.#onFailure((await response.text()).trim() || `The simulator answered ${response.status}.`);
            }
            return response.ok;
        } catch {
            this.#onFailure("The simulator does not answer.");
            return false;
        }
    }
}
