// The LEDs: show the brightness of the LED controller's eighteen outputs.

/** The outputs for red, green and blue of each RGB LED. */
const RGB_OUTPUTS = [[9, 10, 11], [7, 8, 6], [0, 1, 2], [3, 4, 5]];
const BAR_OUTPUTS = [12, 13, 14, 15, 16, 17];
const FULL = 255;
/** The exponent that converts brightness to perceived brightness. */
const GAMMA = 1 / 2.2;

export class Lights {
    #bar;
    #lamps;

    constructor(bar, lamps) {
        this.#bar = bar;
        this.#lamps = lamps;
    }

    set(outputs) {
        BAR_OUTPUTS.forEach((output, i) => show(this.#bar.children[i], outputs[output]));
        RGB_OUTPUTS.forEach((channels, i) => showColour(this.#lamps.children[i], channels.map(c => outputs[c])));
        const bar = BAR_OUTPUTS.map(output => outputs[output]);
        this.#bar.ariaLabel = `LED bar: ${describe(bar.map(percent), bar)}`;
        const colours = RGB_OUTPUTS.map(channels => hex(channels.map(channel => outputs[channel])));
        this.#lamps.ariaLabel = `RGB LEDs: ${describe(colours, outputs.slice(0, BAR_OUTPUTS[0]))}`;
    }
}

function show(element, brightness) {
    element.style.setProperty("--on", ((brightness / FULL) ** GAMMA).toFixed(3));
}

/** The brightest channel determines the brightness; the ratio of the channels determines the colour. */
function showColour(element, channels) {
    const peak = Math.max(...channels);
    show(element, peak);
    const light = channels.map(channel => Math.round(FULL * (channel / (peak || 1)) ** GAMMA));
    element.style.setProperty("--light", `rgb(${light.join(" ")})`);
}

function describe(texts, outputs) {
    return outputs.every(output => output === 0) ? "off" : texts.join(", ");
}

function percent(brightness) {
    return `${Math.round(100 * brightness / FULL)} %`;
}

function hex(channels) {
    return `#${channels.map(channel => channel.toString(16).padStart(2, "0")).join("")}`;
}
