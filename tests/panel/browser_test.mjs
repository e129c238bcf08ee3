// Operates the front panel in a headless Chromium. Environment: PANEL, the program; SCREENSHOTS, a folder for pictures.
import assert from "node:assert/strict";
import {mkdirSync, readFileSync} from "node:fs";
import {after, afterEach, before, beforeEach, describe, test} from "node:test";
import {createRequire} from "node:module";
import {chromium} from "playwright-core";

import {PanelPage, TIMEOUT} from "./panel_page.mjs";
import {Simulator} from "./simulator.mjs";

const axeSource = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
const screenshots = process.env.SCREENSHOTS;

const desktop = {viewport: {width: 1440, height: 900}};
const phone = {viewport: {width: 390, height: 844}, deviceScaleFactor: 3, hasTouch: true, isMobile: true};

let browser;
let simulator;
let panels = [];

async function open(options) {
    const panel = await PanelPage.open(browser, simulator.address, options);
    panels.push(panel);
    return panel;
}

async function confirmUpdate(panel) {
    await panel.turnWheel(2);
    await panel.awaitScreen("menu-update");
    await panel.click();
    await panel.awaitScreen("update-no");
    await panel.turnWheel(1);
    await panel.awaitScreen("update-yes");
    await panel.click();
}

/** Sets 16 times the real speed, and waits for the screen "done". */
async function awaitDone(panel) {
    await panel.setSpeed("16");
    await panel.awaitScreen("done");
}

async function checkAccessibility(panel, situation) {
    await panel.page.evaluate(axeSource);
    const {violations} = await panel.page.evaluate(() => axe.run());
    const found = violations.flatMap(({id, nodes}) => nodes.map(node => `${id}: ${node.html}`));
    assert.deepEqual(found, [], situation);
}

before(async () => {
    mkdirSync(screenshots, {recursive: true});
    const sandbox = process.getuid() === 0 ? ["--no-sandbox"] : [];
    browser = await chromium.launch({executablePath: "/usr/bin/chromium", args: sandbox, timeout: TIMEOUT});
});

after(async () => {
    await browser?.close();
});

beforeEach(async () => {
    simulator = await Simulator.start();
});

afterEach(async () => {
    const messages = panels.flatMap(panel => panel.messages);
    for (const panel of panels.splice(0)) {
        await panel.close();
    }
    await simulator.stop();
    assert.deepEqual(messages, [], "messages in the browser's console");
});

describe("update", () => {
    test("with wheel and pointer", async () => {
        const panel = await open();
        await panel.plugOrUnplug();
        await panel.awaitScreen("menu");
        await confirmUpdate(panel);
        await panel.awaitText("script", "install.sh");
        await awaitDone(panel);
        await panel.awaitLog("Everything done");
        assert.equal(await panel.find("violations").isVisible(), false);
        assert.equal(await panel.find("bar").getAttribute("aria-label"),
            "LED bar: 100 %, 100 %, 100 %, 100 %, 100 %, 100 %");
    });

    test("can be repeated after a power cycle during the installation", async () => {
        const panel = await open();
        await panel.plugOrUnplug();
        await panel.awaitScreen("menu");
        await confirmUpdate(panel);
        await panel.awaitText("script", "install.sh");
        await panel.find("power").click();
        await panel.awaitStatus("Power off");
        assert.equal(await panel.find("screen").isVisible(), false);
        await panel.find("power").click();
        await panel.awaitStatus("Running");
        await panel.awaitScreen("menu");
        await confirmUpdate(panel);
        await awaitDone(panel);
    });

    test("continues while the page is reloaded", async () => {
        const panel = await open();
        await panel.plugOrUnplug();
        await panel.awaitScreen("menu");
        await confirmUpdate(panel);
        await panel.awaitText("script", "format.sh");
        await panel.page.reload();
        await panel.awaitStatus("Running");
        assert.ok((await panel.logTexts()).includes("Starting updater..."));
        await awaitDone(panel);
    });

    test("can be operated from several open pages", async () => {
        const one = await open();
        const other = await open(phone);
        await one.plugOrUnplug();
        await other.awaitScreen("menu");
        assert.equal(await other.find("stick").getAttribute("aria-pressed"), "true");
        await other.page.locator("#turn-right").tap();
        await one.awaitScreen("menu-factory-reset");
        await one.find("pause").click();
        await other.awaitStatus("Paused");
    });
});

test("factory reset with the keyboard alone", async () => {
    const panel = await open();
    const {keyboard} = panel.page;
    await panel.tabTo("stick");
    await keyboard.press("Enter");
    await panel.awaitScreen("menu");
    await panel.page.keyboard.press("Shift+Tab");
    await panel.tabTo("knob");
    await keyboard.press("ArrowRight");
    await panel.awaitScreen("menu-factory-reset");
    await keyboard.press("Space", {delay: 80});
    await panel.awaitScreen("factory-reset-no");
    await keyboard.press("ArrowLeft");
    await panel.awaitScreen("factory-reset-yes");
    await keyboard.press("Space", {delay: 80});
    await panel.awaitText("script", "format.sh");
    await awaitDone(panel);
    assert.ok((await panel.logTexts()).includes("format.sh 1"));
});

describe("drive", () => {
    const failures = [
        {title: "No firmware file", screen: "failed-no-firmware"},
        {title: "Firmware with one wrong byte", screen: "failed-corrupt"},
        {title: "Firmware with a wrong signature", screen: "failed-corrupt"},
        {title: "No file system", screen: "failed-drive"},
    ];
    for (const {title, screen} of failures) {
        test(`${title}: ${screen}`, async () => {
            const panel = await open();
            await panel.setSpeed("16");
            await panel.choose("drive", title);
            await panel.plugOrUnplug();
            await panel.awaitScreen(screen);
        });
    }

    test("contains the file that the user chooses", async () => {
        const panel = await open();
        await panel.find("firmware").setInputFiles(
            {name: "tonecrate.fw", mimeType: "application/octet-stream", buffer: Buffer.from("not a firmware")});
        await panel.awaitScreen("failed-corrupt");
        assert.equal(await panel.find("sticker").textContent(), "Your own file");
        assert.match(await panel.recording(), /^at \d+ plug file "tonecrate.fw"$/m);
        await panel.page.getByText("To replay the scenario, save your own firmware next to it as tonecrate.fw.")
            .waitFor();
    });

    test("can be plugged only after the list of drives has arrived", async () => {
        const panel = await open();
        let deliver;
        const arrival = new Promise(resolve => { deliver = resolve; });
        await panel.page.route("**/choices", async route => {
            await arrival;
            await route.continue();
        });
        await panel.page.reload();
        await panel.awaitStatus("Running");
        const isDisabled = await panel.find("stick").isDisabled();
        deliver();
        assert.equal(isDisabled, true);
        await panel.plugOrUnplug();
        await panel.awaitScreen("menu");
    });

    test("contains the file that the user drops on it", async () => {
        const panel = await open();
        await panel.find("stick").evaluate(stick => {
            const transfer = new DataTransfer();
            transfer.items.add(new File(["not a firmware"], "tonecrate.fw"));
            stick.dispatchEvent(new DragEvent("drop", {dataTransfer: transfer, bubbles: true, cancelable: true}));
        });
        await panel.awaitScreen("failed-corrupt");
    });
});

describe("time", () => {
    test("stands still while paused, and advances by steps", async () => {
        const panel = await open();
        await panel.find("pause").click();
        await panel.awaitStatus("Paused");
        const iteration = await panel.number("iteration");
        const frames = await panel.number("frames");
        await panel.page.waitForTimeout(200);
        assert.equal(await panel.number("iteration"), iteration);
        await panel.find("step-iteration").click();
        await panel.await(() => document.getElementById("iteration").textContent, String(iteration + 1));
        await panel.find("step-frame").click();
        await panel.await(() => document.getElementById("frames").textContent, String(frames + 1));
        await panel.find("pause").click();
        await panel.awaitStatus("Running");
    });

    test("a short press is a click at every speed above 1", async () => {
        const panel = await open();
        await panel.plugOrUnplug();
        await panel.awaitScreen("menu");
        for (const speed of ["4", "16", "full"]) {
            await panel.setSpeed(speed);
            await panel.turnWheel(1);
            await panel.awaitScreen("menu-factory-reset");
            await panel.click();
            await panel.awaitScreen("factory-reset-no");
            await panel.click();
            await panel.awaitScreen("menu");
        }
    });
});

describe("knob", () => {
    test("turns one step for each 15 degrees", async () => {
        const panel = await open();
        await panel.find("pause").click();
        await panel.awaitStatus("Paused");
        const box = await panel.find("knob").boundingBox();
        const at = degrees => [box.x + box.width * (0.5 + 0.4 * Math.cos(degrees * Math.PI / 180)),
            box.y + box.height * (0.5 + 0.4 * Math.sin(degrees * Math.PI / 180))];
        await panel.page.mouse.move(...at(170));
        await panel.page.mouse.down();
        for (let degrees = 170; degrees <= 231; ++degrees) {
            await panel.page.mouse.move(...at(degrees));
        }
        await panel.page.mouse.up();
        await panel.page.keyboard.press("Space");
        await panel.awaitLog("press");
        const steps = (await panel.logTexts()).map(text => Number(/^turn (\S+)/.exec(text)?.[1] ?? 0));
        assert.equal(steps.reduce((sum, step) => sum + step, 0), 4);
    });

    test("stays pressed while the pointer is down", async () => {
        const panel = await open();
        await panel.find("knob").hover();
        await panel.page.mouse.down();
        await panel.awaitLog("press");
        await panel.page.waitForTimeout(300);
        assert.ok(!(await panel.logTexts()).includes("release"));
        await panel.page.mouse.up();
        await panel.awaitLog("release");
    });
});

describe("device", () => {
    test("is replaced by the chosen one", async () => {
        const panel = await open();
        await panel.choose("choice", "No firmware installed");
        await panel.find("replace").click();
        await panel.plugOrUnplug();
        await panel.awaitScreen("menu-without-update");
    });

    test("keeps the end of the log visible when the list of faults opens", async () => {
        const panel = await open({viewport: {width: 1440, height: 700}});
        await panel.find("pause").click();
        await panel.awaitStatus("Paused");
        for (let i = 0; i < 30; ++i) {
            await panel.find("turn-left").click();
        }
        await panel.page.getByText("Faults").click();
        await panel.find("turn-right").click();
        await panel.awaitLog("turn +1");
        const hidden = await panel.find("log").evaluate(log => log.scrollHeight - log.scrollTop - log.clientHeight);
        assert.ok(hidden < 2, `${hidden} pixels are hidden`);
    });

    test("logs the updater's message about an injected fault", async () => {
        const panel = await open();
        await panel.page.getByText("Faults").click();
        await panel.page.getByLabel("No encoder").check();
        await panel.find("power").click();
        await panel.awaitStatus("Power off");
        await panel.find("power").click();
        await panel.awaitLog("Error opening rotary event device");
    });
});

describe("downloads", () => {
    test("are a picture, an animation and a scenario", async () => {
        const panel = await open();
        await panel.plugOrUnplug();
        await panel.awaitScreen("menu");
        const sizeOf = path => panel.page.evaluate(async source => {
            const image = new Image();
            image.src = source;
            await image.decode();
            return [image.naturalWidth, image.naturalHeight];
        }, path);
        assert.deepEqual(await sizeOf("screen.png"), [256, 160]);
        assert.deepEqual(await sizeOf("movie.png"), [256, 160]);
        assert.match(await panel.recording(), /^at \d+ plug good$/m);
    });
});

describe("accessibility", () => {
    for (const colorScheme of ["light", "dark"]) {
        test(`in ${colorScheme} mode`, async () => {
            const panel = await open({colorScheme});
            await checkAccessibility(panel, "running");
            await panel.page.getByText("Faults").click();
            await panel.page.getByLabel("No encoder").check();
            await panel.find("pause").click();
            await panel.awaitStatus("Paused");
            await checkAccessibility(panel, "paused, with faults");
            await panel.find("power").click();
            await panel.awaitStatus("Power off");
            await checkAccessibility(panel, "off");
        });
    }
});

describe("appearance", () => {
    const ratios = [1, 1.25, 1.5, 2, 3];
    test("each display pixel is a whole number of device pixels wide", async () => {
        for (const deviceScaleFactor of ratios) {
            const panel = await open({deviceScaleFactor});
            const width = await panel.find("lcd").evaluate(lcd => lcd.getBoundingClientRect().width * devicePixelRatio);
            const scale = width / 256;
            assert.ok(Math.abs(scale - Math.round(scale)) < 0.001, `${width} device pixels at ${deviceScaleFactor}`);
        }
    });

    test("fits every width", async () => {
        const panel = await open();
        for (const width of [320, 390, 600, 768, 919, 920, 1024, 1280, 1440, 1920, 2560]) {
            await panel.page.setViewportSize({width, height: 900});
            const {overflow, device, stage} = await panel.page.evaluate(measureLayout);
            assert.equal(overflow, 0, `at ${width} pixels`);
            assert.ok(device.left >= stage.left && device.right <= stage.right, `at ${width} pixels`);
        }
    });

    const still = {reducedMotion: "reduce"};
    const views = [
        {name: "panel", options: {...desktop, ...still, colorScheme: "light"}},
        {name: "panel-dark", options: {...desktop, ...still, colorScheme: "dark"}},
        {name: "panel-phone", options: {...phone, ...still, colorScheme: "light"}},
        {name: "panel-phone-dark", options: {...phone, ...still, colorScheme: "dark"}},
    ];
    test("screenshots", async () => {
        const first = await open();
        await first.plugOrUnplug();
        await first.awaitScreen("menu");
        await first.turnWheel(2);
        await first.awaitScreen("menu-update");
        for (const {name, options} of views) {
            const panel = await open(options);
            await panel.awaitScreen("menu-update");
            await panel.page.screenshot({path: `${screenshots}/${name}.png`});
        }
    });
});

test("latency", async t => {
    const panel = await open();
    await panel.plugOrUnplug();
    await panel.awaitScreen("menu");
    const times = [];
    for (let i = 0; i < 40; ++i) {
        // The pause varies, because the device redraws at fixed intervals.
        await panel.page.waitForTimeout(150 + i);
        times.push(await panel.page.evaluate(measureLatency));
    }
    times.sort((one, other) => one - other);
    t.diagnostic(`from turning the knob to the changed pixel: median ${times[times.length / 2].toFixed(1)} ms, ` +
        `longest ${times.at(-1).toFixed(1)} ms`);
});

test("pace", async t => {
    const panel = await open();
    await panel.plugOrUnplug();
    await panel.awaitScreen("menu");
    const {pace: before} = await simulator.state();
    for (let i = 0; i < 40; ++i) {
        await panel.page.keyboard.press(i % 4 < 2 ? "ArrowRight" : "ArrowLeft");
        await panel.page.waitForTimeout(100);
    }
    const {pace: after} = await simulator.state();
    const iterations = after.iterations - before.iterations;
    const share = 100 - 100 * (after.late - before.late) / iterations;
    t.diagnostic(`pace: ${share.toFixed(2)} % of ${iterations} iterations took less than 2 ms`);
    assert.ok(iterations > 0);
});

/** Runs in the page. */
async function measureLayout() {
    const nextFrame = () => new Promise(resolve => requestAnimationFrame(resolve));
    await nextFrame(); // resize observers are called after the first layout
    await nextFrame();
    const edges = id => {
        const {left, right} = document.getElementById(id).getBoundingClientRect();
        return {left, right};
    };
    const overflow = document.documentElement.scrollWidth - innerWidth;
    return {overflow, device: edges("device"), stage: edges("stage")};
}

/** Runs in the page. Returns the milliseconds from a key press to the first change in the canvas's top 60 rows. */
async function measureLatency() {
    const canvas = document.getElementById("screen");
    const copy = new OffscreenCanvas(canvas.width, 60).getContext("2d", {willReadFrequently: true});
    const pixels = () => {
        copy.drawImage(canvas, 0, 0);
        return copy.getImageData(0, 0, canvas.width, 60).data.join();
    };
    const before = pixels();
    const start = performance.now();
    document.getElementById("knob").dispatchEvent(new KeyboardEvent("keydown", {key: "ArrowRight", bubbles: true}));
    while (pixels() === before) {
        await new Promise(resolve => setTimeout(resolve, 1));
    }
    return performance.now() - start;
}
