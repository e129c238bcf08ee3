// Runs complete updates, one after the other.
#pragma once

#include <cstdint>
#include <iosfwd>

namespace soak {

/// Runs `count` devices, alternately through an update and a factory reset. Prints the resources of this process and of
/// the updaters. Returns true if this process's resource use did not grow, all screens and outputs were correct, and
/// all updaters had equal numbers of descriptors, threads, children and frames after their update or reset. The numbers
/// of frames of updates and of factory resets are compared separately.
[[nodiscard]] bool soakUpdates(std::uint64_t count, std::ostream& table);

} // namespace soak
