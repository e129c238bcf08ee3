// Tests of saving a bitmap as a BMP file: the bytes of the file, the sync command, and failures.
#include "graphics/bitmap.h"

#include "tests/support/picture.h"
#include "tests/support/scratch_folder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

/// Puts a folder with a script named `sync` first in PATH. The script appends a line to "syncs", copies "picture.bmp"
/// to "synced.bmp", and exits with status 7.
class BmpExport : public testing::Test {
protected:
    BmpExport() : oldPath(std::getenv("PATH"))
    {
        std::filesystem::create_directory(folder / "bin");
        const std::string picture = (folder / "picture.bmp").string();
        folder.write("bin/sync", "#!/bin/sh\necho ran >> '" + (folder / "syncs").string() + "'\ncp '" + picture +
                                     "' '" + (folder / "synced.bmp").string() + "' 2>/dev/null\nexit 7\n");
        std::filesystem::permissions(folder / "bin/sync", std::filesystem::perms::owner_all);
        setenv("PATH", ((folder / "bin").string() + ':' + oldPath).c_str(), 1);
    }
    ~BmpExport() override { setenv("PATH", oldPath.c_str(), 1); }

    /// Saves the bitmap and returns the bytes of the file.
    std::string saved(const Bitmap& bitmap)
    {
        EXPECT_TRUE(bitmap.saveBmp((folder / "picture.bmp").string()));
        return folder.read("picture.bmp");
    }

    ScratchFolder folder;

private:
    std::string oldPath;
};

std::string bytes(const std::vector<int>& values)
{
    return {values.begin(), values.end()};
}

std::int64_t numberAt(const std::string& file, std::size_t offset, std::size_t size = 4)
{
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < size; ++i) {
        number |= std::uint32_t{static_cast<std::uint8_t>(file.at(offset + i))} << (8 * i);
    }
    return static_cast<std::int32_t>(number);
}

TEST_F(BmpExport, WritesHeadersAndPaddedRows)
{
    const std::string header = bytes({
        'B', 'M', 63, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0,                    // file header
        40,  0,   0,  0, 3, 0, 0, 0, 1, 0, 0,  0, 1, 0, 24, 0, 0, 0, 0, 0, // size, width, height, planes, bits, ...
        0,   0,   0,  0, 0, 0, 0, 0, 0, 0, 0,  0, 0, 0, 0,  0, 0, 0, 0, 0, // image size, resolutions, colours
    });
    ASSERT_EQ(header.size(), 54U);
    const std::string row = bytes({255, 255, 255, 84, 84, 84, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(saved(bitmapOf({".+#"})), header + row);
}

TEST_F(BmpExport, WritesLevelsAsGreysAndOtherValuesAsWhite)
{
    const std::string file = saved(bitmapOf({".-+# 49."}));
    EXPECT_EQ(file.substr(54), bytes({255, 255, 255, 170, 170, 170, 84,  84,  84,  0,   0,   0,
                                      255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255}));
}

TEST_F(BmpExport, WritesTheBottomRowFirst)
{
    const std::string file = saved(bitmapOf({"####", "....", "----"}));
    EXPECT_EQ(file.substr(54),
              bytes(std::vector<int>(12, 170)) + bytes(std::vector<int>(12, 255)) + bytes(std::vector<int>(12, 0)));
}

TEST_F(BmpExport, TheSizeFieldExcludesThePaddingAfterEveryRow)
{
    struct Case {
        std::int32_t width, height;
        std::size_t padding;
    };
    for (const Case& c : {Case{1, 3, 1}, Case{2, 3, 2}, Case{3, 3, 3}, Case{4, 3, 0}, Case{5, 2, 1}}) {
        SCOPED_TRACE(c.width);
        const std::string file = saved(filledBitmap(c.width, c.height, 0));
        const auto rowBytes = static_cast<std::size_t>(c.width) * 3;
        ASSERT_EQ(file.size(), 54 + (rowBytes + c.padding) * static_cast<std::size_t>(c.height));
        EXPECT_EQ(numberAt(file, 2), c.width * c.height * 3 + 54);
        for (std::size_t row = 0; row < static_cast<std::size_t>(c.height); ++row) {
            const std::string contents = file.substr(54 + row * (rowBytes + c.padding), rowBytes + c.padding);
            EXPECT_EQ(contents, std::string(rowBytes, '\xff') + std::string(c.padding, '\0'));
        }
    }
}

TEST_F(BmpExport, TheSizeFieldIsExactForTheCanvas)
{
    Bitmap canvas = filledBitmap(256, 160, 0);
    canvas.fillRect(0, 0, 1, 1, 3);
    const std::string file = saved(canvas);
    EXPECT_EQ(file.size(), 122934U);
    EXPECT_EQ(numberAt(file, 2), 122934);
    EXPECT_EQ(numberAt(file, 18), 256);
    EXPECT_EQ(numberAt(file, 22), 160);
    EXPECT_EQ(file.find('\0', 54), 122934U - 768) << "wrong position of the top row, which is the last row of the file";
}

TEST_F(BmpExport, WritesOnlyTheHeadersOfAnEmptyBitmap)
{
    struct Case {
        std::int32_t width, height, size;
    };
    for (const Case& c : {Case{0, 0, 54}, Case{3, 0, 54}, Case{0, 3, 54}, Case{2, -3, 36}}) {
        SCOPED_TRACE(testing::Message() << c.width << " by " << c.height);
        std::filesystem::remove(folder / "syncs");
        const std::string file = saved(Bitmap(c.width, c.height));
        ASSERT_EQ(file.size(), 54U);
        EXPECT_EQ(numberAt(file, 2), c.size);
        EXPECT_EQ(numberAt(file, 18), c.width);
        EXPECT_EQ(numberAt(file, 22), c.height);
        EXPECT_EQ(folder.read("syncs"), "ran\n");
    }
}

TEST_F(BmpExport, SyncsOnceAfterTheFileIsCompleteAndIgnoresTheExitStatus)
{
    const std::string file = saved(bitmapOf({".+#", "#.#"}));
    EXPECT_EQ(folder.read("syncs"), "ran\n");
    EXPECT_EQ(folder.read("synced.bmp"), file);
}

TEST_F(BmpExport, ReplacesAnExistingFile)
{
    folder.write("picture.bmp", std::string(1000, 'x'));
    EXPECT_EQ(saved(bitmapOf({".+#"})).size(), 66U);
}

TEST_F(BmpExport, ReturnsFalseAndPrintsNothingIfTheFileCannotBeCreated)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const bool result = bitmapOf({".+#"}).saveBmp((folder / "absent/picture.bmp").string());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(result);
    EXPECT_FALSE(folder.contains("syncs"));
}

} // namespace
