// Shared by all fuzz targets: the entry point, the input bytes as numbers, and the check that reports a finding.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

/// Called once per input. Accepts any bytes. A finding aborts the process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count);

/// If `holds` is false, prints the violated expectation to standard error and aborts the process.
inline void require(bool holds, const char* expectation)
{
    if (!holds) {
        std::fprintf(stderr, "violated: %s\n", expectation);
        std::abort();
    }
}

/// Consumes the bytes of an input from the front. At the end of the input, all numbers are 0.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t* bytes, std::size_t count) : next(bytes), left(count) {}

    [[nodiscard]] bool isEmpty() const { return left == 0; }

    /// Little-endian.
    template <typename Number>
    Number take()
    {
        Number value{};
        const std::size_t count = std::min(left, sizeof value);
        if (count > 0) {
            std::memcpy(&value, next, count);
        }
        skip(count);
        return value;
    }

    /// A number from `lowest` to `highest`, whose difference must be below 256.
    std::int32_t takeFrom(std::int32_t lowest, std::int32_t highest)
    {
        return lowest + take<std::uint8_t>() % (highest - lowest + 1);
    }

    /// In 4 of 8 cases within or near a small bitmap, in 2 near the limits of int32_t.
    std::int32_t takeCoordinate()
    {
        using Limits = std::numeric_limits<std::int32_t>;
        switch (take<std::uint8_t>() % 8) {
        case 0:
            return Limits::min() + take<std::uint8_t>();
        case 1:
            return Limits::max() - take<std::uint8_t>();
        case 2:
            return take<std::int32_t>();
        case 3:
            return take<std::int8_t>();
        default:
            return takeFrom(-8, 55);
        }
    }

    /// A number from `lowest` to `highest` in 7 of 8 cases, otherwise any coordinate.
    std::int32_t takeMostlyFrom(std::int32_t lowest, std::int32_t highest)
    {
        return takeFrom(0, 7) == 7 ? takeCoordinate() : takeFrom(lowest, highest);
    }

    /// At most `longest` bytes.
    std::string takeString(std::size_t longest)
    {
        const std::size_t count = std::min(left, longest);
        std::string result(reinterpret_cast<const char*>(next), count);
        skip(count);
        return result;
    }

private:
    void skip(std::size_t count)
    {
        next += count;
        left -= count;
    }

    const std::uint8_t* next;
    std::size_t left;
};
