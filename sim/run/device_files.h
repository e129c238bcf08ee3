// Runs scripts that create devices and drives for the simulator in a temporary folder.
#pragma once

#include "sim/run/scenarios.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// Every operation throws std::runtime_error with a one-line message if it fails.
class DeviceFiles {
public:
    /// The version of the firmware on the drives.
    static constexpr std::string_view version = "2.0.0";

    /// Runs the scripts in `scriptFolder`. The firmware on the drives contains the files in `firmwareFolder`.
    DeviceFiles(std::filesystem::path scriptFolder, std::filesystem::path firmwareFolder);
    DeviceFiles(const DeviceFiles&) = delete;
    DeviceFiles& operator=(const DeviceFiles&) = delete;
    /// Removes the temporary folder.
    ~DeviceFiles();

    /// Creates the root folder of a device with firmware and presets.
    [[nodiscard]] std::filesystem::path makeDevice(MemorySize memory = {}) const;
    [[nodiscard]] std::filesystem::path makeDrive(DriveKind kind) const;
    /// Compares the internal memory byte by byte with the contents that `outcome` requires. `outcome` must not be
    /// Unchanged. Returns a line that describes the contents.
    std::string verify(const std::filesystem::path& device, Outcome outcome) const;

private:
    void makeFolder();
    [[nodiscard]] std::filesystem::path keys() const;
    [[nodiscard]] std::filesystem::path firmwareFile() const;
    /// `script` is an absolute path, or a path relative to the script folder. Returns the script's output.
    std::string run(const std::string& script, const std::vector<std::string>& arguments) const;

    std::filesystem::path scripts;
    std::filesystem::path firmware;
    std::filesystem::path folder;
};

/// Reads a device's internal memory.
[[nodiscard]] std::string memoryContent(const std::filesystem::path& device);

} // namespace sim
