// Tests of the drive's nodes.
#include "sim/models/usb_drive.h"

#include "tests/support/scratch_folder.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <gmock/gmock.h>
#include <string>

namespace {

using sim::UsbDrive;
using testing::HasSubstr;
using testing::Property;
using testing::Throws;

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

/// Sectors that are filled with the letters a, b, c, ..., the first with the table.
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

TEST_F(Usb, IsNotPluggedAtFirst)
{
    EXPECT_FALSE(drive.isPlugged());
    EXPECT_FALSE(hasDisk() || hasPartition());
}

TEST_F(Usb, ShowsTheDiskAndItsFirstPartition)
{
    const std::string image = imageWith(fatPartition);
    plug(image);
    EXPECT_TRUE(drive.isPlugged());
    EXPECT_TRUE(root.read("dev/sda") == image);
    EXPECT_TRUE(root.read("dev/sda1") == sectors("cde"));
}

TEST_F(Usb, TakesAPartitionUpToTheEndOfTheImage)
{
    plug(imageWith({0x00, 0x0C, 5, 3}));
    EXPECT_TRUE(root.read("dev/sda1") == sectors("fgh"));
}

/// The start of the boot sector of a FAT file system without a partition table: its last 66 bytes before the signature
/// are boot code, which is no table entry.
std::string fatBootSector()
{
    std::string bytes = sectors("x");
    bytes.replace(0, 11, "\xEB\x3C\x90mkfs.fat");
    bytes[510] = '\x55';
    bytes[511] = '\xAA';
    return bytes + sectors("yz");
}

TEST_F(Usb, ShowsOnlyTheDiskWhenThereIsNoTable)
{
    const struct {
        const char* what;
        std::string image;
    } cases[] = {
        {"a FAT boot sector", fatBootSector()},
        {"no signature", sectors("abcd")},
        {"an empty table", imageWith({0, 0, 0, 0})},
        {"a partition of no type", imageWith({0x80, 0x00, 2, 3})},
        {"a partition that covers the table", imageWith({0x80, 0x0C, 0, 3})},
        {"a partition without sectors", imageWith({0x80, 0x0C, 2, 0})},
        {"a partition that ends behind the image", imageWith({0x80, 0x0C, 2, 7})},
        {"a partition far behind the image", imageWith({0x80, 0x0C, 0xFFFFFFFF, 0xFFFFFFFF})},
        {"a status that does not exist", imageWith({0x01, 0x0C, 2, 3})},
        {"less than a sector", std::string(511, 'a')},
        {"nothing", ""},
    };
    for (const auto& [what, image] : cases) {
        plug(image);
        EXPECT_TRUE(drive.isPlugged()) << what;
        EXPECT_FALSE(hasPartition()) << what;
        EXPECT_TRUE(root.read("dev/sda") == image) << what;
    }
}

TEST_F(Usb, LeavesNothingBesideItsNodes)
{
    plug(imageWith(fatPartition));
    const auto count = [this] { return std::distance(std::filesystem::directory_iterator(root / "dev"), {}); };
    EXPECT_EQ(count(), 2);
    drive.unplug();
    EXPECT_EQ(count(), 0);
}

TEST_F(Usb, DoesNotTouchTheImageWhenItIsWrittenTo)
{
    const std::string image = imageWith(fatPartition);
    plug(image);
    root.write("dev/sda", "overwritten");
    root.write("dev/sda1", "overwritten");
    EXPECT_TRUE(root.read("image") == image);
    drive.unplug();
    EXPECT_TRUE(root.read("image") == image);
}

TEST_F(Usb, IsGoneWhenItIsUnplugged)
{
    plug(imageWith(fatPartition));
    drive.unplug();
    EXPECT_FALSE(drive.isPlugged());
    EXPECT_FALSE(hasDisk() || hasPartition());
    EXPECT_NO_THROW(drive.unplug());
}

TEST_F(Usb, EndsForWhoeverReadsItWhenItIsUnplugged)
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

TEST_F(Usb, IsReplacedByAnotherOne)
{
    plug(imageWith(fatPartition));
    plug(fatBootSector());
    EXPECT_FALSE(hasPartition());
    EXPECT_TRUE(root.read("dev/sda") == fatBootSector());
}

TEST_F(Usb, NamesAnImageThatIsNotThereAndStaysAsItWas)
{
    plug(imageWith(fatPartition));
    for (const std::string name : {"missing.img", "dev"}) {
        EXPECT_THAT([&] { drive.plug(root / name); },
                    Throws<std::runtime_error>(Property(&std::runtime_error::what, HasSubstr((root / name).string()))));
    }
    EXPECT_TRUE(hasDisk() && hasPartition());
}

} // namespace
