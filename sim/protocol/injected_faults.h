// The faults that a test can inject into a device, by name.
#pragma once

#include <algorithm>
#include <iterator>
#include <string_view>

/// The faults before the blank line only have an effect when the device is switched on with them.
namespace sim::fault {

inline constexpr const char* absentMemory = "absent mem";
inline constexpr const char* mappingFails = "mmap fails";
inline constexpr const char* absentDisplay = "absent spi";
inline constexpr const char* absentLeds = "absent i2c";
inline constexpr const char* absentEncoder = "absent encoder";
inline constexpr const char* refusedMode = "refused mode";
inline constexpr const char* refusedBits = "refused bits";
inline constexpr const char* refusedSpeed = "refused speed";

inline constexpr const char* failingDisplay = "failing spi";
/// More than a byte at once comes through as its first half.
inline constexpr const char* shortTransfers = "short spi";
/// A transfer takes a second.
inline constexpr const char* hangingDisplay = "hanging spi";
inline constexpr const char* failingLeds = "failing i2c";
inline constexpr const char* failingEncoder = "failing encoder";
/// At its end, as if there was nothing left to come, and not for the moment only.
inline constexpr const char* endedEncoder = "ended encoder";
inline constexpr const char* noProcesses = "no processes";
inline constexpr const char* forbiddenDrive = "forbidden drive";

inline constexpr std::string_view all[] = {
    absentMemory,   mappingFails, absentDisplay,  absentLeds,     absentEncoder,  refusedMode,
    refusedBits,    refusedSpeed, failingDisplay, shortTransfers, hangingDisplay, failingLeds,
    failingEncoder, endedEncoder, noProcesses,    forbiddenDrive,
};

[[nodiscard]] inline bool isKnown(std::string_view name)
{
    return std::find(std::begin(all), std::end(all), name) != std::end(all);
}

} // namespace sim::fault
