// Measuring and drawing text, with any font, text, place and limits, against plain models.
#include "fuzz/fuzz_target.h"
#include "graphics/font.h"
#include "graphics/image_store.h"
#include "tests/support/text_model.h"

#include <string>
#include <vector>

namespace {

constexpr std::int32_t glyphHeight = 3;
constexpr char hexDigits[] = "0123456789abcdef";

void storeGlyph(std::uint8_t code, std::int32_t width)
{
    std::vector<std::uint8_t> levels(static_cast<std::size_t>(width * glyphHeight));
    for (std::size_t i = 0; i < levels.size(); ++i) {
        levels[i] = static_cast<std::uint8_t>((code + i) % 4);
    }
    const std::string path = std::string("any/") + hexDigits[code >> 4] + hexDigits[code & 15] + ".png";
    imageStore.insert_or_assign(path, Bitmap(width, glyphHeight, levels));
}

/// Some glyphs of widths from 0 on, the stand-in not always among them, with any spacing.
void buildAnyFont(FuzzInput& input)
{
    imageStore.clear();
    fontRegistry.clear();
    const std::int32_t glyphs = input.takeFrom(0, 12);
    for (std::int32_t i = 0; i < glyphs; ++i) {
        const std::int32_t width = input.takeFrom(0, 9);
        const auto code = input.take<std::uint8_t>();
        storeGlyph(i == 0 && code % 8 != 0 ? 0 : code, width);
    }
    const std::int32_t letterSpacing = input.takeMostlyFrom(-2, 5);
    buildFont("any", "any", letterSpacing, input.takeCoordinate(), input.takeFrom(1, 3));
}

Bitmap blank(FuzzInput& input)
{
    Bitmap bitmap(input.takeFrom(0, 80), input.takeFrom(0, 50));
    bitmap.fill(0);
    return bitmap;
}

bool areSame(const Bitmap& a, const Bitmap& b)
{
    for (std::int32_t y = 0; y < a.getHeight(); ++y) {
        for (std::int32_t x = 0; x < a.getWidth(); ++x) {
            if (a.pixel(x, y) != b.pixel(x, y)) {
                return false;
            }
        }
    }
    return true;
}

void checkMeasures(const std::string& text, std::int32_t maxWidth)
{
    const Font& font = fontRegistry.at("any");
    require(countLines("any", text, maxWidth) == countLinesPlainly(font, text, maxWidth),
            "lines are counted as broken");
    require(textWidth("any", text) == textWidthPlainly(font, text), "a text is as wide as its glyphs and gaps");
}

void checkDrawing(FuzzInput& input, const std::string& text, std::int32_t maxWidth)
{
    const std::int32_t x = input.takeCoordinate();
    const std::int32_t y = input.takeCoordinate();
    const std::int32_t maxLines = input.takeMostlyFrom(-1, 8);
    const std::int32_t lineGap = input.takeMostlyFrom(-3, 6);
    Bitmap expected = blank(input);
    Bitmap actual = expected;
    drawTextPlainly(expected, x, y, fontRegistry.at("any"), text, 2, maxWidth, maxLines, lineGap);
    drawText(actual, x, y, "any", text, 2, maxWidth, maxLines, lineGap);
    require(areSame(expected, actual), "the text is drawn where its lines and columns are");
}

/// Drawing needs as many lines as are counted, when both break at the same width.
void checkAgreement(const std::string& text, std::int32_t maxWidth)
{
    const std::int32_t lines = countLines("any", text, maxWidth);
    const auto drawn = [&](std::int32_t maxLines) {
        Bitmap bitmap(64, 64);
        bitmap.fill(0);
        drawText(bitmap, 0, 0, "any", text, 2, maxWidth, maxLines, 0);
        return bitmap;
    };
    require(maxWidth == 0 || areSame(drawn(lines), drawn(lines + 1)), "no line is drawn that is not counted");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
    FuzzInput input(bytes, count);
    buildAnyFont(input);
    const std::int32_t maxWidth = input.takeMostlyFrom(-1, 60);
    FuzzInput place = input;
    input.takeString(24); // what the place of the drawing is made of
    const std::string text = input.takeString(400);
    checkMeasures(text, maxWidth);
    checkDrawing(place, text, maxWidth);
    checkAgreement(text, maxWidth);
    return 0;
}
