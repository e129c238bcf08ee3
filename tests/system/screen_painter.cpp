// The positions of all screen elements.
#include "tests/system/screen_painter.h"

#include "sim/device/png_file.h"
#include "updater/screen_texts.h"
#include "updater/timing.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <map>

namespace {

namespace fs = std::filesystem;

/// Iterations that a frame takes to reach the display.
constexpr std::uint64_t transferIterations = 7;

const sim::Picture& source(const std::string& name)
{
    static std::map<std::string, sim::Picture> pictures;
    const auto found = pictures.find(name);
    return found != pictures.end() ? found->second
                                   : pictures.emplace(name, sim::readPng(fs::path(IMG_DIR) / name)).first->second;
}

const sim::Picture& glyph(char character)
{
    std::array<char, 16> name{};
    std::snprintf(name.data(), name.size(), "font8/%02x.png", static_cast<unsigned char>(character));
    return source(fs::exists(fs::path(IMG_DIR) / name.data()) ? name.data() : "font8/00.png");
}

bool isInk(const sim::Picture& picture, int x, int y)
{
    return picture.pixels[static_cast<std::size_t>(y * picture.width + x)].red == 0;
}

} // namespace

int wheelFrameAt(std::uint64_t iteration, std::uint64_t start)
{
    return static_cast<int>((iteration / wheelPeriod - start / wheelPeriod) % 8);
}

std::uint64_t drawingShownAt(std::uint64_t iteration)
{
    return (iteration - transferIterations) / drawingInterval * drawingInterval;
}

std::uint64_t wheelStepsShown(std::uint64_t from, std::uint64_t to)
{
    std::uint64_t count = 0;
    for (std::uint64_t turned = from / wheelPeriod * wheelPeriod; turned <= to; turned += wheelPeriod) {
        const std::uint64_t shown =
            (turned + drawingInterval - 1) / drawingInterval * drawingInterval + transferIterations;
        count += turned > 0 && shown > from && shown <= to ? 1 : 0;
    }
    return count;
}

ScreenPainter::ScreenPainter()
{
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < sim::screenWidth; ++x) {
            set(x, y, 3);
        }
    }
    text(2, 2, texts::title, 2, 0, 1);
}

ScreenPainter& ScreenPainter::message(const std::string& characters)
{
    text(0, 24, characters, 1, 3, 10);
    return *this;
}

ScreenPainter& ScreenPainter::wheel(int frame)
{
    picture(128 - 51 / 2, 155 - 51, "wheel_" + std::to_string(frame) + ".png", true);
    return *this;
}

ScreenPainter& ScreenPainter::menu(bool hasUpdate, Selection selection)
{
    button(0, 20, "button_factory", 26, texts::factoryResetButton, selection == Selection::First);
    if (hasUpdate) {
        button(0, 39, "button_update", 26, texts::updateButton, selection == Selection::Second);
    }
    return *this;
}

ScreenPainter& ScreenPainter::dialogButtons(Selection selection)
{
    button(142, 131, "dialog_button_cancel", 15, texts::noButton, selection == Selection::First);
    button(194, 131, "dialog_button_ok", 15, texts::yesButton, selection == Selection::Second);
    return *this;
}

void ScreenPainter::button(int left, int top, const std::string& name, int labelLeft, const std::string& label,
                           bool selected)
{
    picture(left, top, name + (selected ? "_selected.png" : ".png"), false);
    text(left + labelLeft, top + 6, label, 1, selected ? 0 : 3, 1);
}

void ScreenPainter::picture(int left, int top, const std::string& name, bool transparent)
{
    const sim::Picture& image = source(name);
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            if (isInk(image, x, y)) {
                set(left + x, top + y, 3);
            } else if (!transparent) {
                set(left + x, top + y, 0);
            }
        }
    }
}

/// Breaks lines at line feeds and before a glyph that exceeds the screen; one (unscaled) row separates lines.
void ScreenPainter::text(int left, int top, const std::string& characters, int scale, std::uint8_t level, int maxLines)
{
    int x = left;
    int line = 0;
    for (const char character : characters) {
        const sim::Picture& image = glyph(character);
        const bool overflows = x + image.width * scale > sim::screenWidth;
        if (overflows || character == '\n') {
            x = left;
            if (++line >= maxLines) {
                return;
            }
        }
        if (character == '\n') {
            continue;
        }
        for (int v = 0; v < image.height * scale; ++v) {
            for (int u = 0; u < image.width * scale; ++u) {
                if (isInk(image, u / scale, v / scale)) {
                    set(x + u, top + line * (8 * scale + 1) + v, level);
                }
            }
        }
        x += (image.width + 1) * scale;
    }
}

void ScreenPainter::set(int x, int y, std::uint8_t level)
{
    if (x >= 0 && x < sim::screenWidth && y >= 0 && y < sim::screenHeight) {
        painted[static_cast<std::size_t>(y * sim::screenWidth + x)] = level;
    }
}
