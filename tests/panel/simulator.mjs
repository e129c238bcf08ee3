// Starts the front panel's program on a free port.
import {spawn} from "node:child_process";
import {once} from "node:events";
import {createInterface} from "node:readline";

export class Simulator {
    #process;

    constructor(process, address) {
        this.#process = process;
        this.address = address;
    }

    /** Resolves when the page can be opened. */
    static async start() {
        const child = spawn(process.env.PANEL, ["--port", "0"], {stdio: ["ignore", "pipe", "inherit"]});
        for await (const line of createInterface({input: child.stdout})) {
            const address = /http:\/\/\S+/.exec(line);
            if (address) {
                return new Simulator(child, address[0]);
            }
        }
        throw new Error("the simulator did not start");
    }

    /** The current state, as the pages receive it. */
    async state() {
        const {body} = await fetch(`${this.address}events`);
        let text = "";
        for await (const part of body.pipeThrough(new TextDecoderStream())) {
            text += part;
            const state = /^event: state\ndata: (.*)\n\n/m.exec(text);
            if (state) {
                return JSON.parse(state[1]);
            }
        }
        throw new Error("the simulator sends no state");
    }

    async stop() {
        if (this.#process.exitCode === null) {
            this.#process.kill("SIGINT");
            await once(this.#process, "exit");
        }
    }
}
