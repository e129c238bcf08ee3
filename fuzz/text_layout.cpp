// Measures and draws arbitrary texts with arbitrary fonts, positions and limits: all results must match the drawing
// model.
#include "fuzz/fuzz_target.h"
#include "graphics/font.h"
#include "graphics/image_store.h"
#include "tests/support/drawing_call.h"
#include "tests/support/drawing_model.h"

#include <cstdint>
#include <string>

namespace {

constexpr char hexDigits[] = "0123456789abcdef";

/// Builds the font "any" with arbitrary spacing, with or without a replacement glyph. Glyphs may have no columns.
model::Font buildAnyFont(FuzzInput& input)
{
    imageStore.clear();
    fontRegistry.clear();
    model::Font font;
    const std::int32_t glyphs = input.takeFrom(0, 12);
    for (std::int32_t i = 0; i < glyphs; ++i) {
        model::Raster glyph(input.takeFrom(0, 9), 3);
        const auto anyCode = input.take<std::uint8_t>();
        const std::uint8_t code = i == 0 && anyCode % 8 != 0 ? 0 : anyCode;
        for (std::size_t pixel = 0; pixel < glyph.pixels.size(); ++pixel) {
            glyph.pixels[pixel] = static_cast<std::uint8_t>((code + pixel) % 4);
        }
        const std::string path = std::string("any/") + hexDigits[code >> 4] + hexDigits[code & 15] + ".png";
        imageStore.insert_or_assign(path, bitmapOf(glyph));
        font.glyphs.insert_or_assign(code, glyph);
    }
    const std::int32_t letterSpacing = input.takeMostlyFrom(-2, 5);
    const std::int32_t lineSpacing = input.takeCoordinate();
    const std::int32_t scale = input.takeFrom(1, 3);
    buildFont("any", "any", letterSpacing, lineSpacing, scale);
    font.letterSpacing = letterSpacing;
    for (auto& [code, glyph] : font.glyphs) {
        glyph = glyph.inkMask().scaled(scale);
    }
    return font;
}

void checkDrawing(FuzzInput& input, const model::Font& font, const std::string& text, std::int32_t maxWidth)
{
    const std::int32_t x = input.takeCoordinate();
    const std::int32_t y = input.takeCoordinate();
    const std::int32_t maxLines = input.takeMostlyFrom(-1, 8);
    const std::int32_t lineGap = input.takeMostlyFrom(-3, 6);
    const std::int32_t width = input.takeFrom(0, 80);
    model::Raster expected(width, input.takeFrom(0, 50));
    Bitmap actual = bitmapOf(expected);
    font.drawText(expected, x, y, text, 2, maxWidth, maxLines, lineGap);
    drawText(actual, x, y, "any", text, 2, maxWidth, maxLines, lineGap);
    require(rasterOf(actual) == expected, "every pixel of the text matches the model");
}

/// `drawText` must not draw more lines than `countLines` returns for the same width.
void checkAgreement(const std::string& text, std::int32_t maxWidth)
{
    const std::int32_t lines = countLines("any", text, maxWidth);
    const auto drawn = [&](std::int32_t maxLines) {
        Bitmap bitmap(64, 64);
        bitmap.fill(0);
        drawText(bitmap, 0, 0, "any", text, 2, maxWidth, maxLines, 0);
        return rasterOf(bitmap);
    };
    require(maxWidth == 0 || drawn(lines) == drawn(lines + 1), "drawText draws no more lines than countLines returns");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
    FuzzInput input(bytes, count);
    const model::Font font = buildAnyFont(input);
    const std::int32_t maxWidth = input.takeMostlyFrom(-1, 60);
    FuzzInput position = input;
    input.takeString(24); // checkDrawing takes at most these bytes from `position`
    const std::string text = input.takeString(400);
    require(countLines("any", text, maxWidth) == font.countLines(text, maxWidth), "countLines matches the model");
    require(textWidth("any", text) == font.textWidth(text), "textWidth matches the model");
    checkDrawing(position, font, text, maxWidth);
    checkAgreement(text, maxWidth);
    return 0;
}
