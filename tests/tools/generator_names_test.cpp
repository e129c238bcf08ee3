// The image table generator: the names and the kinds of the files in its folder.
#include "tests/tools/generator_fixture.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <ostream>
#include <sys/stat.h>

namespace fs = std::filesystem;
using testing::ElementsAre;

namespace {

using GenerateImageTable = GeneratorFixture;

std::vector<std::string> pathsOf(const ParsedTable& table)
{
    std::vector<std::string> paths;
    for (const TableEntry& entry : table.entries) {
        paths.push_back(entry.path);
    }
    return paths;
}

// Keys

TEST_F(GenerateImageTable, SortsImagesByTheBytesOfTheirWholePath)
{
    for (const char* name : {"a_b.png", "a0.png", "a/z.png", "a.png", "a/b/c.png", "b.png", "font8/41.png"}) {
        addPicture(name);
    }
    EXPECT_THAT(pathsOf(table()), ElementsAre("img/a.png", "img/a/b/c.png", "img/a/z.png", "img/a0.png", "img/a_b.png",
                                              "img/b.png", "img/font8/41.png"));
}

TEST_F(GenerateImageTable, CallsTheFolderImgWhateverItsNameIs)
{
    addPicture("a.png");
    fs::rename(imgDir, folder / "Pictures of today");
    imgDir = folder / "Pictures of today";
    EXPECT_THAT(pathsOf(table()), ElementsAre("img/a.png"));
}

TEST_F(GenerateImageTable, OverlooksAFolderWithoutFiles)
{
    addPicture("a.png");
    fs::create_directories(imgDir / "to_do" / "later");
    EXPECT_THAT(pathsOf(table()), ElementsAre("img/a.png"));
}

// Names

struct NamedFile {
    std::string name;
    std::string file;
    /// The key of a usable name, part of the message about another one.
    std::string expected;
};

void PrintTo(const NamedFile& named, std::ostream* stream)
{
    *stream << named.name;
}

const std::vector<NamedFile> refusedNames = {
    {"UpperCase", "Wheel.png", "Wheel.png: is no name for a picture"},
    {"UpperCaseEnding", "wheel.PNG", "wheel.PNG: is no name for a picture"},
    {"Hyphen", "wheel-0.png", "wheel-0.png: is no name for a picture"},
    {"Blank", "wheel 0.png", "wheel 0.png: is no name for a picture"},
    {"Comma", "wheel,0.png", "wheel,0.png: is no name for a picture"},
    {"Quote", "wheel\".png", "wheel\".png: is no name for a picture"},
    {"Backslash", "wheel\\.png", "wheel\\.png: is no name for a picture"},
    {"LineFeed", "wheel\n0.png", "wheel\\x0a0.png: is no name for a picture"},
    {"Umlaut",
     "r\xc3\xa4"
     "der.png",
     "r\\xc3\\xa4der.png: is no name for a picture"},
    {"OtherEnding", "wheel.bmp", "wheel.bmp: is no name for a picture"},
    {"NoEnding", "wheel", "wheel: is no name for a picture"},
    {"EndingWithoutDot", "wheelpng", "wheelpng: is no name for a picture"},
    {"Backup", "wheel.png.orig", "wheel.png.orig: is no name for a picture"},
    {"BackupOfAnEditor", "wheel.png~", "wheel.png~: is no name for a picture"},
    {"Hidden", ".wheel.png", ".wheel.png: is no name for a picture"},
    {"EndingAlone", ".png", ".png: is no name for a picture"},
    {"HiddenFolder", ".git/a.png", ".git: is no name for a folder"},
    {"UpperCaseFolder", "Icons/a.png", "Icons: is no name for a folder"},
    {"DottedFolder", "icons.png/a.png", "icons.png: is no name for a folder"},
    {"GlyphOfOneDigit", "font8/4.png", "font8/4.png: is no name for a glyph"},
    {"GlyphOfThreeDigits", "font8/041.png", "font8/041.png: is no name for a glyph"},
    {"GlyphInUpperCase", "font8/4A.png", "font8/4A.png: is no name for a picture"},
    {"GlyphBeyondHexadecimal", "font8/4g.png", "font8/4g.png: is no name for a glyph"},
    {"GlyphByWord", "font8/box.png", "font8/box.png: is no name for a glyph"},
    {"GlyphDeeper", "font8/a/41.png", "font8/a/41.png: is no name for a glyph"},
    {"GlyphInASiblingFolder", "font8b/41.png", "font8b/41.png: is no name for a glyph"},
    {"PictureThatTheFontWouldTake", "font8_sample.png", "font8_sample.png: is no name for a glyph"},
};

class AnUnusableName : public GeneratorFixture, public testing::WithParamInterface<NamedFile> {};

TEST_P(AnUnusableName, IsRefused)
{
    addPicture("wheel_0.png");
    addPicture(GetParam().file, PngPicture{});
    expectRefusal({GetParam().expected});
}

INSTANTIATE_TEST_SUITE_P(GenerateImageTable, AnUnusableName, testing::ValuesIn(refusedNames), caseName<NamedFile>);

TEST_F(GenerateImageTable, NamesTheFirstOfSeveralUnusableNames)
{
    for (const char* name : {"G.png", "C.png", "E.png", "B.png", "H.png", "D.png", "F.png", "A.png"}) {
        addPicture(name);
    }
    expectRefusal({(imgDir / "A.png").string()});
}

class AUsableName : public GeneratorFixture, public testing::WithParamInterface<NamedFile> {};

const std::vector<NamedFile> usableNames = {
    {"Letter", "a.png", "img/a.png"},
    {"Digit", "0.png", "img/0.png"},
    {"Underscore", "_.png", "img/_.png"},
    {"FurtherDots", "wheel_0.v2.png", "img/wheel_0.v2.png"},
    {"FolderInAFolder", "icons/small/ok.png", "img/icons/small/ok.png"},
    {"FirstGlyph", "font8/00.png", "img/font8/00.png"},
    {"GlyphWithLetter", "font8/7e.png", "img/font8/7e.png"},
    {"LastGlyph", "font8/ff.png", "img/font8/ff.png"},
    {"OtherFontFolder", "font16/large.png", "img/font16/large.png"},
    {"GlyphFolderElsewhere", "more/font8/any.png", "img/more/font8/any.png"},
};

TEST_P(AUsableName, BecomesTheKeyBehindImg)
{
    addPicture(GetParam().file);
    EXPECT_THAT(pathsOf(table()), ElementsAre(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(GenerateImageTable, AUsableName, testing::ValuesIn(usableNames), caseName<NamedFile>);

// Strange things in the folder

TEST_F(GenerateImageTable, RefusesASymbolicLinkToAPicture)
{
    addPicture("a.png");
    fs::create_symlink("a.png", imgDir / "b.png");
    expectRefusal({"b.png: is neither a regular file nor a folder"});
}

TEST_F(GenerateImageTable, RefusesASymbolicLinkToAFolder)
{
    addPicture("icons/a.png");
    fs::create_directory_symlink("icons", imgDir / "symbols");
    expectRefusal({"symbols: is neither a regular file nor a folder"});
}

TEST_F(GenerateImageTable, RefusesASymbolicLinkToNowhere)
{
    addPicture("a.png");
    fs::create_symlink("gone.png", imgDir / "b.png");
    expectRefusal({"b.png: is neither a regular file nor a folder"});
}

TEST_F(GenerateImageTable, RefusesAPipeWithoutWaitingForIt)
{
    addPicture("a.png");
    ASSERT_EQ(mkfifo((imgDir / "b.png").c_str(), 0600), 0);
    expectRefusal({"b.png: is neither a regular file nor a folder"});
}

TEST_F(GenerateImageTable, RefusesAFolderThatIsMissing)
{
    imgDir = folder / "nowhere";
    expectRefusal({"nowhere: is not a folder"});
}

TEST_F(GenerateImageTable, RefusesAFileInPlaceOfTheFolder)
{
    addPicture("a.png");
    imgDir /= "a.png";
    expectRefusal({"a.png: is not a folder"});
}

TEST_F(GenerateImageTable, RefusesAFolderWithoutPictures)
{
    expectRefusal({imgDir.string() + ": holds no pictures"});
}

TEST_F(GenerateImageTable, RefusesAFolderThatHoldsEmptyFoldersOnly)
{
    fs::create_directories(imgDir / "icons" / "small");
    expectRefusal({imgDir.string() + ": holds no pictures"});
}

} // namespace
