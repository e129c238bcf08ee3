// Whole updates, one after another.
#pragma once

#include <cstdint>
#include <iosfwd>

namespace soak {

/// Leads that many devices through an update or a factory reset, in turn, all held by this process. Prints what this
/// process held, and what the updaters held in the end. True when nothing has grown, every one of them ended on the
/// right screen, and all of a kind have sent equally many frames.
[[nodiscard]] bool soakUpdates(std::uint64_t count, std::ostream& table);

} // namespace soak
