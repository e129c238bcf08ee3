// Lays out the expected screens. The drawing model draws them; the pictures and glyphs are the PNG files in img/.
#include "tests/system/screen_painter.h"

#include "sim/device/png_file.h"
#include "updater/screen_texts.h"
#include "updater/timing.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <map>
#include <utility>

namespace {

namespace fs = std::filesystem;

/// The number of iterations that a frame takes to reach the display.
constexpr std::uint64_t transferIterations = 7;

/// Loads a picture from img/. Black pixels become full ink, all others blank.
const model::Raster& image(const std::string& name)
{
    static std::map<std::string, model::Raster> images;
    if (const auto found = images.find(name); found != images.end()) {
        return found->second;
    }
    const sim::Picture picture = sim::readPng(fs::path(IMG_DIR) / name);
    model::Raster raster(picture.width, picture.height);
    std::transform(picture.pixels.begin(), picture.pixels.end(), raster.pixels.begin(),
                   [](const sim::Colour& colour) { return static_cast<std::uint8_t>(colour.red == 0 ? 3 : 0); });
    return images.emplace(name, std::move(raster)).first->second;
}

model::Font makeFont(int scale)
{
    model::Font font;
    font.letterSpacing = scale;
    for (unsigned int code = 0; code < 256; ++code) {
        std::array<char, 16> name{};
        std::snprintf(name.data(), name.size(), "font8/%02x.png", code);
        if (fs::exists(fs::path(IMG_DIR) / name.data())) {
            font.glyphs[static_cast<std::uint8_t>(code)] = image(name.data()).scaled(scale);
        }
    }
    return font;
}

const model::Font& font8()
{
    static const model::Font font = makeFont(1);
    return font;
}

const model::Font& font16()
{
    static const model::Font font = makeFont(2);
    return font;
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
    canvas.fillRect(0, 0, sim::screenWidth, 20, 3);
    font16().drawText(canvas, 2, 2, texts::title, 0, 0, 1, 1);
}

ScreenPainter& ScreenPainter::message(const std::string& text)
{
    font8().drawText(canvas, 0, 24, text, 3, sim::screenWidth, 10, 1);
    return *this;
}

ScreenPainter& ScreenPainter::wheel(int frame)
{
    canvas.drawMask(128 - 51 / 2, 155 - 51, image("wheel_" + std::to_string(frame) + ".png"), 3);
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

sim::Screen ScreenPainter::screen() const
{
    sim::Screen result{};
    std::copy(canvas.pixels.begin(), canvas.pixels.end(), result.begin());
    return result;
}

void ScreenPainter::button(int left, int top, const std::string& name, int labelLeft, const std::string& label,
                           bool selected)
{
    canvas.drawBitmap(left, top, image(name + (selected ? "_selected.png" : ".png")), false);
    font8().drawText(canvas, left + labelLeft, top + 6, label, selected ? 0 : 3, 0, 1, 1);
}
