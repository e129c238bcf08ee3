// Counts as text.
#pragma once

#include <cstdint>
#include <string>

namespace sim {

/// The count with its noun in the singular or the plural, such as "1 byte" and "2 bytes".
[[nodiscard]] inline std::string countText(std::uint64_t count, const std::string& noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

} // namespace sim
