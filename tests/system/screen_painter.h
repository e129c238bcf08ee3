// Paints expected screens from the source pictures, without any code of the product.
#pragma once

#include "sim/models/screen.h"

#include <cstdint>
#include <string>

enum class Selection { None, First, Second };

/// The frame, 0 to 7, of a wheel that was set to its first in iteration `start`: it shows the next frame in every
/// iteration that is a multiple of the wheel period.
[[nodiscard]] int wheelFrameAt(std::uint64_t iteration, std::uint64_t start);

/// The last iteration whose drawing can be on the glass at the end of `iteration`: what has changed is drawn in the
/// next iteration that is divisible by 20, and is 7 iterations on its way.
[[nodiscard]] std::uint64_t drawingShownAt(std::uint64_t iteration);

/// How many steps of the turning wheel come onto the glass after iteration `from` and up to the end of iteration `to`.
[[nodiscard]] std::uint64_t wheelStepsShown(std::uint64_t from, std::uint64_t to);

/// Starts with the title on an empty screen.
class ScreenPainter {
public:
    ScreenPainter();

    ScreenPainter& message(const std::string& text);
    /// `frame` is 0 to 7. A text that reaches as far down shines through.
    ScreenPainter& wheel(int frame);
    /// First is the factory reset, second the update, which may be missing.
    ScreenPainter& menu(bool hasUpdate, Selection selection);
    /// First is "No", second "Yes".
    ScreenPainter& dialogButtons(Selection selection);

    [[nodiscard]] const sim::Screen& screen() const { return painted; }

private:
    void text(int left, int top, const std::string& characters, int scale, std::uint8_t level, int maxLines);
    /// Only the ink of a transparent picture.
    void picture(int left, int top, const std::string& name, bool transparent);
    void button(int left, int top, const std::string& picture, int labelLeft, const std::string& label, bool selected);
    void set(int x, int y, std::uint8_t level);

    sim::Screen painted{};
};
