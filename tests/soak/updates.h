// Runs complete updates, one after the other.
#pragma once

#include <cstdint>
#include <iosfwd>

namespace soak {

/// Runs `count` devices, alternately through an update and a factory reset. Prints the resources of this process and of
/// the updaters. Returns true if this process's resource use did not grow, all screens and outputs were correct, and
/// the numbers of descriptors, threads and children at the end were the same for all updaters. The number of frames
/// must be the same for all updates, and for all factory resets.
[[nodiscard]] bool soakUpdates(std::uint64_t count, std::ostream& table);

} // namespace soak
