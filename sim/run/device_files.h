// Creates devices and drives for the simulator in a temporary folder, with the tools of the script folder.
#pragma once

#include "sim/run/scenarios.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// Every operation throws std::runtime_error with one line when it fails.
class DeviceFiles {
public:
    /// The version that the firmware files carry.
    static constexpr std::string_view version = "2.0.0";

    /// `firmwareFolder` holds what is packed into the firmware files.
    DeviceFiles(std::filesystem::path scriptFolder, std::filesystem::path firmwareFolder);
    DeviceFiles(const DeviceFiles&) = delete;
    DeviceFiles& operator=(const DeviceFiles&) = delete;
    /// Removes the temporary folder and all that was made.
    ~DeviceFiles();

    /// The root folder of a device in use; `memoryKib` is what it takes for the size of its memory, 0 for the real one.
    [[nodiscard]] std::filesystem::path makeDevice(int memoryKib = 0) const;
    [[nodiscard]] std::filesystem::path makeDrive(DriveKind kind) const;
    /// Checks the device's memory byte by byte, in an outcome other than LeftAlone, and says in one line what it holds.
    std::string verify(const std::filesystem::path& device, Outcome outcome) const;

private:
    void makeFolder();
    [[nodiscard]] std::filesystem::path keys() const;
    [[nodiscard]] std::filesystem::path firmwareFile() const;
    /// Returns what the script wrote.
    std::string run(const std::string& script, const std::vector<std::string>& arguments) const;

    std::filesystem::path scripts;
    std::filesystem::path firmware;
    std::filesystem::path folder;
};

/// The content of a device's internal memory.
[[nodiscard]] std::string memoryContent(const std::filesystem::path& device);

} // namespace sim
