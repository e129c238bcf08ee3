// Tests for the device nodes of a USB drive.
#include "sim/models/usb_drive.h"

#include "tests/sim/comparisons.h"
#include "tests/support/scratch_folder.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <string>

namespace {

using sim::UsbDrive;

constexpr std::size_t sectorSize = 512;
constexpr std::size_t firstEntry = 446;

struct Partition {
    std::uint8_t status;
    std::uint8_t type;
    std::uint32_t firstSector;
    std::uint32_t sectorCount;
};

void store32(std::string& bytes, std::size_t at, std::uint32_t value)
{
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[at + i] = static_cast<char>(value >> (8 * i));
    }
}

/// The first sector contains the partition table. Each of the other sectors repeats one character: 'b', 'c', 'd', ...
std::string imageWith(const Partition& partition, std::size_t sectors = 8)
{
    std::string bytes(sectorSize, '\0');
    bytes[firstEntry] = static_cast<char>(partition.status);
    bytes[firstEntry + 4] = static_cast<char>(partition.type);
    store32(bytes, firstEntry + 8, partition.firstSector);
    store32(bytes, firstEntry + 12, partition.sectorCount);
    bytes[510] = '\x55';
    bytes[511] = '\xAA';
    for (std::size_t i = 1; i < sectors; ++i) {
        bytes += std::string(sectorSize, static_cast<char>('a' + i));
    }
    return bytes;
}

std::string sectors(std::string_view letters)
{
    std::string bytes;
    for (const char letter : letters) {
        bytes += std::string(sectorSize, letter);
    }
    return bytes;
}

constexpr Partition fatPartition = {0x80, 0x0C, 2, 3};

class Usb : public testing::Test {
protected:
    Usb() { std::filesystem::create_directories(root.path() / "dev"); }

    void plug(const std::string& image)
    {
        root.write("image", image);
        drive.plug(root / "image");
    }
    [[nodiscard]] bool hasDisk() const { return root.contains("dev/sda"); }
    [[nodiscard]] bool hasPartition() const { return root.contains("dev/sda1"); }

    ScratchFolder root;
    UsbDrive drive{root.path()};
};

TEST_F(Usb, IsInitiallyUnplugged)
{
    EXPECT_FALSE(drive.isPlugged());
    EXPECT_FALSE(hasDisk() || hasPartition());
}

TEST_F(Usb, HasNodesForTheDiskAndItsFirstPartition)
{
    const std::string image = imageWith(fatPartition);
    plug(image);
    EXPECT_TRUE(drive.isPlugged());
    EXPECT_TRUE(root.read("dev/sda") == image);
    EXPECT_TRUE(root.read("dev/sda1") == sectors("cde"));
}

TEST_F(Usb, AcceptsAPartitionThatEndsAtTheEndOfTheImage)
{
    plug(imageWith({0x00, 0x0C, 5, 3}));
    EXPECT_TRUE(root.read("dev/sda1") == sectors("fgh"));
}

/// A FAT boot sector, which has boot code instead of a partition table, and two more sectors.
std::string fatBootSector()
{
    std::string bytes = sectors("x");
    bytes.replace(0, 11, "\xEB\x3C\x90mkfs.fat");
    bytes[510] = '\x55';
    bytes[511] = '\xAA';
    return bytes + sectors("yz");
}

TEST_F(Usb, HasNoPartitionWithoutAValidTable)
{
    const struct {
        const char* what;
        std::string image;
    } cases[] = {
        {"a FAT boot sector", fatBootSector()},
        {"no signature", sectors("abcd")},
        {"an empty table", imageWith({0, 0, 0, 0})},
        {"a partition without a type", imageWith({0x80, 0x00, 2, 3})},
        {"a partition that covers the table", imageWith({0x80, 0x0C, 0, 3})},
        {"a partition without sectors", imageWith({0x80, 0x0C, 2, 0})},
        {"a partition that ends beyond the end of the image", imageWith({0x80, 0x0C, 2, 7})},
        {"a partition far beyond the end of the image", imageWith({0x80, 0x0C, 0xFFFFFFFF, 0xFFFFFFFF})},
        {"an invalid status", imageWith({0x01, 0x0C, 2, 3})},
        {"less than a sector", std::string(511, 'a')},
        {"an empty image", ""},
    };
    for (const auto& [what, image] : cases) {
        plug(image);
        EXPECT_TRUE(drive.isPlugged()) << what;
        EXPECT_FALSE(hasPartition()) << what;
        EXPECT_TRUE(root.read("dev/sda") == image) << what;
    }
}

TEST_F(Usb, CreatesOnlyTheTwoNodes)
{
    plug(imageWith(fatPartition));
    const auto count = [this] { return std::distance(std::filesystem::directory_iterator(root / "dev"), {}); };
    EXPECT_EQ(count(), 2);
    drive.unplug();
    EXPECT_EQ(count(), 0);
}

TEST_F(Usb, NeverChangesTheImage)
{
    const std::string image = imageWith(fatPartition);
    plug(image);
    root.write("dev/sda", "overwritten");
    root.write("dev/sda1", "overwritten");
    EXPECT_TRUE(root.read("image") == image);
    drive.unplug();
    EXPECT_TRUE(root.read("image") == image);
}

TEST_F(Usb, RemovesItsNodesWhenUnplugged)
{
    plug(imageWith(fatPartition));
    drive.unplug();
    EXPECT_FALSE(drive.isPlugged());
    EXPECT_FALSE(hasDisk() || hasPartition());
    EXPECT_NO_THROW(drive.unplug());
}

TEST_F(Usb, ReadsReturnEndOfFileAfterUnplugging)
{
    plug(imageWith(fatPartition, 1000));
    for (const char* node : {"dev/sda", "dev/sda1"}) {
        plug(imageWith({0x80, 0x0C, 1, 999}, 1000));
        std::ifstream reader;
        reader.rdbuf()->pubsetbuf(nullptr, 0);
        reader.open(root / node, std::ios::binary);
        std::array<char, sectorSize> sector{};
        ASSERT_TRUE(reader.read(sector.data(), sector.size())) << node;
        drive.unplug();
        reader.read(sector.data(), sector.size());
        EXPECT_EQ(reader.gcount(), 0) << node;
        EXPECT_TRUE(reader.eof()) << node;
    }
}

TEST_F(Usb, IsReplacedByTheNextDrive)
{
    plug(imageWith(fatPartition));
    plug(fatBootSector());
    EXPECT_FALSE(hasPartition());
    EXPECT_TRUE(root.read("dev/sda") == fatBootSector());
}

TEST_F(Usb, ReportsAnUnreadableImageAndKeepsThePreviousDrive)
{
    plug(imageWith(fatPartition));
    for (const std::string name : {"missing.img", "dev"}) {
        EXPECT_TRUE(contains(thrownMessage([&] { drive.plug(root / name); }), (root / name).string()));
    }
    EXPECT_TRUE(hasDisk() && hasPartition());
}

TEST_F(Usb, LeavesNoPartOfADriveThatCannotBeCopied)
{
    std::filesystem::create_directory(root / "dev/sda.part");
    EXPECT_NE(thrownMessage([&] { plug(imageWith(fatPartition)); }), "");
    EXPECT_FALSE(hasDisk() || hasPartition());
}

} // namespace
