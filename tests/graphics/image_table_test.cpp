// The table compiled into the program equals the pictures in img/.
#include "graphics/image_table.h"

#include "tests/support/test_font.h"

#include <png.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

/// The level of every grey that a picture may hold.
const std::map<int, char> letters = {{255, '.'}, {170, '-'}, {84, '+'}, {0, '#'}};

Picture readPng(const fs::path& path)
{
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

std::map<std::string, Picture> picturesOnDisk()
{
    const fs::path folder = IMG_DIR;
    std::map<std::string, Picture> pictures;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            pictures["img/" + fs::relative(entry.path(), folder).generic_string()] = readPng(entry.path());
        }
    }
    return pictures;
}

class ImageTable : public GraphicsTest {
protected:
    ImageTable() { buildImageStore(); }
};

TEST_F(ImageTable, EqualsThePicturesOnDisk)
{
    const std::map<std::string, Picture> pictures = picturesOnDisk();
    EXPECT_EQ(pictures.size(), imageStore.size());
    for (const auto& [path, picture] : pictures) {
        SCOPED_TRACE(path);
        ASSERT_TRUE(imageStore.contains(path));
        EXPECT_THAT(imageStore.at(path), shows(picture));
    }
}

TEST_F(ImageTable, IsSortedByPathAndItsPixelsLieOneImageBehindTheOther)
{
    std::size_t offset = 0;
    std::string_view previous;
    for (const ImageRecord& record : imageRecords) {
        SCOPED_TRACE(record.path);
        EXPECT_LT(previous, record.path);
        EXPECT_EQ(record.offset, offset);
        EXPECT_GT(record.width, 0);
        EXPECT_GT(record.height, 0);
        previous = record.path;
        offset += static_cast<std::size_t>(record.width) * static_cast<std::size_t>(record.height);
    }
    EXPECT_EQ(imageRecords.size(), 113U);
    EXPECT_EQ(offset, 47656U);
    EXPECT_EQ(imagePixels.size(), 47656U);
}

} // namespace
