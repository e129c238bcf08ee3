// Draws the measured screens with pixman, the raster library of cairo and the X server.
#pragma once

#include "hw/frame.h"

#include <array>
#include <cstdint>
#include <memory>
#include <pixman.h>
#include <string>
#include <string_view>
#include <vector>

/// Uses an xRGB32 canvas with the grey level in each channel, and composites text from an A8 atlas.
class PixmanScreens {
public:
    /// The image store and the fonts must have been built.
    PixmanScreens();

    const Frame& drawMessage();
    const Frame& drawMenu();

private:
    struct Unref {
        void operator()(pixman_image_t* image) const { pixman_image_unref(image); }
    };
    using Image = std::unique_ptr<pixman_image_t, Unref>;

    /// All glyphs of a font, side by side in one image.
    struct Atlas {
        Image image;
        std::array<std::int32_t, 256> x{};
        std::array<std::int32_t, 256> width{};
        std::int32_t height = 0;
        std::int32_t spacing = 0;
    };

    static Image makeImage(pixman_format_code_t format, std::int32_t width, std::int32_t height);
    static Image imageOf(const std::string& path);
    static Atlas atlasOf(const char* font);
    void fill(std::int32_t top, std::int32_t height, std::uint8_t level);
    void drawImage(const Image& image, std::int32_t x, std::int32_t y);
    void drawText(const Atlas& atlas, std::string_view text, std::int32_t left, std::int32_t top, std::int32_t right,
                  std::uint8_t level);
    void drawTitle();
    void pack();

    Image canvas;
    std::vector<Image> inks;
    Atlas atlas8;
    Atlas atlas16;
    Image wheel;
    std::vector<Image> buttons;
    Frame frame{};
};
