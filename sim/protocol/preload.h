// What the preloaded library and whoever starts a program with it have to agree on.
#pragma once

namespace sim {

/// The environment variable for the folder in which the device keeps its files.
inline constexpr const char* rootVariable = "DEVICE_ROOT";
/// The environment variable for the number of the descriptor on which the library is told what to do.
inline constexpr const char* socketVariable = "SIM_SOCKET";
/// The environment variable for the number of the descriptor from which the library is loaded.
inline constexpr const char* libraryVariable = "SIM_LIBRARY";
/// A symbol by which the library can be told from any other.
inline constexpr const char* librarySymbol = "tonecrate_simulated_device";

} // namespace sim
