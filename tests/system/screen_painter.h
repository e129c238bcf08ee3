// Draws expected screens from the pictures in img/, with the drawing model instead of the product's drawing code.
#pragma once

#include "sim/models/screen.h"
#include "tests/support/drawing_model.h"

#include <cstdint>
#include <string>

enum class Selection { None, First, Second };

/// The frame (0 to 7) in `iteration` of a wheel that was set to its first frame in iteration `start`.
[[nodiscard]] int wheelFrameAt(std::uint64_t iteration, std::uint64_t start);

/// The updater draws changes in iterations that are multiples of this number.
inline constexpr std::uint64_t drawingInterval = 20;

/// The last iteration whose drawing can have reached the display by the end of `iteration`.
[[nodiscard]] std::uint64_t drawingShownAt(std::uint64_t iteration);

/// The number of wheel steps that reach the display after iteration `from` and no later than iteration `to`.
[[nodiscard]] std::uint64_t wheelStepsShown(std::uint64_t from, std::uint64_t to);

/// Starts with a screen that contains only the title bar.
class ScreenPainter {
public:
    ScreenPainter();

    ScreenPainter& message(const std::string& text);
    /// `frame` is 0 to 7. The wheel is transparent, so message text behind it remains visible.
    ScreenPainter& wheel(int frame);
    /// The first entry is the factory reset, the second the update.
    ScreenPainter& menu(bool hasUpdate, Selection selection);
    /// The first button is "No", the second "Yes".
    ScreenPainter& dialogButtons(Selection selection);

    [[nodiscard]] sim::Screen screen() const;

private:
    void button(int left, int top, const std::string& name, int labelLeft, const std::string& label, bool selected);

    model::Raster canvas{sim::screenWidth, sim::screenHeight};
};
