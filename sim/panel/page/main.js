// Builds the page from its parts and connects them.
import {Connection} from "./connection.js";
import {Display} from "./display.js";
import {Drive} from "./drive.js";
import {Faults} from "./faults.js";
import {Knob} from "./knob.js";
import {Lights} from "./lights.js";
import {Log} from "./log.js";
import {Press} from "./press.js";
import {RunState} from "./run_state.js";
import {Stage} from "./stage.js";

/** How long an error stays on the page, in milliseconds. */
const NOTICE_TIME = 6000;

const find = id => document.getElementById(id);

let noticeTimer = null;

function report(text) {
    const notice = find("notice");
    notice.textContent = text;
    notice.hidden = false;
    clearTimeout(noticeTimer);
    noticeTimer = setTimeout(() => { notice.hidden = true; }, NOTICE_TIME);
}

const connection = new Connection({
    open: () => {
        log.clear();
        runState.setConnected(true);
    },
    lost: () => runState.setConnected(false),
    frame: text => display.setFrame(text),
    state: show,
    log: entry => log.add(entry),
    failure: report,
});

const display = new Display(find("lcd"), find("screen"), find("gaps"));
const lights = new Lights(find("bar"), find("lamps"));
const log = new Log(find("log"), find("violations"));
const faults = new Faults(find("faults"), find("fault-count"), connection);
const drive = new Drive({
    dock: find("dock"),
    stick: find("stick"),
    sticker: find("sticker"),
    choice: find("drive"),
    file: find("firmware"),
}, connection, report);
const runState = new RunState({
    status: find("status"),
    statusText: find("status-text"),
    time: find("time"),
    iteration: find("iteration"),
    frames: find("frames"),
    script: find("script"),
    pause: find("pause"),
    pauseText: find("pause-text"),
    steps: [
        {button: find("step-iteration"), unit: "iteration"},
        {button: find("step-frame"), unit: "frame"},
    ],
    speeds: [...document.querySelectorAll("input[name=speed]")],
    announcement: find("announcement"),
}, connection);
const press = new Press(statement => connection.input(statement), () => runState.isRealTime);
const knob = new Knob(find("knob"), {
    step: direction => connection.input(direction > 0 ? "turn +1" : "turn -1"),
    press: () => press.begin(),
    release: () => press.finish(),
});
new Stage(find("stage"), display);

let shown = "";

/** Updates only the counters if nothing else has changed, because drawing slows down the simulated device. */
function show(state) {
    runState.setCounters(state);
    const {iteration, frames, pace, ...rest} = state;
    if (JSON.stringify(rest) !== shown) {
        shown = JSON.stringify(rest);
        showChanges(state);
    }
}

function showChanges(state) {
    display.setRegisters(state.power, state.display);
    find("screen").ariaLabel = state.screen ? `Display: ${state.screen}` : "Display";
    lights.set(state.leds);
    knob.setPressed(state.button);
    find("power").ariaChecked = state.power;
    drive.setPlugged(state.drive);
    faults.setActive(state.faults);
    runState.set(state);
    find("needed-files").hidden = state.neededFiles.length === 0;
    find("needed-files").textContent =
        `To replay the scenario, save your own firmware next to it as ${state.neededFiles.join(" and ")}.`;
}

async function loadChoices() {
    const choices = await (await fetch("choices")).json();
    drive.setChoices(choices.drives);
    faults.setChoices(choices.faults);
    find("choice").replaceChildren(...choices.devices.map(({title, setup}) => new Option(title, setup)));
}

find("turn-left").addEventListener("click", () => knob.turn(-1));
find("turn-right").addEventListener("click", () => knob.turn(1));
find("power").addEventListener("click", () => {
    connection.input(find("power").ariaChecked === "true" ? "power off" : "power on");
});
find("replace").addEventListener("click", () => connection.send("device", find("choice").value));
loadChoices().catch(() => report("The simulator does not answer."));
