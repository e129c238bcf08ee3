// The display: shows grey levels in the colours of an LCD panel. Each display pixel is a whole number of device pixels
// wide and high. Device pixels are the physical pixels of the user's screen.

const WIDTH = 256;
const HEIGHT = 160;

/** The colours of the panel without power, with power but without a picture, and of its lightest and darkest grey. */
const UNPOWERED = [104, 112, 103];
const BLANK = [196, 205, 192];
const LIGHTEST = [206, 214, 201];
const DARKEST = [28, 33, 38];

/** The darkness of each grey level at the nominal contrast, from 0 (lightest) to 1 (darkest). */
const DARKNESS = [0, 0.3, 0.64, 1];
/** The operating voltage that the panel is made for, as a fraction of the highest voltage. */
const NOMINAL_CONTRAST = 272 / 511;

/** The gaps between the pixels are drawn if a display pixel is at least this wide, in device pixels. */
const SCALE_WITH_GAPS = 3;

export class Display {
    #element;
    #context;
    #gaps;
    #image;
    #levels = new Uint8Array(WIDTH * HEIGHT);
    #colours = [];

    constructor(element, canvas, gaps) {
        this.#element = element;
        this.#context = canvas.getContext("2d", {alpha: false});
        this.#gaps = gaps;
        this.#image = this.#context.createImageData(WIDTH, HEIGHT);
        this.setRegisters(false, {on: false, sleep: true, inverse: false, contrast: NOMINAL_CONTRAST});
    }

    /** `base64`: two bits for each pixel, row by row; the first pixel of a byte is in its top bits. */
    setFrame(base64) {
        const bytes = atob(base64);
        for (let i = 0; i < this.#levels.length; ++i) {
            this.#levels[i] = bytes.charCodeAt(i >> 2) >> (6 - 2 * (i & 3)) & 3;
        }
        this.#draw();
    }

    setRegisters(isPowered, {on, sleep, inverse, contrast}) {
        const isLit = isPowered && on && !sleep;
        this.#element.dataset.lit = isLit;
        const levels = inverse ? [3, 2, 1, 0] : [0, 1, 2, 3];
        const colours = levels.map(level => colourOf(DARKNESS[level], contrast));
        this.#element.style.setProperty("--lcd", css(isLit ? colours[0] : isPowered ? BLANK : UNPOWERED));
        if (colours.join() !== this.#colours.join()) {
            this.#colours = colours;
            this.#draw();
        }
    }

    /** `scale`: the width of a display pixel in device pixels. */
    setScale(scale) {
        this.#element.style.setProperty("--display-width", `${WIDTH * scale / devicePixelRatio}px`);
        this.#element.style.setProperty("--display-height", `${HEIGHT * scale / devicePixelRatio}px`);
        this.#drawGaps(scale);
    }

    #draw() {
        const pixels = new Uint32Array(this.#image.data.buffer);
        const words = new Uint32Array(new Uint8Array(this.#colours.flatMap(colour => [...colour, 255])).buffer);
        for (let i = 0; i < pixels.length; ++i) {
            pixels[i] = words[this.#levels[i]];
        }
        this.#context.putImageData(this.#image, 0, 0);
    }

    #drawGaps(scale) {
        this.#gaps.hidden = scale < SCALE_WITH_GAPS;
        this.#gaps.width = WIDTH * scale;
        this.#gaps.height = HEIGHT * scale;
        const context = this.#gaps.getContext("2d");
        context.fillStyle = css([...LIGHTEST, 0.12]);
        for (let x = scale - 1; x < this.#gaps.width; x += scale) {
            context.fillRect(x, 0, 1, this.#gaps.height);
        }
        for (let y = scale - 1; y < this.#gaps.height; y += scale) {
            context.fillRect(0, y, this.#gaps.width, 1);
        }
    }
}

/** A voltage above the nominal one darkens all greys but the darkest; a lower voltage fades all but the lightest. */
function colourOf(darkness, contrast) {
    const excess = contrast - NOMINAL_CONTRAST;
    const reached = darkness * (1 + Math.min(0, 3 * excess)) + Math.max(0, 1.8 * excess);
    const share = Math.min(1, Math.max(0, reached));
    return LIGHTEST.map((light, i) => Math.round(light + (DARKEST[i] - light) * share));
}

function css([red, green, blue, alpha = 1]) {
    return `rgb(${red} ${green} ${blue} / ${alpha})`;
}
