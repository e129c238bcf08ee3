// The events that the program causes at start-up, in the format of Bus::events.
#pragma once

#include <string>
#include <vector>

using Events = std::vector<std::string>;

namespace expected {

/// The events that set up the LED controller and light the whole bar.
[[nodiscard]] Events ledSetUp();
/// The events from the selection of the display lines' functions to the command that switches the display on.
[[nodiscard]] Events displaySetUp();

} // namespace expected

/// Describes the first difference from `start`; empty if `actual` begins with `start`.
[[nodiscard]] std::string firstDifference(const Events& actual, const Events& start);
[[nodiscard]] Events operator+(Events first, const Events& second);
