// Writes numbered PNG files.
#include "sim/run/frame_folder.h"

#include "sim/device/png_file.h"

#include <array>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace sim {

namespace fs = std::filesystem;

namespace {

std::string fourDigits(std::size_t number)
{
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "%04zu", number);
    return text.data();
}

} // namespace

FrameFolder::FrameFolder(fs::path path) : folder(std::move(path))
{
    std::error_code error;
    if (!folder.empty() && !fs::create_directories(folder, error) && !fs::is_directory(folder)) {
        throw std::runtime_error("cannot create the folder " + folder.string() + ": " + error.message());
    }
}

void FrameFolder::add(const Screen& screen, const std::string& name)
{
    if (!folder.empty() && saved.insert(screen).second) {
        writePng(folder / (fourDigits(saved.size()) + (name.empty() ? "" : "-" + name) + ".png"), pictureOf(screen));
    }
}

std::string saveScreenshot(const Screen& screen)
{
    constexpr int scale = 2;
    for (std::size_t number = 1;; ++number) {
        std::string name = "tonecrate-" + fourDigits(number) + ".png";
        if (!fs::exists(name)) {
            writePng(name, pictureOf(screen, scale));
            return name;
        }
    }
}

} // namespace sim
