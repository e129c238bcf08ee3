// Reads the reference pictures and converts them to grey levels.
#include "sim/session/reference_screens.h"

#include "sim/device/png_file.h"

#include <algorithm>
#include <stdexcept>

namespace sim {

namespace fs = std::filesystem;

namespace {

Screen readScreen(const fs::path& path)
{
    const Picture picture = readPng(path);
    Screen screen{};
    if (picture.pixels.size() != screen.size()) {
        throw std::runtime_error("not a picture of 256 by 160 pixels: " + path.string());
    }
    constexpr int levelStep = 85;
    std::transform(picture.pixels.begin(), picture.pixels.end(), screen.begin(), [](const Colour& colour) {
        return static_cast<std::uint8_t>((255 - colour.green + levelStep / 2) / levelStep);
    });
    if (pictureOf(screen).pixels != picture.pixels) {
        throw std::runtime_error("not a picture in the four greys of the display: " + path.string());
    }
    return screen;
}

} // namespace

ReferenceScreens::ReferenceScreens(const fs::path& folder)
{
    if (!fs::is_directory(folder)) {
        throw std::runtime_error("no such folder: " + folder.string());
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() == ".png") {
            names[readScreen(entry.path())] = entry.path().stem().string();
        }
    }
}

bool ReferenceScreens::contains(std::string_view name) const
{
    return std::any_of(names.begin(), names.end(), [&](const auto& entry) { return entry.second == name; });
}

std::string ReferenceScreens::nameOf(const Screen& screen) const
{
    const auto found = names.find(screen);
    return found == names.end() ? std::string() : found->second;
}

} // namespace sim
