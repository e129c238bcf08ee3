// Tests for reading and writing screens as PNG files.
#include "sim/device/png_file.h"

#include "tests/sim/comparisons.h"
#include "tests/support/scratch_folder.h"

#include <memory>

namespace {

using sim::Colour;
using sim::Picture;
using sim::Screen;

Picture smallPicture()
{
    return {3, 2, {{255, 255, 255}, {170, 170, 170}, {84, 84, 84}, {0, 0, 0}, {1, 2, 3}, {250, 0, 128}}};
}

/// Diagonal stripes of the four greys.
std::unique_ptr<Screen> stripes()
{
    auto screen = std::make_unique<Screen>();
    for (std::size_t i = 0; i < screen->size(); ++i) {
        (*screen)[i] = static_cast<std::uint8_t>((i % sim::screenWidth + i / sim::screenWidth) % 4);
    }
    return screen;
}

TEST(PngFile, MapsTheFourLevelsToGreysFromWhiteToBlack)
{
    const Picture picture = sim::pictureOf(*stripes());
    EXPECT_EQ(picture.width, 256);
    EXPECT_EQ(picture.height, 160);
    ASSERT_EQ(picture.pixels.size(), 256U * 160U);
    const Colour greys[] = {{255, 255, 255}, {170, 170, 170}, {84, 84, 84}, {0, 0, 0}};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(picture.pixels[i], greys[i]) << i;
        EXPECT_EQ(picture.pixels[256 + i], greys[(i + 1) % 4]) << i << " in the second row";
    }
}

TEST(PngFile, DrawsAPixelAsASquareOfTheGivenScale)
{
    const auto screen = stripes();
    const Picture plain = sim::pictureOf(*screen);
    const Picture scaled = sim::pictureOf(*screen, 3);
    ASSERT_EQ(scaled.width, 768);
    ASSERT_EQ(scaled.height, 480);
    for (int y = 0; y < scaled.height; ++y) {
        for (int x = 0; x < scaled.width; ++x) {
            ASSERT_EQ(scaled.pixels[static_cast<std::size_t>(y * 768 + x)],
                      plain.pixels[static_cast<std::size_t>(y / 3 * 256 + x / 3)])
                << x << ", " << y;
        }
    }
}

TEST(PngFile, ReadsAWrittenPictureUnchanged)
{
    const ScratchFolder folder;
    sim::writePng(folder / "small.png", smallPicture());
    const Picture picture = sim::readPng(folder / "small.png");
    EXPECT_EQ(picture.width, 3);
    EXPECT_EQ(picture.height, 2);
    EXPECT_EQ(picture.pixels, smallPicture().pixels);
}

TEST(PngFile, ReplacesAnEarlierFileAndCreatesNoOtherFiles)
{
    const ScratchFolder folder;
    sim::writePng(folder / "screen.png", sim::pictureOf(*stripes()));
    sim::writePng(folder / "screen.png", smallPicture());
    EXPECT_EQ(sim::readPng(folder / "screen.png").width, 3);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST(PngFile, NamesTheFileThatCannotBeWritten)
{
    const ScratchFolder folder;
    const std::filesystem::path path = folder / "no/such/folder.png";
    EXPECT_TRUE(contains(thrownMessage([&] { sim::writePng(path, smallPicture()); }), "cannot write " + path.string()));
}

TEST(PngFile, NamesTheFileThatCannotBeRead)
{
    const ScratchFolder folder;
    const std::filesystem::path path = folder / "screen.png";
    const auto read = [&] { (void)sim::readPng(path); };
    EXPECT_TRUE(contains(thrownMessage(read), "cannot read " + path.string()));
    folder.write("screen.png", "not a picture");
    EXPECT_TRUE(contains(thrownMessage(read), "cannot read " + path.string()));
}

TEST(PngFile, NamesATruncatedFile)
{
    const ScratchFolder folder;
    const std::filesystem::path path = folder / "screen.png";
    sim::writePng(path, sim::pictureOf(*stripes()));
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    EXPECT_TRUE(contains(thrownMessage([&] { (void)sim::readPng(path); }), "cannot read " + path.string()));
}

} // namespace
