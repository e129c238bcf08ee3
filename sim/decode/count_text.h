// Counts as text.
#pragma once

#include <concepts>
#include <string>

namespace sim {

/// The count with its noun in the singular or the plural, such as "1 byte" and "2 bytes".
[[nodiscard]] inline std::string countText(std::integral auto count, const std::string& noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

} // namespace sim
