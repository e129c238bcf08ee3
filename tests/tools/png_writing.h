// Makes PNG files of every kind for the tests, also those that must be refused.
#pragma once

#include <cstdint>
#include <optional>
#include <png.h>
#include <string>
#include <vector>

struct PngPicture {
    png_uint_32 width = 1;
    png_uint_32 height = 1;
    /// Row-major, the channels of a pixel side by side, each in the range of `bitDepth`.
    std::vector<unsigned int> samples = {0};
    int colourType = PNG_COLOR_TYPE_GRAY;
    int bitDepth = 8;
    std::vector<png_color> palette = {};
    /// Alpha of the first palette entries.
    std::vector<png_byte> paletteAlpha = {};
    /// The one colour that stands for transparent in a picture without palette and alpha channel.
    std::optional<png_color_16> transparentColour = {};
    std::optional<double> gamma = {};
    bool interlaced = false;
};

/// The bytes of a PNG file.
std::string encodePng(const PngPicture& picture);

/// A one-row grey picture, 8 bits a pixel.
PngPicture greyRow(const std::vector<unsigned int>& greys);

/// The PNG file with one more chunk, whole in itself, right behind the header.
std::string withChunk(const std::string& png, const std::string& type, const std::string& data);

/// A PNG file without pixels whose header, sound in itself, claims the size.
std::string pngHeaderOnly(std::uint32_t width, std::uint32_t height);
