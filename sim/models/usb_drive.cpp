// Creates and removes the drive's device nodes.
#include "sim/models/usb_drive.h"

#include "sim/models/sparse_copy.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>

namespace sim {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t sectorSize = 512;

std::uint32_t littleEndian32(const std::uint8_t* bytes)
{
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

/// Returns the first partition if the first sector contains a partition table. A FAT boot sector has the same
/// signature, so the table's first entry must also have a valid status byte and a type, and the partition must be
/// non-empty and lie within the image, after the first sector.
std::optional<Extent> firstPartition(const fs::path& image)
{
    constexpr std::size_t entry = 446;
    constexpr std::size_t signature = 510;
    std::array<std::uint8_t, sectorSize> sector{};
    std::ifstream file(image, std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(sector.data()), sector.size())) {
        return std::nullopt;
    }
    const std::uint8_t status = sector[entry];
    const std::uint8_t type = sector[entry + 4];
    const Extent extent = {littleEndian32(&sector[entry + 8]) * std::uint64_t{sectorSize},
                           littleEndian32(&sector[entry + 12]) * std::uint64_t{sectorSize}};
    const bool isTable = sector[signature] == 0x55 && sector[signature + 1] == 0xAA &&
                         (status == 0 || status == 0x80) && type != 0 && extent.offset != 0 && extent.size != 0 &&
                         extent.offset + extent.size <= fs::file_size(image);
    return isTable ? std::optional(extent) : std::nullopt;
}

void removeNode(const fs::path& node)
{
    if (fs::is_regular_file(node)) {
        fs::resize_file(node, 0);
    }
    fs::remove(node);
}

} // namespace

UsbDrive::UsbDrive(const fs::path& deviceRoot) : disk(deviceRoot / "dev/sda"), partition(deviceRoot / "dev/sda1")
{}

void UsbDrive::plug(const fs::path& image)
{
    if (!fs::is_regular_file(image)) {
        throw std::runtime_error("no such drive image: " + image.string());
    }
    unplug();
    // The disk is renamed into place, so that a program never opens a partial copy of it.
    const fs::path unfinished = disk.string() + ".part";
    try {
        // The partition is created first, because a program that finds the disk may check for the partition
        // immediately.
        if (const auto extent = firstPartition(image)) {
            copySparse(image, *extent, partition);
        }
        copySparse(image, {0, fs::file_size(image)}, unfinished);
        fs::rename(unfinished, disk);
    } catch (...) {
        std::error_code ignored;
        fs::remove(unfinished, ignored);
        unplug();
        throw;
    }
}

void UsbDrive::unplug()
{
    removeNode(disk);
    removeNode(partition);
}

bool UsbDrive::isPlugged() const
{
    return fs::exists(disk);
}

} // namespace sim
