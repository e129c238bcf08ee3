// Consecutive whole updates.
#pragma once

#include <cstdint>
#include <iosfwd>

namespace soak {

/// Runs `count` devices, alternately through an update and a factory reset. Prints the resources of this process and of
/// the updaters. Returns true when this process did not grow, all screens were correct, and all updates (and all
/// factory resets) sent the same number of frames.
[[nodiscard]] bool soakUpdates(std::uint64_t count, std::ostream& table);

} // namespace soak
