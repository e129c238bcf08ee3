// Names shared by the preloaded library and its controller.
#pragma once

namespace sim {

/// Environment variable: the folder with the device's files.
inline constexpr const char* rootVariable = "DEVICE_ROOT";
/// Environment variable: the number of the descriptor on which the library receives requests.
inline constexpr const char* socketVariable = "SIM_SOCKET";
/// Environment variable: the number of the descriptor from which the library is loaded.
inline constexpr const char* libraryVariable = "SIM_LIBRARY";
/// A symbol that identifies the library.
inline constexpr const char* librarySymbol = "tonecrate_simulated_device";

} // namespace sim
