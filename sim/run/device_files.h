// Creates devices and drives for the simulator in a temporary folder, with the scripts in the script folder.
#pragma once

#include "sim/run/scenarios.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// Every operation throws std::runtime_error with a message of one line when it fails.
class DeviceFiles {
public:
    /// The version in the firmware files.
    static constexpr std::string_view version = "2.0.0";

    /// Firmware files are packed from `firmwareFolder`.
    DeviceFiles(std::filesystem::path scriptFolder, std::filesystem::path firmwareFolder);
    DeviceFiles(const DeviceFiles&) = delete;
    DeviceFiles& operator=(const DeviceFiles&) = delete;
    /// Removes the temporary folder.
    ~DeviceFiles();

    /// Creates the root folder of a device with firmware and presets. `memoryKib` is the size of the internal memory
    /// that the scripts assume; 0 for the actual size.
    [[nodiscard]] std::filesystem::path makeDevice(int memoryKib = 0) const;
    [[nodiscard]] std::filesystem::path makeDrive(DriveKind kind) const;
    /// Compares the internal memory byte by byte with the expected contents after `outcome` (not Unchanged).
    /// Returns a line that describes the contents.
    std::string verify(const std::filesystem::path& device, Outcome outcome) const;

private:
    void makeFolder();
    [[nodiscard]] std::filesystem::path keys() const;
    [[nodiscard]] std::filesystem::path firmwareFile() const;
    /// Returns the output of the script.
    std::string run(const std::string& script, const std::vector<std::string>& arguments) const;

    std::filesystem::path scripts;
    std::filesystem::path firmware;
    std::filesystem::path folder;
};

/// Reads a device's internal memory.
[[nodiscard]] std::string memoryContent(const std::filesystem::path& device);

} // namespace sim
