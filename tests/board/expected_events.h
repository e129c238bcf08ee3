// What the program is to do on the wires when it starts, as Bus tells it.
#pragma once

#include <string>
#include <vector>

using Events = std::vector<std::string>;

namespace expected {

/// The LED controller's set-up, and its whole bar lit.
[[nodiscard]] Events ledSetUp();
/// From the selection of its lines to the command that switches it on.
[[nodiscard]] Events displaySetUp();

} // namespace expected

/// Where `actual` does not begin with `start`; empty when it does.
[[nodiscard]] std::string firstDifference(const Events& actual, const Events& start);
[[nodiscard]] Events operator+(Events first, const Events& second);
