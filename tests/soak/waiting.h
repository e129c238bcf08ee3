// A long wait on the waiting screen.
#pragma once

#include <cstdint>
#include <iosfwd>

namespace soak {

/// Runs a device without a drive for `iterations` and prints the resources of its updater and its frame count. Returns
/// true when no resource grew and exactly the frames of the wheel's steps were sent.
[[nodiscard]] bool soakWaiting(std::uint64_t iterations, std::ostream& table);

} // namespace soak
