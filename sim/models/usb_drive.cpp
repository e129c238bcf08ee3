// Creates and removes the drive's device nodes.
#include "sim/models/usb_drive.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace sim {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t sectorSize = 512;

struct Extent {
    std::uint64_t offset;
    std::uint64_t size;
};

std::uint32_t littleEndian32(const std::uint8_t* bytes)
{
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

/// Returns the first partition if the first sector contains a partition table. A FAT boot sector has the same
/// signature, so the entry must also have a valid status byte and a type, and the partition must lie within the image.
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

void copyExtent(const fs::path& from, const Extent& extent, const fs::path& to)
{
    std::vector<char> bytes(extent.size);
    std::ifstream in(from, std::ios::binary);
    in.seekg(static_cast<std::streamoff>(extent.offset));
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    std::ofstream out(to, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!in || !out.flush()) {
        throw std::runtime_error("cannot copy the partition of " + from.string());
    }
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
    // The partition is created first, because a program that finds the disk may check for the partition immediately.
    if (const auto extent = firstPartition(image)) {
        copyExtent(image, *extent, partition);
    }
    // Renamed into place, so that a program never opens a partial copy.
    const fs::path unfinished = disk.string() + ".part";
    fs::copy_file(image, unfinished, fs::copy_options::overwrite_existing);
    fs::rename(unfinished, disk);
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
