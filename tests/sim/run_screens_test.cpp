// Tests for reference screens, saved screens, and the choice of detail in the live view.
#include "sim/device/png_file.h"
#include "sim/run/frame_folder.h"
#include "sim/run/live_view.h"
#include "sim/session/reference_screens.h"
#include "tests/support/scratch_folder.h"

#include <gtest/gtest.h>
#include <memory>

namespace {

using sim::Detail;
using sim::FrameFolder;
using sim::ReferenceScreens;
using sim::Screen;

/// Columns, one pixel wide, of the four grey levels in turn, starting with `firstLevel`.
std::unique_ptr<Screen> stripedScreen(int firstLevel)
{
    auto screen = std::make_unique<Screen>();
    for (std::size_t i = 0; i < screen->size(); ++i) {
        (*screen)[i] = static_cast<std::uint8_t>((i + static_cast<std::size_t>(firstLevel)) % 4);
    }
    return screen;
}

TEST(ReferenceScreens, RecognisesAScreenByItsPicture)
{
    const ScratchFolder folder;
    sim::writePng(folder / "one.png", sim::pictureOf(*stripedScreen(1)));
    sim::writePng(folder / "two.png", sim::pictureOf(*stripedScreen(2)));
    folder.write("notes.txt", "not a picture");
    const ReferenceScreens references(folder.path());
    EXPECT_EQ(references.nameOf(*stripedScreen(1)), "one");
    EXPECT_EQ(references.nameOf(*stripedScreen(2)), "two");
    EXPECT_EQ(references.nameOf(*stripedScreen(3)), "");
    EXPECT_TRUE(references.contains("one"));
    EXPECT_FALSE(references.contains("notes"));
}

TEST(ReferenceScreens, RejectsAPictureOfTheWrongSize)
{
    const ScratchFolder folder;
    sim::writePng(folder / "one.png", sim::pictureOf(*stripedScreen(1), 2));
    EXPECT_THROW(ReferenceScreens(folder.path()), std::runtime_error);
}

TEST(ReferenceScreens, RejectsAColourOtherThanTheFourGreys)
{
    const ScratchFolder folder;
    sim::Picture picture = sim::pictureOf(*stripedScreen(1));
    picture.pixels[100].red = 200;
    sim::writePng(folder / "one.png", picture);
    EXPECT_THROW(ReferenceScreens(folder.path()), std::runtime_error);
}

TEST(ReferenceScreens, RejectsAMissingFolder)
{
    EXPECT_THROW(ReferenceScreens("/nowhere"), std::runtime_error);
}

TEST(FrameFolder, NumbersScreensAndSavesEachOnce)
{
    const ScratchFolder folder;
    FrameFolder frames(folder / "a" / "b");
    frames.add(*stripedScreen(0), "");
    frames.add(*stripedScreen(1), "menu");
    frames.add(*stripedScreen(0), "");
    frames.add(*stripedScreen(2), "");
    EXPECT_TRUE(folder.contains("a/b/0001.png"));
    EXPECT_TRUE(folder.contains("a/b/0002-menu.png"));
    EXPECT_TRUE(folder.contains("a/b/0003.png"));
    EXPECT_FALSE(folder.contains("a/b/0004.png"));
    EXPECT_EQ(sim::readPng(folder / "a/b/0003.png").pixels, sim::pictureOf(*stripedScreen(2)).pixels);
}

TEST(FrameFolder, AddDoesNotThrowIfThePathIsEmpty)
{
    FrameFolder frames("");
    EXPECT_NO_THROW(frames.add(*stripedScreen(0), ""));
}

TEST(FrameFolder, RejectsAFolderThatCannotBeCreated)
{
    EXPECT_THROW(FrameFolder("/dev/null/frames"), std::runtime_error);
}

TEST(LiveView, ShowsAsMuchDetailAsTheTerminalAllows)
{
    EXPECT_EQ(sim::detailFor(256, 84, true), Detail::Greys);
    EXPECT_EQ(sim::detailFor(255, 84, true), Detail::Pixels);
    EXPECT_EQ(sim::detailFor(256, 83, true), Detail::Pixels);
    EXPECT_EQ(sim::detailFor(256, 84, false), Detail::Pixels);
    EXPECT_EQ(sim::detailFor(128, 44, true), Detail::Pixels);
    EXPECT_EQ(sim::detailFor(127, 44, true), Detail::Small);
    EXPECT_EQ(sim::detailFor(128, 43, true), Detail::Small);
    EXPECT_EQ(sim::detailFor(80, 24, true), Detail::Small);
    EXPECT_EQ(sim::detailFor(1, 1, true), Detail::Small);
}

} // namespace
