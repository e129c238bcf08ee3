// Tests for copying files with holes.
#include "sim/models/sparse_copy.h"

#include "tests/sim/comparisons.h"
#include "tests/support/scratch_folder.h"

#include <algorithm>
#include <string>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t mebibyte = 1 << 20;

class SparseCopy : public testing::Test {
protected:
    /// Creates a file with four bytes of data and two holes.
    SparseCopy()
    {
        fs::create_directories(folder / "from/inner");
        folder.write("from/inner/image", "");
        fs::resize_file(folder / "from/inner/image", 3 * mebibyte);
        std::fstream(folder / "from/inner/image", std::ios::in | std::ios::out).seekp(mebibyte) << "data";
    }
    [[nodiscard]] std::uint64_t bytesOnDisk(const std::string& name) const
    {
        struct stat status = {};
        EXPECT_EQ(stat((folder / name).c_str(), &status), 0);
        return static_cast<std::uint64_t>(status.st_blocks) * 512;
    }

    ScratchFolder folder;
};

TEST_F(SparseCopy, HasTheBytesOfTheExtent)
{
    const std::string all = folder.read("from/inner/image");
    for (const sim::Extent& extent : {sim::Extent{0, 3 * mebibyte}, sim::Extent{mebibyte + 1, mebibyte},
                                      sim::Extent{5, mebibyte - 3}, sim::Extent{2 * mebibyte, 7}, sim::Extent{9, 0}}) {
        sim::copySparse(folder / "from/inner/image", extent, folder / "copy");
        EXPECT_TRUE(folder.read("copy") == all.substr(extent.offset, extent.size)) << extent.offset;
    }
}

TEST_F(SparseCopy, CopiesMoreThanItKeepsInMemory)
{
    std::string bytes(3 * mebibyte + 1, '\0');
    std::generate(bytes.begin(), bytes.end(), [i = 0U]() mutable { return static_cast<char>(++i % 251); });
    folder.write("data", bytes);
    sim::copySparse(folder / "data", {3, 3 * mebibyte - 3}, folder / "copy");
    EXPECT_TRUE(folder.read("copy") == bytes.substr(3, 3 * mebibyte - 3));
}

TEST_F(SparseCopy, OfAFolderHasTheHolesAndPermissions)
{
    fs::permissions(folder / "from/inner/image", fs::perms::owner_read | fs::perms::owner_exec);
    sim::copyFolderSparse(folder / "from", folder / "to");
    EXPECT_TRUE(folder.read("to/inner/image") == folder.read("from/inner/image"));
    EXPECT_EQ(bytesOnDisk("to/inner/image"), bytesOnDisk("from/inner/image"));
    EXPECT_EQ(fs::status(folder / "to/inner/image").permissions(), fs::perms::owner_read | fs::perms::owner_exec);
}

TEST_F(SparseCopy, ReportsAFileThatCannotBeReadOrWritten)
{
    const std::string missing = (folder / "missing").string();
    EXPECT_EQ(thrownMessage([&] { sim::copySparse(missing, {0, 1}, folder / "copy"); }),
              "cannot read " + missing + ": No such file or directory");
    EXPECT_EQ(thrownMessage([&] { sim::copySparse(folder / "from/inner/image", {0, 1}, folder / "no/copy"); }),
              "cannot copy " + (folder / "from/inner/image").string() + " to " + (folder / "no/copy").string());
}

} // namespace
