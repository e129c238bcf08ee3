// Copies images without writing their holes, which are most of an image.
#pragma once

#include <cstdint>
#include <filesystem>

namespace sim {

/// A part of a file, in bytes.
struct Extent {
    std::uint64_t offset;
    std::uint64_t size;
};

/// Makes a file of the extent, which lies within the file `from`. Throws std::runtime_error.
void copySparse(const std::filesystem::path& from, const Extent& extent, const std::filesystem::path& to);
/// Copies a folder of folders and regular files, and their permissions. Throws std::runtime_error.
void copyFolderSparse(const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace sim
