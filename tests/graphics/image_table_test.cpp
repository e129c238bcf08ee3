// The table compiled into the program: equal to the pictures in img/, and drawn to the rules that the screens rely on.
#include "graphics/image_table.h"

#include "tests/support/test_font.h"

#include <png.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
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

TEST_F(ImageTable, HoldsOnlyBackgroundAndFullInk)
{
    EXPECT_TRUE(
        std::all_of(imagePixels.begin(), imagePixels.end(), [](auto value) { return value == 0 || value == 3; }));
}

struct Box {
    std::int32_t left, top, right, bottom;
    int ink;

    bool operator==(const Box&) const = default;
};

void PrintTo(const Box& box, std::ostream* stream)
{
    *stream << "columns " << box.left << " to " << box.right << ", rows " << box.top << " to " << box.bottom << ", "
            << box.ink << " ink pixels";
}

/// The smallest box around all ink.
Box inkOf(const Bitmap& bitmap)
{
    Box box{bitmap.getWidth(), bitmap.getHeight(), -1, -1, 0};
    for (std::int32_t y = 0; y < bitmap.getHeight(); ++y) {
        for (std::int32_t x = 0; x < bitmap.getWidth(); ++x) {
            if (bitmap.pixel(x, y) == 3) {
                box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x), std::max(box.bottom, y),
                       box.ink + 1};
            }
        }
    }
    return box;
}

TEST_F(ImageTable, ShowsTheIconsOfTheButtonsInTheirPlaces)
{
    struct Case {
        const char* path;
        std::int32_t width;
        Box ink;
    };
    for (const Case& c : {Case{"img/button_update.png", 256, {6, 3, 18, 15, 40}},
                          Case{"img/button_factory.png", 256, {5, 3, 17, 14, 27}},
                          Case{"img/dialog_button_ok.png", 52, {3, 6, 11, 12, 9}},
                          Case{"img/dialog_button_cancel.png", 52, {3, 5, 11, 13, 17}}}) {
        SCOPED_TRACE(c.path);
        const Bitmap image = getImage(c.path);
        EXPECT_EQ(image.getWidth(), c.width);
        EXPECT_EQ(image.getHeight(), 19);
        EXPECT_EQ(inkOf(image), c.ink);
    }
}

TEST_F(ImageTable, ShowsEverySelectedButtonAsTheExactInverse)
{
    for (const std::string name : {"button_update", "button_factory", "dialog_button_ok", "dialog_button_cancel"}) {
        SCOPED_TRACE(name);
        const Bitmap image = getImage("img/" + name + ".png");
        Bitmap inverse(image.getWidth(), image.getHeight());
        inverse.drawBitmap(0, 0, image, true);
        EXPECT_THAT(getImage("img/" + name + "_selected.png"), shows(inverse));
    }
}

TEST_F(ImageTable, ShowsInWheelFrameKTheKthRingFilledAndTheOthersAsOutlines)
{
    const std::array<std::pair<int, int>, 8> centres = {
        {{25, 4}, {40, 11}, {46, 25}, {40, 39}, {25, 46}, {11, 39}, {4, 25}, {11, 11}}};
    for (std::size_t k = 0; k < centres.size(); ++k) {
        SCOPED_TRACE(k);
        const Bitmap frame = getImage("img/wheel_" + std::to_string(k) + ".png");
        ASSERT_EQ(frame.getWidth(), 51);
        ASSERT_EQ(frame.getHeight(), 51);
        EXPECT_EQ(inkOf(frame).ink, 197);
        Bitmap rest = frame;
        for (std::size_t ring = 0; ring < centres.size(); ++ring) {
            SCOPED_TRACE(ring);
            const auto [x, y] = centres[ring];
            Bitmap cut(9, 9);
            cut.fill(0);
            cut.drawBitmap(4 - x, 4 - y, frame, false);
            const Box ink = inkOf(cut);
            EXPECT_EQ((std::array{ink.left, ink.top, ink.right, ink.bottom}), (std::array{0, 0, 8, 8}));
            EXPECT_EQ(cut.pixel(4, 4), ring == k ? 3 : 0);
            rest.fillRect(x - 4, y - 4, 9, 9, 0);
        }
        EXPECT_EQ(inkOf(rest).ink, 0) << "ink outside the rings";
    }
}

/// The codes of every width but 5.
const std::map<std::int32_t, std::string> codesByWidth = {
    {1, "!'.:Ii|"}, {2, ",;`l"}, {3, "\"()/1<>[\\]\x80"}, {4, " -=ft{}"}, {6, "#~"}, {7, "%@MWmw"},
};

std::int32_t expectedWidth(char character)
{
    for (const auto& [width, codes] : codesByWidth) {
        if (codes.find(character) != std::string::npos) {
            return width;
        }
    }
    return 5;
}

TEST_F(ImageTable, HoldsAGlyphEightRowsHighOfTheRightWidthForEveryCode)
{
    std::vector<int> codes = {0x00, 0x80};
    for (int code = 0x20; code <= 0x7e; ++code) {
        codes.push_back(code);
    }
    EXPECT_EQ(codes.size(), 97U);
    for (const int code : codes) {
        std::array<char, 32> path{};
        std::snprintf(path.data(), path.size(), "img/font8/%02x.png", static_cast<unsigned>(code));
        SCOPED_TRACE(path.data());
        ASSERT_TRUE(imageStore.contains(path.data()));
        const Bitmap glyph = getImage(path.data());
        EXPECT_EQ(glyph.getHeight(), 8);
        EXPECT_EQ(glyph.getWidth(), code == 0 ? 5 : expectedWidth(static_cast<char>(code)));
        EXPECT_EQ(inkOf(glyph).ink == 0, code == ' ') << "only the space is empty";
    }
}

TEST_F(ImageTable, ShowsTheStandInAsAHollowBoxAndCode80AsASmallRing)
{
    EXPECT_THAT(getImage("img/font8/00.png"),
                shows({"#####", "#...#", "#...#", "#...#", "#...#", "#...#", "#####", "....."}));
    const Bitmap ring = getImage("img/font8/80.png");
    const Box ink = inkOf(ring);
    EXPECT_EQ((std::array{ink.left, ink.top, ink.right, ink.bottom}), (std::array{0, 0, 2, 2}));
    EXPECT_EQ(ring.pixel(1, 1), 0) << "the ring is hollow";
}

} // namespace
