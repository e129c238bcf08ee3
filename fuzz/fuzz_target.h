// What every fuzz target is made of: the call that the fuzzer makes, its bytes as numbers, and what must hold.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

/// Called with one input after another; any bytes are a valid input. A finding ends the process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count);

/// Ends the process when `holds` is false, with a line that tells what was expected.
inline void require(bool holds, const char* expectation)
{
    if (!holds) {
        std::fprintf(stderr, "It does not hold that %s\n", expectation);
        std::abort();
    }
}

/// Takes the bytes of an input from its front. Beyond its end all numbers are 0.
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

    /// From `lowest` to `highest`, which are less than 256 apart, most of them for one value of the byte.
    std::int32_t takeFrom(std::int32_t lowest, std::int32_t highest)
    {
        return lowest + take<std::uint8_t>() % (highest - lowest + 1);
    }

    /// Mostly on or near what is drawn on, often at one end of the 32 bits.
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

    /// From `lowest` to `highest` for most values of a byte, any coordinate for the others.
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
