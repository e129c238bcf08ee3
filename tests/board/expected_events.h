// The events that the program causes at its start, in the format of Bus.
#pragma once

#include <string>
#include <vector>

using Events = std::vector<std::string>;

namespace expected {

/// The set-up of the LED controller, with the whole bar lit.
[[nodiscard]] Events ledSetUp();
/// From the function selection of the lines to the command that switches the display on.
[[nodiscard]] Events displaySetUp();

} // namespace expected

/// Describes the first difference from `start`; empty when `actual` begins with `start`.
[[nodiscard]] std::string firstDifference(const Events& actual, const Events& start);
[[nodiscard]] Events operator+(Events first, const Events& second);
