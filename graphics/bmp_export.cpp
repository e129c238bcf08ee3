// Saves a bitmap as a BMP file, for inspection.
#include "graphics/bitmap.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr std::int32_t fileHeaderSize = 14;
constexpr std::int32_t infoHeaderSize = 40;
constexpr std::int64_t bytesPerPixel = 3;

/// Appends the lowest `Size` bytes of `value` in little-endian order, as the BMP format requires.
template <std::size_t Size>
void append(std::vector<std::uint8_t>& bytes, std::int64_t value)
{
    for (std::size_t i = 0; i < Size; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
}

std::uint8_t greyOf(Pixel value)
{
    constexpr std::array<std::uint8_t, 4> greys = {255, 170, 84, 0};
    return value < greys.size() ? greys[value] : 255;
}

std::vector<std::uint8_t> headers(std::int32_t width, std::int32_t height)
{
    std::vector<std::uint8_t> bytes = {'B', 'M'};
    // The file size. Deliberately excludes row padding, so it is exact only if no row needs padding.
    append<4>(bytes, bytesPerPixel * width * height + fileHeaderSize + infoHeaderSize);
    append<4>(bytes, 0); // reserved
    append<4>(bytes, fileHeaderSize + infoHeaderSize);

    append<4>(bytes, infoHeaderSize);
    append<4>(bytes, width);
    append<4>(bytes, height); // positive: the bottom row comes first
    append<2>(bytes, 1);      // planes
    append<2>(bytes, bytesPerPixel * 8);
    append<4>(bytes, 0); // no compression
    append<4>(bytes, 0); // image size, may be 0 without compression
    append<4>(bytes, 0); // horizontal resolution
    append<4>(bytes, 0); // vertical resolution
    append<4>(bytes, 0); // colours used
    append<4>(bytes, 0); // important colours
    return bytes;
}

} // namespace

bool Bitmap::saveBmp(const std::string& path) const
{
    std::vector<std::uint8_t> bytes = headers(width, height);
    for (std::int32_t y = height - 1; !isEmpty() && y >= 0; --y) {
        for (std::int32_t x = 0; x < width; ++x) {
            bytes.insert(bytes.end(), bytesPerPixel, greyOf(pixel(x, y)));
        }
        const std::int64_t rowBytes = bytesPerPixel * width;
        bytes.insert(bytes.end(), static_cast<std::size_t>((4 - rowBytes % 4) % 4), 0);
    }

    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return false;
    }
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
    // The device may be switched off right afterwards, so the file must be on the storage medium when this returns.
    [[maybe_unused]] const int ignored = std::system("sync");
    return true;
}
