// The log entries of the display's initialisation.
#pragma once

#include <string>
#include <vector>

namespace bringUp {

// clang-format off
inline const std::vector<std::string> resetPulse = {
    "line 25 high", "wait 20000 us",
    "line 25 low", "wait 20000 us",
    "line 25 high", "wait 200000 us",
};

inline const std::vector<std::string> initialisation = {
    "command 30",                                             // page 1
    "command 6E",                                             // enable master
    "command 31",                                             // page 2
    "command D7", "data 9F",                                  // auto-read off
    "command E0", "data 00", "wait 20000 us",                 // OTP read
    "command E3", "wait 20000 us",                            // OTP up-load
    "command E1",                                             // OTP control out
    "command 30",                                             // page 1
    "command 94",                                             // sleep out
    "command AE", "wait 50000 us",                            // display off
    "command 20", "data 0B",                                  // power
    "command 0C",                                             // least significant bit on top
    "command 81", "data 10", "data 04",                       // Vop
    "command 31",                                             // page 2
    "command 32", "data 00", "data 01", "data 02",            // analog circuit
    "command 51", "data FB",                                  // booster level
    "command 30",                                             // page 1
    "command F0", "data 11",                                  // four greys
    "command CA", "data 00", "data 9F", "data 00",            // 160 lines
    "command 31",                                             // page 2
    "command F2", "data 1E", "data 28", "data 32",            // temperature range
    "command F0", "data 16", "data 16", "data 16", "data 16", // frame rate
    "command 30",                                             // page 1
    "command BC", "data 00",                                  // scan direction
    "command A6",                                             // not inverted
    "command 31",                                             // page 2
    "command 40",                                             // internal power supply
};

inline const std::vector<std::string> addressWindow = {
    "command 30",                       // page 1
    "command 15", "data 00", "data FF", // columns
    "command 75", "data 00", "data 9F", // pages
    "command 5C",                       // write display data
};
// clang-format on

/// A zero byte for every four pixels of the display.
inline const std::vector<std::string> clearedRam = std::vector<std::string>(10240, "data 00");

} // namespace bringUp
