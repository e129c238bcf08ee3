// The compiled-in images, as the generated table carries them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

struct ImageRecord {
    std::string_view path;
    std::int32_t width;
    std::int32_t height;
    /// Where the image's width times height bytes, one level a pixel, begin in `imagePixels`.
    std::size_t offset;
};

/// Every image under img/, sorted by path. Defined in the file that the build generates from the pictures.
extern const std::span<const ImageRecord> imageRecords;
extern const std::span<const std::uint8_t> imagePixels;
