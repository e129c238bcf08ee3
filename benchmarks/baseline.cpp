// Draws straight into the canvas.
#include "benchmarks/baseline.h"

#include "benchmarks/screens.h"
#include "graphics/font.h"
#include "graphics/image_store.h"

#include <algorithm>
#include <cstring>

namespace {

std::vector<std::uint8_t> pixelsOf(const std::string& path)
{
    const Bitmap& image = imageStore.at(path);
    std::vector<std::uint8_t> result;
    for (std::int32_t y = 0; y < image.getHeight(); ++y) {
        for (std::int32_t x = 0; x < image.getWidth(); ++x) {
            result.push_back(image.pixel(x, y));
        }
    }
    return result;
}

} // namespace

Baseline::Baseline()
    : alphabet8(alphabetOf<8>("font8")), alphabet16(alphabetOf<16>("font16")), wheel(pixelsOf("img/wheel_0.png"))
{
    std::ranges::transform(menuButtons, buttons.begin(),
                           [](const MenuButton& button) { return pixelsOf(button.image); });
}

template <std::int32_t size>
Baseline::Alphabet<size> Baseline::alphabetOf(const char* font)
{
    const auto& glyphs = fontRegistry.at(font).getGlyphs();
    Alphabet<size> result;
    for (std::size_t code = 0; code < result.size(); ++code) {
        const auto found = glyphs.find(static_cast<std::uint8_t>(code));
        const Bitmap& glyph = found == glyphs.end() ? glyphs.at(0) : found->second;
        result[code].width = glyph.getWidth();
        for (std::int32_t y = 0; y < glyph.getHeight(); ++y) {
            for (std::int32_t x = 0; x < glyph.getWidth(); ++x) {
                result[code].ink.at(static_cast<std::size_t>(y * size + x)) = glyph.pixel(x, y) == inkPixel ? 0xFF : 0;
            }
        }
    }
    return result;
}

template <std::int32_t size>
void Baseline::drawText(const Alphabet<size>& alphabet, std::string_view text, std::int32_t left, std::int32_t top,
                        std::int32_t right, std::uint8_t colour)
{
    constexpr std::int32_t spacing = size / 8;
    std::int32_t x = left;
    std::int32_t y = top;
    for (const char character : text) {
        const Glyph<size>& glyph = alphabet[static_cast<std::uint8_t>(character)];
        if (character == '\n' || x + glyph.width > right) {
            x = left;
            y += size + 1;
        }
        if (character != '\n') {
            std::uint8_t* to = canvas.data() + y * displayWidth + x;
            const std::uint8_t* ink = glyph.ink.data();
            for (std::int32_t row = 0; row < size; ++row, to += displayWidth, ink += size) {
                for (std::int32_t column = 0; column < size; ++column) {
                    to[column] = static_cast<std::uint8_t>((to[column] & ~ink[column]) | (colour & ink[column]));
                }
            }
            x += glyph.width + spacing;
        }
    }
}

void Baseline::drawTitle()
{
    std::memset(canvas.data(), inkPixel, titleBandHeight * displayWidth);
    drawText(alphabet16, texts::title, titleX, titleY, titleX + titleWidth, 0);
}

void Baseline::clear()
{
    std::memset(canvas.data() + titleBandHeight * displayWidth, 0, canvas.size() - titleBandHeight * displayWidth);
}

const Frame& Baseline::drawMessage()
{
    constexpr std::int32_t wheelSize = 51;
    clear();
    drawTitle();
    for (std::int32_t row = 0; row < wheelSize; ++row) {
        std::memcpy(canvas.data() + (wheelY + row) * displayWidth + wheelX, wheel.data() + row * wheelSize, wheelSize);
    }
    drawText(alphabet8, messageText, 0, messageY, displayWidth, inkPixel);
    pack();
    return frame;
}

const Frame& Baseline::drawMenu()
{
    clear();
    drawTitle();
    for (std::size_t i = 0; i < buttons.size(); ++i) {
        const MenuButton& button = menuButtons[i];
        std::memcpy(canvas.data() + button.y * displayWidth, buttons[i].data(), buttons[i].size());
        drawText(alphabet8, button.label, labelX, button.y + labelY, displayWidth, button.labelColour);
    }
    pack();
    return frame;
}

void Baseline::pack()
{
    const auto word = [](const std::uint8_t* bytes) {
        std::uint64_t result = 0;
        std::memcpy(&result, bytes, sizeof result);
        return result;
    };
    const std::uint8_t* from = canvas.data();
    std::uint8_t* to = frame.data();
    for (std::int32_t y = 0; y < displayHeight; y += pixelsPerByte, from += (pixelsPerByte - 1) * displayWidth) {
        for (std::int32_t x = 0; x < displayWidth; x += 8, from += 8, to += 8) {
            const std::uint64_t packed = word(from) | word(from + displayWidth) << 2 |
                                         word(from + 2 * displayWidth) << 4 | word(from + 3 * displayWidth) << 6;
            std::memcpy(to, &packed, sizeof packed);
        }
    }
}
