// Tests of recognising screens, saving them, and of the plays that wait for them.
#include "sim/device/png_file.h"
#include "sim/run/frame_folder.h"
#include "sim/run/live_view.h"
#include "sim/run/plays.h"
#include "sim/run/screen_album.h"
#include "tests/support/scratch_folder.h"

#include <gmock/gmock.h>
#include <memory>
#include <set>

namespace {

using sim::Detail;
using sim::FrameFolder;
using sim::Screen;
using sim::ScreenAlbum;

/// The four levels over and over, from one that can be chosen.
std::unique_ptr<Screen> stripedScreen(int firstLevel)
{
    auto screen = std::make_unique<Screen>();
    for (std::size_t i = 0; i < screen->size(); ++i) {
        (*screen)[i] = static_cast<std::uint8_t>((i + static_cast<std::size_t>(firstLevel)) % 4);
    }
    return screen;
}

TEST(ScreenAlbum, RecognisesAScreenByItsPicture)
{
    const ScratchFolder folder;
    sim::writePng(folder / "one.png", sim::pictureOf(*stripedScreen(1)));
    sim::writePng(folder / "two.png", sim::pictureOf(*stripedScreen(2)));
    folder.write("notes.txt", "not a picture");
    const ScreenAlbum album(folder.path());
    EXPECT_EQ(album.nameOf(*stripedScreen(1)), "one");
    EXPECT_EQ(album.nameOf(*stripedScreen(2)), "two");
    EXPECT_EQ(album.nameOf(*stripedScreen(3)), "");
    EXPECT_TRUE(album.contains("one"));
    EXPECT_FALSE(album.contains("notes"));
}

TEST(ScreenAlbum, RefusesAPictureOfAnotherSize)
{
    const ScratchFolder folder;
    sim::writePng(folder / "one.png", sim::pictureOf(*stripedScreen(1), 2));
    EXPECT_THROW(ScreenAlbum(folder.path()), std::runtime_error);
}

TEST(ScreenAlbum, RefusesAColourThatAScreenDoesNotHave)
{
    const ScratchFolder folder;
    sim::Picture picture = sim::pictureOf(*stripedScreen(1));
    picture.pixels[100].red = 200;
    sim::writePng(folder / "one.png", picture);
    EXPECT_THROW(ScreenAlbum(folder.path()), std::runtime_error);
}

TEST(ScreenAlbum, RefusesAFolderThatIsNotThere)
{
    EXPECT_THROW(ScreenAlbum("/nowhere"), std::runtime_error);
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

TEST(FrameFolder, SavesNothingWithoutAFolder)
{
    FrameFolder frames("");
    EXPECT_NO_THROW(frames.add(*stripedScreen(0), ""));
}

TEST(FrameFolder, RefusesAFolderThatCannotBeMade)
{
    EXPECT_THROW(FrameFolder("/dev/null/frames"), std::runtime_error);
}

TEST(Plays, HaveAReferencePictureForEveryScreenThatTheyWaitFor)
{
    const ScreenAlbum album(SCREENS_DIR);
    for (const sim::Play& play : sim::allPlays()) {
        for (const auto& scene : play.scenes) {
            for (const sim::Step& step : scene) {
                EXPECT_TRUE(step.act != sim::Act::See || album.contains(step.what)) << step.what;
            }
        }
    }
}

TEST(Plays, HaveNamesOfTheirOwn)
{
    std::set<std::string_view> names;
    for (const sim::Play& play : sim::allPlays()) {
        EXPECT_TRUE(names.insert(play.name).second);
        EXPECT_EQ(sim::findPlay(play.name), &play);
    }
    EXPECT_NE(sim::findPlay(sim::defaultPlay), nullptr);
    EXPECT_EQ(sim::findPlay("chess"), nullptr);
}

TEST(LiveView, ShowsAsMuchDetailAsFitsAboveItsFourLines)
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
