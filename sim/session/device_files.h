// Creates devices and drives for the simulator, in a temporary folder.
#pragma once

#include "sim/session/drives.h"
#include "sim/session/scenario.h"

#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// Operations throw std::runtime_error with a one-line message on failure. Operations that run a script throw
/// Interrupted after a termination signal. Several threads may create devices and drives at the same time.
class DeviceFiles {
public:
    /// `scriptFolder` contains make_device.sh, make_drive.sh and verify_memory.sh. The firmware on the drives contains
    /// the files in `firmwareFolder`.
    DeviceFiles(std::filesystem::path scriptFolder, std::filesystem::path firmwareFolder);
    DeviceFiles(const DeviceFiles&) = delete;
    DeviceFiles& operator=(const DeviceFiles&) = delete;
    /// Removes the temporary folder.
    ~DeviceFiles();

    /// Creates the root folder of a new device.
    [[nodiscard]] std::filesystem::path makeDevice(const SessionSetup& setup);
    /// The image of a drive. `name` is a name from `driveKinds`. The first call for a name creates the image.
    [[nodiscard]] std::filesystem::path drive(std::string_view name) const;
    /// Creates a new drive image with a copy of `firmwareFile`, named tonecrate.fw.
    [[nodiscard]] std::filesystem::path makeDriveWith(const std::filesystem::path& firmwareFile) const;
    /// Checks the firmware and the presets in the internal memory, as verify_memory.sh describes. `version` is the
    /// expected version, or "none"; `presets` is "kept" or "lost". Returns a line that describes the contents.
    std::string verify(const std::filesystem::path& device, const std::string& version,
                       const std::string& presets) const;

private:
    void makeFolder();
    [[nodiscard]] std::filesystem::path keys(const std::string& name) const;
    [[nodiscard]] std::filesystem::path firmwareFile(const std::string& version, const std::string& keyName) const;
    [[nodiscard]] std::filesystem::path contentOf(std::string_view drive) const;
    /// `script` is an absolute path, or a path relative to the script folder. Returns the script's output.
    std::string run(const std::string& script, const std::vector<std::string>& arguments) const;

    std::filesystem::path scripts;
    std::filesystem::path firmware;
    std::filesystem::path folder;
    int devices = 0;
    mutable int ownDrives = 0;
    mutable std::mutex mutex;
};

/// Reads a device's internal memory.
[[nodiscard]] std::string memoryContent(const std::filesystem::path& device);

} // namespace sim
