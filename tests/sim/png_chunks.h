// Splits a PNG file into its chunks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct Chunk {
    std::string type;
    std::string data;
};

/// Reads a big-endian number of `bytes` bytes.
inline std::uint32_t numberAt(const std::string& text, std::size_t position, int bytes = 4)
{
    std::uint32_t number = 0;
    for (int i = 0; i < bytes; ++i) {
        number = number << 8 | static_cast<std::uint8_t>(text.at(position + static_cast<std::size_t>(i)));
    }
    return number;
}

inline std::vector<Chunk> chunksOf(const std::string& png)
{
    std::vector<Chunk> chunks;
    for (std::size_t position = 8; position < png.size();) {
        const std::size_t size = numberAt(png, position);
        chunks.push_back({png.substr(position + 4, 4), png.substr(position + 8, size)});
        position += size + 12;
    }
    return chunks;
}
