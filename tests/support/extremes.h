// The limits of coordinates, for tests of overflow.
#pragma once

#include <cstdint>
#include <limits>

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();
