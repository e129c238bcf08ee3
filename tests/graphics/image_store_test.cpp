// Tests of the compiled-in images: lookup by path, and equality with the pictures in img/.
#include "graphics/image_store.h"

#include "graphics/image_table.h"
#include "tests/support/test_font.h"

#include <png.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace fs = std::filesystem;

class Images : public GraphicsTest {};

std::string standardErrorOfGetImage(const std::string& path, Bitmap& image)
{
    testing::internal::CaptureStderr();
    image = getImage(path);
    return testing::internal::GetCapturedStderr();
}

TEST_F(Images, BuildingTheStoreReplacesEntriesWithTheSamePath)
{
    storeImage("img/wheel_0.png", {"#"});
    storeImage("img/extra.png", {"#."});
    buildImageStore();
    EXPECT_EQ(getImage("img/wheel_0.png").getWidth(), 51);
    EXPECT_TRUE(shows(getImage("img/extra.png"), Picture{"#."}));
    buildImageStore();
    EXPECT_EQ(imageStore.size(), imageRecords.size() + 1);
}

TEST_F(Images, GetImageReturnsADeepCopy)
{
    buildImageStore();
    Bitmap frame;
    EXPECT_EQ(standardErrorOfGetImage("img/wheel_7.png", frame), "");
    ASSERT_EQ(frame.getWidth(), 51);
    ASSERT_EQ(frame.getHeight(), 51);
    const Picture original = pictureOf(frame);
    frame.fill(2);
    EXPECT_TRUE(shows(getImage("img/wheel_7.png"), original));
}

TEST_F(Images, GetImageReportsEachUnknownPathAndReturnsAnEmptyBitmap)
{
    buildImageStore();
    testing::internal::CaptureStdout();
    for (const std::string path : {"img/wheel_8.png", "img/font8/0a.png", "img/wheel_0.PNG", "img/wheel_0",
                                   "wheel_0.png", "./img/wheel_0.png", ""}) {
        for (int time = 0; time < 2; ++time) {
            Bitmap image = bitmapOf({"#"});
            EXPECT_EQ(standardErrorOfGetImage(path, image), "Image in image buffer not avilable:" + path + '\n');
            EXPECT_EQ(image.getWidth(), 0);
            EXPECT_EQ(image.getHeight(), 0);
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(imageStore.size(), 113U);
}

TEST_F(Images, TheStoreIsOrderedBytewiseWithPrefixesFirst)
{
    for (const char* path : {"b", "a\xe9", "ab", "a", "Z", "aZ"}) {
        storeImage(path, {"#"});
    }
    std::vector<std::string> paths;
    for (const auto& entry : imageStore) {
        paths.push_back(entry.first);
    }
    EXPECT_EQ(paths, (std::vector<std::string>{"Z", "a", "aZ", "ab", "a\xe9", "b"}));
}

// ---- the generated table ----

Picture readPng(const fs::path& path)
{
    static const std::map<int, char> letters = {{255, '.'}, {170, '-'}, {84, '+'}, {0, '#'}};
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) {
        throw std::runtime_error(path.string() + ": " + image.message);
    }
    image.format = PNG_FORMAT_RGBA;
    std::vector<png_byte> bytes(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, bytes.data(), 0, nullptr) == 0) {
        throw std::runtime_error(path.string() + ": " + image.message);
    }
    Picture picture(image.height);
    for (std::size_t i = 0; i < bytes.size(); i += 4) {
        if (bytes[i] != bytes[i + 1] || bytes[i] != bytes[i + 2] || bytes[i + 3] != 255) {
            throw std::runtime_error(path.string() + " is coloured or transparent");
        }
        picture[i / 4 / image.width] += letters.at(bytes[i]);
    }
    return picture;
}

TEST_F(Images, TheTableEqualsThePicturesOnDisk)
{
    buildImageStore();
    std::size_t count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(IMG_DIR)) {
        if (entry.is_regular_file()) {
            const std::string path = "img/" + fs::relative(entry.path(), IMG_DIR).generic_string();
            ASSERT_TRUE(imageStore.contains(path)) << path;
            EXPECT_TRUE(shows(imageStore.at(path), readPng(entry.path()))) << path;
            ++count;
        }
    }
    EXPECT_EQ(count, imageStore.size());
}

TEST_F(Images, TheTableIsSortedByPathAndPixelsAreContiguous)
{
    std::size_t offset = 0;
    std::string_view previous;
    for (const ImageRecord& record : imageRecords) {
        EXPECT_LT(previous, record.path);
        EXPECT_EQ(record.offset, offset) << record.path;
        previous = record.path;
        offset += static_cast<std::size_t>(record.width) * static_cast<std::size_t>(record.height);
    }
    EXPECT_EQ(imagePixels.size(), offset);
}

} // namespace
