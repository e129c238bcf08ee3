// Declares the generated table of the compiled-in images.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

struct ImageRecord {
    std::string_view path;
    std::int32_t width;
    std::int32_t height;
    /// The index in `imagePixels` of the first pixel. The image has width times height pixels of one byte each.
    std::size_t offset;
};

/// All images under img/, sorted by path, and their pixels. The build generates both tables from the image files.
extern const std::span<const ImageRecord> imageRecords;
extern const std::span<const std::uint8_t> imagePixels;
