// Composites with pixman, then packs the canvas.
#include "benchmarks/pixman_screens.h"

#include "benchmarks/screens.h"
#include "graphics/font.h"
#include "graphics/image_store.h"

namespace {

std::uint32_t xrgb(std::uint8_t level)
{
    return level * 0x010101U;
}

/// Returns the colour that sets each channel of a composited pixel to `level`.
pixman_color_t colourOf(std::uint8_t level)
{
    const auto channel = static_cast<std::uint16_t>(level * 0x0101U);
    return {channel, channel, channel, 0xFFFF};
}

} // namespace

PixmanScreens::PixmanScreens()
    : canvas(makeImage(PIXMAN_x8r8g8b8, displayWidth, displayHeight)), atlas8(atlasOf("font8")),
      atlas16(atlasOf("font16")), wheel(imageOf("img/wheel_0.png"))
{
    for (std::uint8_t level = 0; level <= inkPixel; ++level) {
        const pixman_color_t colour = colourOf(level);
        inks.emplace_back(pixman_image_create_solid_fill(&colour));
    }
    for (const MenuButton& button : menuButtons) {
        buttons.push_back(imageOf(button.image));
    }
}

PixmanScreens::Image PixmanScreens::makeImage(pixman_format_code_t format, std::int32_t width, std::int32_t height)
{
    return Image(pixman_image_create_bits(format, width, height, nullptr, 0)); // cleared, rows aligned
}

PixmanScreens::Image PixmanScreens::imageOf(const std::string& path)
{
    const Bitmap& source = imageStore.at(path);
    Image result = makeImage(PIXMAN_x8r8g8b8, source.getWidth(), source.getHeight());
    const std::int32_t stride =
        pixman_image_get_stride(result.get()) / static_cast<std::int32_t>(sizeof(std::uint32_t));
    for (std::int32_t y = 0; y < source.getHeight(); ++y) {
        for (std::int32_t x = 0; x < source.getWidth(); ++x) {
            pixman_image_get_data(result.get())[y * stride + x] = xrgb(source.pixel(x, y));
        }
    }
    return result;
}

PixmanScreens::Atlas PixmanScreens::atlasOf(const char* name)
{
    const Font& font = fontRegistry.at(name);
    Atlas atlas;
    atlas.height = fontHeight(name);
    atlas.spacing = font.getLetterSpacing();
    std::int32_t end = 0;
    for (const auto& [code, glyph] : font.getGlyphs()) {
        atlas.x[code] = end;
        atlas.width[code] = glyph.getWidth();
        end += glyph.getWidth();
    }
    atlas.image = makeImage(PIXMAN_a8, end, atlas.height);
    auto* alpha = reinterpret_cast<std::uint8_t*>(pixman_image_get_data(atlas.image.get()));
    const std::int32_t stride = pixman_image_get_stride(atlas.image.get());
    for (const auto& [code, glyph] : font.getGlyphs()) {
        for (std::int32_t y = 0; y < glyph.getHeight(); ++y) {
            for (std::int32_t x = 0; x < glyph.getWidth(); ++x) {
                alpha[y * stride + atlas.x[code] + x] = glyph.pixel(x, y) == inkPixel ? 0xFF : 0;
            }
        }
    }
    return atlas;
}

void PixmanScreens::fill(std::int32_t top, std::int32_t height, std::uint8_t level)
{
    pixman_fill(pixman_image_get_data(canvas.get()),
                pixman_image_get_stride(canvas.get()) / static_cast<std::int32_t>(sizeof(std::uint32_t)), 32, 0, top,
                displayWidth, height, xrgb(level));
}

void PixmanScreens::drawImage(const Image& image, std::int32_t x, std::int32_t y)
{
    pixman_image_composite32(PIXMAN_OP_SRC, image.get(), nullptr, canvas.get(), 0, 0, 0, 0, x, y,
                             pixman_image_get_width(image.get()), pixman_image_get_height(image.get()));
}

void PixmanScreens::drawText(const Atlas& atlas, std::string_view text, std::int32_t left, std::int32_t top,
                             std::int32_t right, std::uint8_t level)
{
    std::int32_t x = left;
    std::int32_t y = top;
    for (const char character : text) {
        const auto code = static_cast<std::uint8_t>(character);
        if (character == '\n' || x + atlas.width[code] > right) {
            x = left;
            y += atlas.height + 1;
        }
        if (character != '\n') {
            pixman_image_composite32(PIXMAN_OP_OVER, inks[level].get(), atlas.image.get(), canvas.get(), 0, 0,
                                     atlas.x[code], 0, x, y, atlas.width[code], atlas.height);
            x += atlas.width[code] + atlas.spacing;
        }
    }
}

void PixmanScreens::drawTitle()
{
    fill(0, titleBandHeight, inkPixel);
    drawText(atlas16, texts::title, titleX, titleY, titleX + titleWidth, 0);
}

const Frame& PixmanScreens::drawMessage()
{
    fill(titleBandHeight, displayHeight - titleBandHeight, 0);
    drawTitle();
    drawImage(wheel, wheelX, wheelY);
    drawText(atlas8, messageText, 0, messageY, displayWidth, inkPixel);
    pack();
    return frame;
}

const Frame& PixmanScreens::drawMenu()
{
    fill(titleBandHeight, displayHeight - titleBandHeight, 0);
    drawTitle();
    for (std::size_t i = 0; i < buttons.size(); ++i) {
        const MenuButton& button = menuButtons[i];
        drawImage(buttons[i], 0, button.y);
        drawText(atlas8, button.label, labelX, button.y + labelY, displayWidth, button.labelColour);
    }
    pack();
    return frame;
}

void PixmanScreens::pack()
{
    const std::uint32_t* row = pixman_image_get_data(canvas.get());
    std::uint8_t* to = frame.data();
    for (std::int32_t y = 0; y < displayHeight; y += pixelsPerByte, row += pixelsPerByte * displayWidth) {
        for (std::int32_t x = 0; x < displayWidth; ++x) {
            *to++ =
                static_cast<std::uint8_t>((row[x] & 3) | (row[x + displayWidth] & 3) << 2 |
                                          (row[x + 2 * displayWidth] & 3) << 4 | (row[x + 3 * displayWidth] & 3) << 6);
        }
    }
}
