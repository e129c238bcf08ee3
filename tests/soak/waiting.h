// The waiting screen, for as long as it takes.
#pragma once

#include <cstdint>
#include <iosfwd>

namespace soak {

/// Lets a device wait for its drive for that many iterations, and prints what its updater held meanwhile and how many
/// frames it sent. True when nothing has grown and every frame was sent that is due, and no other.
[[nodiscard]] bool soakWaiting(std::uint64_t iterations, std::ostream& table);

} // namespace soak
