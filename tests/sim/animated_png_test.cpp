#include "sim/session/animated_png.h"

#include "sim/device/png_file.h"
#include "tests/sim/png_chunks.h"
#include "tests/support/scratch_folder.h"

#include <fstream>
#include <gtest/gtest.h>
#include <vector>

namespace sim {

namespace {

Screen stripes(int offset)
{
    Screen screen;
    for (std::size_t i = 0; i < screen.size(); ++i) {
        screen[i] = static_cast<std::uint8_t>((i + static_cast<std::size_t>(offset)) % 4);
    }
    return screen;
}

Screen withPixel(Screen screen, int x, int y, std::uint8_t level)
{
    screen[static_cast<std::size_t>(y * screenWidth + x)] = level;
    return screen;
}

std::string typesOf(const std::vector<Chunk>& chunks)
{
    std::string types;
    for (const Chunk& chunk : chunks) {
        types += chunk.type + " ";
    }
    return types;
}

Picture decoded(const std::string& png)
{
    const ScratchFolder folder;
    const std::filesystem::path path = folder.path() / "picture.png";
    std::ofstream(path, std::ios::binary) << png;
    return readPng(path);
}

} // namespace

TEST(AnimatedPng, StillPictureEqualsTheScreen)
{
    EXPECT_EQ(decoded(pngOf(stripes(0))).pixels, pictureOf(stripes(0)).pixels);
}

TEST(AnimatedPng, ViewersWithoutAnimationShowTheFirstScreen)
{
    const std::vector<TimedScreen> screens = {{stripes(1), 20}, {stripes(2), 20}};
    EXPECT_EQ(decoded(animatedPngOf(screens)).pixels, pictureOf(stripes(1)).pixels);
}

TEST(AnimatedPng, TheChunksFcTLAndFdATShareOneSequenceOfNumbers)
{
    const std::vector<TimedScreen> screens = {{stripes(0), 20}, {stripes(1), 40}, {stripes(2), 70000}};
    const auto chunks = chunksOf(animatedPngOf(screens));
    ASSERT_EQ(typesOf(chunks), "IHDR acTL PLTE fcTL IDAT fcTL fdAT fcTL fdAT IEND ");
    EXPECT_EQ(numberAt(chunks[1].data, 0), 3U);
    EXPECT_EQ(numberAt(chunks[1].data, 4), 0U) << "0 means to repeat for ever";
    const std::size_t numbered[] = {3, 5, 6, 7, 8};
    for (std::uint32_t i = 0; i < std::size(numbered); ++i) {
        EXPECT_EQ(numberAt(chunks[numbered[i]].data, 0), i);
    }
    EXPECT_EQ(numberAt(chunks[3].data, 20, 2), 20U);
    EXPECT_EQ(numberAt(chunks[5].data, 20, 2), 40U);
    EXPECT_EQ(numberAt(chunks[7].data, 20, 2), 65535U);
    EXPECT_EQ(numberAt(chunks[7].data, 22, 2), 1000U);
}

TEST(AnimatedPng, FrameContainsOnlyTheChangedArea)
{
    const Screen first = stripes(0);
    const Screen second = withPixel(withPixel(first, 10, 20, 1), 15, 27, 0);
    const std::vector<TimedScreen> screens = {{first, 20}, {second, 20}, {second, 20}};
    const auto chunks = chunksOf(animatedPngOf(screens));
    const std::string& changed = chunks[5].data;
    EXPECT_EQ(numberAt(changed, 4), 6U);
    EXPECT_EQ(numberAt(changed, 8), 8U);
    EXPECT_EQ(numberAt(changed, 12), 10U);
    EXPECT_EQ(numberAt(changed, 16), 20U);
    const std::string& unchanged = chunks[7].data;
    EXPECT_EQ(numberAt(unchanged, 4), 1U);
    EXPECT_EQ(numberAt(unchanged, 8), 1U);
}

} // namespace sim
