// Shared by all fuzz targets: the entry point, the reader of the input bytes, and the check of an expectation.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

/// Called once per input. Accepts any bytes. A violated expectation aborts the process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count);

/// If `holds` is false, prints the violated expectation to standard error and aborts the process.
inline void require(bool holds, const char* expectation)
{
    if (!holds) {
        std::fprintf(stderr, "violated: %s\n", expectation);
        std::abort();
    }
}

/// Consumes the bytes of an input from the front. Bytes after the end of the input read as 0.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t* bytes, std::size_t count) : next(bytes), left(count) {}

    [[nodiscard]] bool isEmpty() const { return left == 0; }

    /// Takes a little-endian number.
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

    /// Takes a number from `lowest` to `highest`, whose difference must be below 256.
    std::int32_t takeFrom(std::int32_t lowest, std::int32_t highest)
    {
        return lowest + take<std::uint8_t>() % (highest - lowest + 1);
    }

    /// Takes a coordinate: in 4 of 8 cases within or near a small bitmap, in 2 cases near the limits of int32_t, and
    /// otherwise any 8-bit or 32-bit number.
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

    /// Takes a number from `lowest` to `highest` in 7 of 8 cases, otherwise a coordinate.
    std::int32_t takeMostlyFrom(std::int32_t lowest, std::int32_t highest)
    {
        return takeFrom(0, 7) == 7 ? takeCoordinate() : takeFrom(lowest, highest);
    }

    /// Takes at most `longest` bytes.
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
