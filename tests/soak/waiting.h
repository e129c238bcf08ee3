// Runs the updater on the waiting screen for a long time.
#pragma once

#include <cstdint>
#include <iosfwd>

namespace soak {

/// Runs a device without a drive for `iterations` and prints the updater's resources and frame count. Returns true if
/// the updater's resource use did not grow, and the frame count, the last screen and the output are correct.
[[nodiscard]] bool soakWaiting(std::uint64_t iterations, std::ostream& table);

} // namespace soak
