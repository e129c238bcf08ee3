// Encodes PNG files for tests, including invalid files.
#pragma once

#include <cstdint>
#include <optional>
#include <png.h>
#include <string>
#include <vector>

struct PngPicture {
    png_uint_32 width = 1;
    png_uint_32 height = 1;
    /// Row-major, channels interleaved. Each sample has `bitDepth` bits.
    std::vector<unsigned int> samples = {0};
    int colourType = PNG_COLOR_TYPE_GRAY;
    int bitDepth = 8;
    std::vector<png_color> palette = {};
    /// The alpha of the first palette entries. All further entries are opaque.
    std::vector<png_byte> paletteAlpha = {};
    /// The transparent colour of a picture that has neither a palette nor an alpha channel.
    std::optional<png_color_16> transparentColour = {};
    std::optional<double> gamma = {};
    bool interlaced = false;
};

/// Returns the bytes of a PNG file with this picture.
std::string encodePng(const PngPicture& picture);

/// Returns a grey picture of one row with 8 bits per pixel.
PngPicture greyRow(const std::vector<unsigned int>& greys);

/// Returns `png` with a chunk inserted directly after the header. The checksum of the chunk is valid.
std::string withChunk(const std::string& png, const std::string& type, const std::string& data);

/// Returns a PNG file without pixels, whose header declares the given size.
std::string pngHeaderOnly(std::uint32_t width, std::uint32_t height);
