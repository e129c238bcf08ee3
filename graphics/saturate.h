// Saturating conversion to 32 bits.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

/// Returns the nearest 32-bit value.
inline std::int32_t saturate(std::int64_t value)
{
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}
