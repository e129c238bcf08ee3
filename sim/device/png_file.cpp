// Reads and writes PNG files with libpng.
#include "sim/device/png_file.h"

#include <array>
#include <png.h>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace sim {

namespace {

png_image imageHeader()
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    return image;
}

} // namespace

Picture pictureOf(const Screen& screen, int scale)
{
    constexpr std::array<std::uint8_t, 4> greys = {255, 170, 84, 0};
    Picture picture = {screenWidth * scale, screenHeight * scale, {}};
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            const int source = y / scale * screenWidth + x / scale;
            const std::uint8_t grey = greys[screen[static_cast<std::size_t>(source)] & 3U];
            picture.pixels.push_back({grey, grey, grey});
        }
    }
    return picture;
}

void writePng(const std::filesystem::path& path, const Picture& picture)
{
    png_image image = imageHeader();
    image.width = static_cast<png_uint_32>(picture.width);
    image.height = static_cast<png_uint_32>(picture.height);
    image.format = PNG_FORMAT_RGB;
    // The name contains the process ID, because another process may write the same picture.
    const std::filesystem::path unfinished = path.string() + "." + std::to_string(getpid()) + ".part";
    if (png_image_write_to_file(&image, unfinished.c_str(), 0, picture.pixels.data(), 0, nullptr) == 0) {
        std::filesystem::remove(unfinished);
        throw std::runtime_error("cannot write " + path.string() + ": " + image.message);
    }
    std::filesystem::rename(unfinished, path);
}

Picture readPng(const std::filesystem::path& path)
{
    png_image image = imageHeader();
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) {
        throw std::runtime_error("cannot read " + path.string() + ": " + image.message);
    }
    image.format = PNG_FORMAT_RGB;
    Picture picture = {static_cast<int>(image.width), static_cast<int>(image.height), {}};
    picture.pixels.resize(std::size_t{image.width} * image.height);
    if (png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr) == 0) {
        throw std::runtime_error("cannot read " + path.string() + ": " + image.message);
    }
    return picture;
}

} // namespace sim
