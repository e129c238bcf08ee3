// A USB drive in the device's port: the nodes that the kernel makes for it, as files.
#pragma once

#include <filesystem>

namespace sim {

/// A plugged drive is dev/sda (the whole disk) and, when it has a partition table, dev/sda1 (its first partition) in
/// the device's folder. Both are copies: the image stays what it was. Throws std::runtime_error when the image cannot
/// be read.
class UsbDrive {
public:
    /// `deviceRoot` is the folder in which the device keeps its files.
    explicit UsbDrive(const std::filesystem::path& deviceRoot);

    void plug(const std::filesystem::path& image);
    /// Whoever still reads from the drive finds it ended.
    void unplug();
    [[nodiscard]] bool isPlugged() const;

private:
    std::filesystem::path disk;
    std::filesystem::path partition;
};

} // namespace sim
