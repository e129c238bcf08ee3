// Tests of listPictures: accepted names, errors and order.
#include "tests/support/scratch_folder.h"
#include "tools/image_folder.h"
#include "tools/refusal.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

using Names = std::vector<std::string>;

/// Adds an empty file and its parent folders. listPictures does not read the contents of files.
void addFile(const fs::path& file)
{
    fs::create_directories(file.parent_path());
    std::ofstream{file};
}

/// Returns the message of the Refusal, or "accepted".
std::string refusalOf(const fs::path& folder)
{
    try {
        listPictures(folder);
        return "accepted";
    } catch (const Refusal& refusal) {
        return refusal.what();
    }
}

class ListPictures : public testing::Test {
protected:
    ListPictures() { fs::create_directory(img); }

    void expectRefusal(const std::string& name, const std::string& reason) const
    {
        const std::string expected = (img / name).string() + ": " + reason;
        const std::string actual = refusalOf(img);
        EXPECT_TRUE(actual.starts_with(expected)) << actual << "\ndoes not start with\n" << expected;
    }

    ScratchFolder folder;
    fs::path img = folder / "img";
};

TEST_F(ListPictures, SortsByTheBytesOfTheWholePath)
{
    for (const char* name : {"a_b.png", "a0.png", "a/z.png", "a.png", "a/b/c.png", "b.png", "font8/41.png"}) {
        addFile(img / name);
    }
    EXPECT_EQ(listPictures(img),
              (Names{"a.png", "a/b/c.png", "a/z.png", "a0.png", "a_b.png", "b.png", "font8/41.png"}));
}

TEST_F(ListPictures, IgnoresEmptyFolders)
{
    addFile(img / "a.png");
    fs::create_directories(img / "to_do" / "later");
    EXPECT_EQ(listPictures(img), Names{"a.png"});
}

TEST_F(ListPictures, AcceptsValidNames)
{
    const Names names = {
        "0.png",
        "_.png",
        "a.png",
        "font16/large.png",
        "font8/00.png",
        "font8/7e.png",
        "font8/ff.png",
        "icons/small/ok.png",
        "more/font8/any.png",
        "wheel_0.v2.png",
    };
    for (const std::string& name : names) {
        addFile(img / name);
    }
    EXPECT_EQ(listPictures(img), names);
}

TEST_F(ListPictures, RejectsInvalidNames)
{
    struct Case {
        std::string file;
        /// The part of `file` that the message names; bytes other than printable ASCII are written as \xNN.
        std::string named;
        std::string kind;
    };
    const std::vector<Case> cases = {
        {"Wheel.png", "Wheel.png", "picture"},
        {"wheel.PNG", "wheel.PNG", "picture"},
        {"wheel-0.png", "wheel-0.png", "picture"},
        {"wheel 0.png", "wheel 0.png", "picture"},
        {"wheel,0.png", "wheel,0.png", "picture"},
        {"wheel\".png", "wheel\".png", "picture"},
        {"wheel\\.png", "wheel\\.png", "picture"},
        {"wheel\n0.png", "wheel\\x0a0.png", "picture"},
        {"r\u00e4der.png", "r\\xc3\\xa4der.png", "picture"},
        {"wheel.bmp", "wheel.bmp", "picture"},
        {"wheel", "wheel", "picture"},
        {"wheelpng", "wheelpng", "picture"},
        {"wheel.png.orig", "wheel.png.orig", "picture"},
        {"wheel.png~", "wheel.png~", "picture"},
        {".wheel.png", ".wheel.png", "picture"},
        {".png", ".png", "picture"},
        {".git/a.png", ".git", "folder"},
        {"Icons/a.png", "Icons", "folder"},
        {"icons.png/a.png", "icons.png", "folder"},
        {"font8/4.png", "font8/4.png", "glyph"},
        {"font8/041.png", "font8/041.png", "glyph"},
        {"font8/4A.png", "font8/4A.png", "picture"},
        {"font8/4g.png", "font8/4g.png", "glyph"},
        {"font8/box.png", "font8/box.png", "glyph"},
        {"font8/a/41.png", "font8/a/41.png", "glyph"},
        {"font8b/41.png", "font8b/41.png", "glyph"},
        {"font8_sample.png", "font8_sample.png", "glyph"},
    };
    for (const Case& c : cases) {
        fs::remove_all(img);
        addFile(img / "wheel_0.png");
        addFile(img / c.file);
        expectRefusal(c.named, "is not a valid " + c.kind + " name");
    }
}

TEST_F(ListPictures, ReportsTheFirstOfSeveralInvalidNames)
{
    for (const char* name : {"G.png", "C.png", "E.png", "B.png", "H.png", "D.png", "F.png", "A.png"}) {
        addFile(img / name);
    }
    expectRefusal("A.png", "is not a valid picture name");
}

TEST_F(ListPictures, RejectsSymbolicLinks)
{
    addFile(img / "icons/a.png");
    for (const char* target : {"icons/a.png", "icons", "missing.png"}) {
        SCOPED_TRACE(target);
        fs::create_symlink(target, img / "link.png");
        expectRefusal("link.png", "is neither a regular file nor a folder");
        fs::remove(img / "link.png");
    }
}

TEST_F(ListPictures, RejectsAFifoWithoutOpeningIt)
{
    ASSERT_EQ(mkfifo((img / "b.png").c_str(), 0600), 0);
    expectRefusal("b.png", "is neither a regular file nor a folder");
}

TEST_F(ListPictures, RejectsPathsThatAreNotFolders)
{
    addFile(img / "a.png");
    EXPECT_EQ(refusalOf(img / "a.png"), (img / "a.png").string() + ": is not a folder");
    EXPECT_EQ(refusalOf(img / "missing"), (img / "missing").string() + ": is not a folder");
}

TEST_F(ListPictures, RejectsAFolderWithoutPictures)
{
    EXPECT_EQ(refusalOf(img), img.string() + ": contains no pictures");
    fs::create_directories(img / "icons" / "small");
    EXPECT_EQ(refusalOf(img), img.string() + ": contains no pictures");
}

TEST_F(ListPictures, RejectsAnUnreadableFolder)
{
    if (geteuid() == 0) {
        GTEST_SKIP() << "root can read any folder";
    }
    addFile(img / "icons/a.png");
    fs::permissions(img / "icons", fs::perms::none);
    expectRefusal("icons/", "cannot be read");
    fs::permissions(img / "icons", fs::perms::owner_all);
}

} // namespace
