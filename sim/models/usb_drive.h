// A USB drive in the device's port: its device nodes, as files.
#pragma once

#include <filesystem>

namespace sim {

/// A plugged drive is the file dev/sda (the whole disk) and, if the disk has a partition table, dev/sda1 (its first
/// partition), both in the device's folder and both copies, so that the image never changes.
class UsbDrive {
public:
    /// `deviceRoot` is the folder in which the device keeps its files.
    explicit UsbDrive(const std::filesystem::path& deviceRoot);

    /// Throws std::runtime_error when the image cannot be read.
    void plug(const std::filesystem::path& image);
    /// Later reads through open descriptors return end-of-file.
    void unplug();
    [[nodiscard]] bool isPlugged() const;

private:
    std::filesystem::path disk;
    std::filesystem::path partition;
};

} // namespace sim
