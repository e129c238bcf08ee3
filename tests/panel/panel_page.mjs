// Operates the page of the front panel as a user does.
import assert from "node:assert/strict";
import {readFileSync} from "node:fs";
import {fileURLToPath} from "node:url";

const screensFolder = fileURLToPath(new URL("../../screens/", import.meta.url));

/** The limit of each wait, in milliseconds. */
export const TIMEOUT = 90_000;
const POLLING_PERIOD = 20;
/** CSS pixels that a notch of a mouse wheel scrolls. */
const NOTCH = 120;

export class PanelPage {
    #messages = [];

    constructor(page) {
        this.page = page;
        page.on("console", message => this.#messages.push(message.text()));
        page.on("pageerror", error => this.#messages.push(error.message));
    }

    /** Opens the page in its own context, with the options of playwright's newContext. */
    static async open(browser, address, options = {}) {
        const context = await browser.newContext({viewport: {width: 1440, height: 900}, ...options});
        context.setDefaultTimeout(TIMEOUT);
        const panel = new PanelPage(await context.newPage());
        await panel.page.goto(address);
        await panel.awaitStatus("Running");
        await panel.page.locator("#stick:enabled").waitFor();
        return panel;
    }

    async close() {
        await this.page.context().close();
    }

    /** All console messages and page errors. */
    get messages() {
        return this.#messages;
    }

    find(name) {
        return this.page.locator(`#${name}`);
    }

    // Input.

    async turnWheel(steps) {
        await this.find("knob").hover();
        for (let i = 0; i < Math.abs(steps); ++i) {
            await this.page.mouse.wheel(0, Math.sign(steps) * NOTCH);
        }
    }

    async click() {
        await this.find("knob").click();
    }

    async choose(select, title) {
        await this.find(select).selectOption({label: title});
    }

    /** `speed`: "1", "4", "16" or "full". */
    async setSpeed(speed) {
        await this.page.locator(`.segments label:has([value="${speed}"])`).click();
    }

    async plugOrUnplug() {
        await this.find("stick").click();
    }

    /** Presses Tab until the element has the focus. */
    async tabTo(id) {
        for (let i = 0; i < 60; ++i) {
            await this.page.keyboard.press("Tab");
            if (await this.page.evaluate(() => document.activeElement.id) === id) {
                return;
            }
        }
        assert.fail(`the Tab key does not reach ${id}`);
    }

    // Output.

    /** Waits until the function `read`, which runs in the page, returns `expected`. */
    async await(read, expected) {
        const end = Date.now() + TIMEOUT;
        let seen = await this.page.evaluate(read);
        while (seen !== expected) {
            if (Date.now() > end) {
                assert.fail(`expected "${expected}", but the page shows "${seen}"\n${await this.#situation()}`);
            }
            await this.page.waitForTimeout(POLLING_PERIOD);
            seen = await this.page.evaluate(read);
        }
    }

    /** Waits until the page names the screen, then compares all pixels with the reference picture of the screen. */
    async awaitScreen(name) {
        await this.await(() => document.getElementById("screen").ariaLabel, `Display: ${name}`);
        assert.equal(await this.levels(), await this.#referenceLevels(name), `pixels of ${name}`);
    }

    async awaitStatus(text) {
        await this.await(() => document.getElementById("status-text").textContent, text);
    }

    async awaitText(id, text) {
        await this.page.locator(`#${id}`, {hasText: text}).waitFor({timeout: TIMEOUT});
    }

    async awaitLog(text) {
        await this.page.locator("#log .text").getByText(text, {exact: true}).first().waitFor({timeout: TIMEOUT});
    }

    /** The state of the run and the end of the log. */
    async #situation() {
        const texts = await Promise.all(["status-text", "iteration", "script", "notice"]
            .map(async id => `${id}: ${await this.find(id).textContent()}`));
        return [...texts, ...(await this.logTexts()).slice(-10)].join("\n");
    }

    async number(id) {
        return Number(await this.find(id).textContent());
    }

    async logTexts() {
        return this.page.locator("#log .text").allTextContents();
    }

    /** The text of the scenario that the page offers. */
    async recording() {
        return this.page.evaluate(async () => (await fetch("recording.scenario")).text());
    }

    /** The grey levels of the canvas as digits from 0 (lightest) to 3 (darkest). */
    async levels() {
        return this.page.evaluate(readLevels);
    }

    async #referenceLevels(name) {
        const picture = `data:image/png;base64,${readFileSync(`${screensFolder}${name}.png`).toString("base64")}`;
        return this.page.evaluate(async source => {
            const image = new Image();
            image.src = source;
            await image.decode();
            const canvas = new OffscreenCanvas(image.width, image.height);
            const context = canvas.getContext("2d");
            context.drawImage(image, 0, 0);
            const {data} = context.getImageData(0, 0, image.width, image.height);
            const levels = [];
            for (let i = 0; i < data.length; i += 4) {
                levels.push([255, 170, 84, 0].indexOf(data[i]));
            }
            return levels.join("");
        }, picture);
    }
}

/** Runs in the page. */
function readLevels() {
    const canvas = document.getElementById("screen");
    // A copy, because the browser warns about repeated reads of a canvas that the graphics processor draws.
    const copy = new OffscreenCanvas(canvas.width, canvas.height).getContext("2d", {willReadFrequently: true});
    copy.drawImage(canvas, 0, 0);
    const {data} = copy.getImageData(0, 0, canvas.width, canvas.height);
    const colours = ["206,214,201", "153,160,152", "92,98,97", "28,33,38"];
    const levels = [];
    for (let i = 0; i < data.length; i += 4) {
        levels.push(colours.indexOf(`${data[i]},${data[i + 1]},${data[i + 2]}`));
    }
    return levels.join("");
}
