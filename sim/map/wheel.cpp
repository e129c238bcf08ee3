// Compares the area of the wheel.
#include "sim/map/wheel.h"

#include <algorithm>
#include <stdexcept>

namespace sim {

WheelFrames::WheelFrames(std::span<const Screen> screens)
{
    for (const Screen& screen : screens) {
        frames.insert(areaOf(screen));
    }
    if (frames.size() != count) {
        throw std::runtime_error("the screens after power-on do not show every frame of the busy indicator");
    }
}

WheelFrames::Area WheelFrames::areaOf(const Screen& screen)
{
    Area area{};
    auto* next = area.begin();
    for (int y = top; y < bottom; ++y) {
        const auto* row = screen.begin() + std::ptrdiff_t{y} * screenWidth;
        next = std::copy(row + left, row + right, next);
    }
    return area;
}

Wheel WheelFrames::find(std::span<const Screen> screens) const
{
    if (!frames.contains(areaOf(screens.front()))) {
        return Wheel::None;
    }
    const bool isStopped =
        std::all_of(screens.begin(), screens.end(), [&](const Screen& screen) { return screen == screens.front(); });
    return isStopped ? Wheel::Stopped : Wheel::Turning;
}

Screen WheelFrames::withFirstFrame(Screen screen) const
{
    const auto* next = frames.begin()->begin();
    for (int y = top; y < bottom; ++y) {
        std::copy_n(next, right - left, screen.begin() + std::ptrdiff_t{y} * screenWidth + left);
        next += right - left;
    }
    return screen;
}

} // namespace sim
