// Recognises the busy indicator, whose frame depends on the time.
#pragma once

#include "sim/models/screen.h"

#include <array>
#include <cstdint>
#include <set>
#include <span>

namespace sim {

/// The state of the busy indicator, called the wheel. It may stop at any of its frames.
enum class Wheel { None, Turning, Stopped };

class WheelFrames {
public:
    static constexpr std::size_t count = 8;

    /// `screens` must show the wheel in each of its frames. Throws std::runtime_error if they do not.
    explicit WheelFrames(std::span<const Screen> screens);

    /// Returns None if the first screen does not show the wheel, Stopped if all screens are equal, and Turning
    /// otherwise.
    [[nodiscard]] Wheel find(std::span<const Screen> screens) const;
    /// Replaces the wheel on the screen by a fixed frame, so that the result does not depend on the time.
    [[nodiscard]] Screen withFirstFrame(Screen screen) const;

private:
    /// The area of the wheel; `right` and `bottom` are exclusive.
    static constexpr int left = 102;
    static constexpr int right = 154;
    static constexpr int top = 104;
    static constexpr int bottom = 155;

    using Area = std::array<std::uint8_t, std::size_t{right - left} * (bottom - top)>;

    [[nodiscard]] static Area areaOf(const Screen& screen);

    std::set<Area> frames;
};

} // namespace sim
