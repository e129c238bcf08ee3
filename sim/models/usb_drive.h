// The device's USB port and the drive in it. Files represent the drive's device nodes.
#pragma once

#include <filesystem>

namespace sim {

/// While a drive is plugged in, the device's folder contains the file dev/sda (the whole disk) and, if the disk has a
/// valid first partition, dev/sda1 (that partition). Both files are copies, so the drive image never changes.
class UsbDrive {
public:
    /// `deviceRoot` is the folder with the device's files.
    explicit UsbDrive(const std::filesystem::path& deviceRoot);

    /// Replaces the current drive, if any. Throws std::runtime_error if the image cannot be read or copied.
    void plug(const std::filesystem::path& image);
    /// Afterwards, reads through descriptors that are still open return end-of-file.
    void unplug();
    [[nodiscard]] bool isPlugged() const;

private:
    std::filesystem::path disk;
    std::filesystem::path partition;
};

} // namespace sim
