// The names of the faults that can be injected into a device.
#pragma once

#include <algorithm>
#include <iterator>
#include <string_view>

namespace sim::fault {

// Faults that take effect only at power-on.

inline constexpr const char* absentMemory = "absent mem";
inline constexpr const char* mappingFails = "mmap fails";
inline constexpr const char* absentDisplay = "absent spi";
inline constexpr const char* absentLeds = "absent i2c";
inline constexpr const char* absentEncoder = "absent encoder";
inline constexpr const char* refusedMode = "refused mode";
inline constexpr const char* refusedBits = "refused bits";
inline constexpr const char* refusedSpeed = "refused speed";

// Faults that take effect immediately.

inline constexpr const char* failingDisplay = "failing spi";
/// An SPI transfer of several bytes transmits only their first half.
inline constexpr const char* shortTransfers = "short spi";
/// An SPI transfer takes one second.
inline constexpr const char* hangingDisplay = "hanging spi";
inline constexpr const char* failingLeds = "failing i2c";
inline constexpr const char* failingEncoder = "failing encoder";
/// Reading the encoder returns end-of-file.
inline constexpr const char* endedEncoder = "ended encoder";
/// No script can be started.
inline constexpr const char* noProcesses = "no processes";
/// Checking whether the drive exists fails with EACCES.
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
