// The image table generator: what it accepts, what it refuses, and that equal pictures give an equal table.
#include "tests/tools/generator_fixture.h"
#include "tests/tools/png_writing.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <ostream>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

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

/// Every sample `copies` times over, then `alpha` where it is not 0: a pixel of a richer colour type.
std::vector<unsigned int> widened(const std::vector<unsigned int>& greys, int copies, unsigned int alpha = 0)
{
    std::vector<unsigned int> samples;
    for (const unsigned int grey : greys) {
        samples.insert(samples.end(), static_cast<std::size_t>(copies), grey);
        if (alpha != 0) {
            samples.push_back(alpha);
        }
    }
    return samples;
}

png_color grey(png_byte value)
{
    return {value, value, value};
}

constexpr unsigned int opaque8 = 0xff;
constexpr unsigned int opaque16 = 0xffff;

const std::vector<unsigned int> greys8 = {255, 170, 84, 0};
const std::vector<unsigned int> greys16 = {255 * 257, 170 * 257, 84 * 257, 0};
const std::vector<png_color> greyPalette = {grey(255), grey(170), grey(84), grey(0)};

PngPicture rowOf(int colourType, int bitDepth, const std::vector<unsigned int>& samples, png_uint_32 width = 4)
{
    PngPicture picture;
    picture.width = width;
    picture.samples = samples;
    picture.colourType = colourType;
    picture.bitDepth = bitDepth;
    return picture;
}

PngPicture paletteRow(int bitDepth, const std::vector<unsigned int>& indices, const std::vector<png_color>& palette,
                      const std::vector<png_byte>& alphas = {})
{
    PngPicture picture = rowOf(PNG_COLOR_TYPE_PALETTE, bitDepth, indices, static_cast<png_uint_32>(indices.size()));
    picture.palette = palette;
    picture.paletteAlpha = alphas;
    return picture;
}

PngPicture withTransparentColour(PngPicture picture, png_uint_16 level)
{
    picture.transparentColour = png_color_16{0, level, level, level, level};
    return picture;
}

PngPicture withGamma(PngPicture picture, double gamma)
{
    picture.gamma = gamma;
    return picture;
}

/// A square of all four greys in diagonal stripes.
PngPicture stripes(png_uint_32 length)
{
    PngPicture picture;
    picture.width = length;
    picture.height = length;
    picture.samples.clear();
    for (png_uint_32 i = 0; i < length * length; ++i) {
        picture.samples.push_back(greys8[(i % length + i / length) % greys8.size()]);
    }
    return picture;
}

PngPicture interlaced(PngPicture picture)
{
    picture.interlaced = true;
    return picture;
}

template <typename Case>
std::string caseName(const testing::TestParamInfo<Case>& info)
{
    return info.param.name;
}

// The table

TEST_F(GenerateImageTable, TurnsTheFourGreysIntoTheFourLevels)
{
    addPicture("greys.png", greyRow({255, 170, 84, 0}));
    EXPECT_EQ(table().pixels, "0123");
}

TEST_F(GenerateImageTable, StoresPixelsRowByRowFromTheTopLeftCorner)
{
    PngPicture picture = greyRow({0, 255, 84, 255, 170, 0});
    picture.width = 3;
    picture.height = 2;
    addPicture("grid.png", picture);

    const ParsedTable result = table();
    ASSERT_EQ(result.entries.size(), 1U);
    EXPECT_EQ(result.entries[0].width, 3U);
    EXPECT_EQ(result.entries[0].height, 2U);
    EXPECT_EQ(result.pixels, "302013");
}

TEST_F(GenerateImageTable, PlacesTheImagesBehindEachOther)
{
    addPicture("b.png", greyRow({170, 170}));
    addPicture("a.png", greyRow({0, 0, 0}));
    addPicture("c.png", greyRow({84}));

    const ParsedTable result = table();
    ASSERT_EQ(result.entries.size(), 3U);
    EXPECT_EQ(result.entries[0].offset, 0U);
    EXPECT_EQ(result.entries[1].offset, 3U);
    EXPECT_EQ(result.entries[2].offset, 5U);
    EXPECT_EQ(result.pixels, "333112");
}

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

TEST_F(GenerateImageTable, AcceptsTheLargestAllowedSize)
{
    PngPicture wide = greyRow(std::vector<unsigned int>(4096, 255));
    addPicture("wide.png", wide);
    std::swap(wide.width, wide.height);
    addPicture("tall.png", wide);
    EXPECT_EQ(table().pixels, std::string(std::size_t{2} * 4096, '0'));
}

TEST_F(GenerateImageTable, WritesAFileThatCompilesWithoutWarnings)
{
    addPicture("a.png", greyRow({255, 170, 84, 0}));
    addPicture("font8/41.png", greyRow({0}));
    ASSERT_EQ(table().entries.size(), 2U);

    const ProcessResult compiler =
        runProcess({CXX_COMPILER, "-std=c++20", "-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow", "-Werror",
                    "-fsyntax-only", "-I", SOURCE_DIR, output.string()});
    EXPECT_EQ(compiler.exitCode, 0) << compiler.standardError;
    EXPECT_EQ(compiler.standardError, "");
}

TEST_F(GenerateImageTable, ReplacesTheOutputOfAnEarlierRun)
{
    addPicture("a.png");
    writeFile(output, std::string(10000, 'x'));
    EXPECT_EQ(table().pixels, "3");
    EXPECT_THAT(readFile(output), Not(HasSubstr("xx")));
    EXPECT_THAT(outputFolderContent(), ElementsAre("table.cpp"));
}

// Kinds of PNG files

struct PngKind {
    std::string name;
    PngPicture picture;
    std::string levels = "0123";
};

void PrintTo(const PngKind& kind, std::ostream* stream)
{
    *stream << kind.name;
}

const std::vector<PngKind> pngKinds = {
    {"Grey1", rowOf(PNG_COLOR_TYPE_GRAY, 1, {1, 0, 0, 1}), "0330"},
    {"Grey2", rowOf(PNG_COLOR_TYPE_GRAY, 2, {3, 2, 0, 2}), "0131"},
    {"Grey4", rowOf(PNG_COLOR_TYPE_GRAY, 4, {15, 10, 0, 10}), "0131"},
    {"Grey8", rowOf(PNG_COLOR_TYPE_GRAY, 8, greys8)},
    {"Grey16", rowOf(PNG_COLOR_TYPE_GRAY, 16, greys16)},
    {"GreyAlpha8", rowOf(PNG_COLOR_TYPE_GRAY_ALPHA, 8, widened(greys8, 1, opaque8))},
    {"GreyAlpha16", rowOf(PNG_COLOR_TYPE_GRAY_ALPHA, 16, widened(greys16, 1, opaque16))},
    {"Rgb8", rowOf(PNG_COLOR_TYPE_RGB, 8, widened(greys8, 3))},
    {"Rgb16", rowOf(PNG_COLOR_TYPE_RGB, 16, widened(greys16, 3))},
    {"Rgba8", rowOf(PNG_COLOR_TYPE_RGB_ALPHA, 8, widened(greys8, 3, opaque8))},
    {"Rgba16", rowOf(PNG_COLOR_TYPE_RGB_ALPHA, 16, widened(greys16, 3, opaque16))},
    {"Palette1", paletteRow(1, {0, 1, 1, 0}, {grey(84), grey(170)}), "2112"},
    {"Palette2", paletteRow(2, {0, 1, 2, 3}, greyPalette)},
    {"Palette4", paletteRow(4, {0, 1, 2, 3}, greyPalette)},
    {"Palette8", paletteRow(8, {0, 1, 2, 3}, greyPalette)},
    {"PaletteWithOpaqueAlpha", paletteRow(2, {0, 1, 2, 3}, greyPalette, {255, 255, 255})},
    {"PaletteWithUnusedColour", paletteRow(2, {1, 1, 0}, {grey(0), grey(255), {255, 0, 0}}), "003"},
    {"PaletteWithUnusedTransparency", paletteRow(2, {1, 1, 2}, {grey(7), grey(255), grey(0)}, {0}), "003"},
    {"Grey8WithUnusedTransparency", withTransparentColour(rowOf(PNG_COLOR_TYPE_GRAY, 8, greys8), 85)},
    {"Grey16WithUnusedTransparency", withTransparentColour(rowOf(PNG_COLOR_TYPE_GRAY, 16, greys16), 84)},
    {"Rgb8WithUnusedTransparency", withTransparentColour(rowOf(PNG_COLOR_TYPE_RGB, 8, widened(greys8, 3)), 85)},
    {"Grey8WithGamma", withGamma(rowOf(PNG_COLOR_TYPE_GRAY, 8, greys8), 1.0)},
    {"Rgb16WithGamma", withGamma(rowOf(PNG_COLOR_TYPE_RGB, 16, widened(greys16, 3)), 0.2)},
    {"PaletteWithGamma", withGamma(paletteRow(8, {0, 1, 2, 3}, greyPalette), 3.0)},
};

class EveryPngKind : public GeneratorFixture, public testing::WithParamInterface<PngKind> {};

TEST_P(EveryPngKind, GivesTheSameLevels)
{
    addPicture("picture.png", GetParam().picture);
    EXPECT_EQ(table().pixels, GetParam().levels);
}

TEST_P(EveryPngKind, GivesTheSameLevelsWhenInterlaced)
{
    addPicture("picture.png", interlaced(GetParam().picture));
    EXPECT_EQ(table().pixels, GetParam().levels);
}

INSTANTIATE_TEST_SUITE_P(GenerateImageTable, EveryPngKind, testing::ValuesIn(pngKinds), caseName<PngKind>);

TEST_F(GenerateImageTable, ReadsALargerInterlacedPictureLikeAPlainOne)
{
    addPicture("a.png", stripes(19));
    addPicture("b.png", interlaced(stripes(19)));
    const std::string pixels = table().pixels;
    ASSERT_EQ(pixels.size(), std::size_t{2} * 19 * 19);
    EXPECT_EQ(pixels.substr(0, std::size_t{19} * 19), pixels.substr(std::size_t{19} * 19));
}

TEST_F(GenerateImageTable, SkipsWhatIsNoPartOfThePixels)
{
    addPicture("a.png", withChunk(encodePng({}), "tEXt", "Title"));
    addPicture("b.png", withChunk(encodePng({}), "iCCP", "no colour profile"));
    addPicture("c.png", withChunk(encodePng({}), "abCd", "a chunk of another program"));
    EXPECT_EQ(table().pixels, "333");
}

// Pixels that no level stands for

struct RefusedPicture {
    std::string name;
    PngPicture picture;
    std::string reason;
};

void PrintTo(const RefusedPicture& refused, std::ostream* stream)
{
    *stream << refused.name;
}

const std::vector<RefusedPicture> refusedPictures = {
    {"GreyBesideALevel", greyRow({255, 85}), "pixel (1, 0) is #555555"},
    {"GreyBesideWhite", greyRow({254}), "pixel (0, 0) is #fefefe"},
    {"GreyBesideBlack", greyRow({0, 0, 1}), "pixel (2, 0) is #010101"},
    {"GreyOfTwoBits", rowOf(PNG_COLOR_TYPE_GRAY, 2, {3, 1}, 2), "pixel (1, 0) is #555555"},
    {"GreyOfFourBits", rowOf(PNG_COLOR_TYPE_GRAY, 4, {5}, 1), "pixel (0, 0) is #555555"},
    {"GreyOfSixteenBits", rowOf(PNG_COLOR_TYPE_GRAY, 16, {0xaaab}, 1), "pixel (0, 0) is #aaabaaabaaab"},
    {"Red", rowOf(PNG_COLOR_TYPE_RGB, 8, {255, 0, 0}, 1), "pixel (0, 0) is #ff0000"},
    {"AlmostGrey", rowOf(PNG_COLOR_TYPE_RGB, 8, {84, 84, 85}, 1), "pixel (0, 0) is #545455"},
    {"AlmostBlackInSixteenBits", rowOf(PNG_COLOR_TYPE_RGB, 16, {0, 1, 0}, 1), "pixel (0, 0) is #000000010000"},
    {"ColourOfAPalette", paletteRow(2, {0, 1}, {grey(0), {0, 0, 255}}), "pixel (1, 0) is #0000ff"},
    {"IndexBeyondThePalette", paletteRow(8, {0, 1, 2}, {grey(0), grey(255)}), "pixel (2, 0) lies beyond the palette"},
    {"SeeThroughGrey", rowOf(PNG_COLOR_TYPE_GRAY_ALPHA, 8, {0, 254}, 1), "pixel (0, 0) is transparent"},
    {"SeeThroughGreyOfSixteenBits", rowOf(PNG_COLOR_TYPE_GRAY_ALPHA, 16, {0, 0xfffe}, 1),
     "pixel (0, 0) is transparent"},
    {"SeeThroughColour", rowOf(PNG_COLOR_TYPE_RGB_ALPHA, 8, {0, 0, 0, 255, 0, 0, 0, 0}, 2),
     "pixel (1, 0) is transparent"},
    {"SeeThroughPaletteEntry", paletteRow(1, {0, 1}, {grey(0), grey(255)}, {255, 128}), "pixel (1, 0) is transparent"},
    {"TransparentGrey", withTransparentColour(greyRow({0, 255}), 255), "pixel (1, 0) is transparent"},
    {"TransparentGreyOfOneBit", withTransparentColour(rowOf(PNG_COLOR_TYPE_GRAY, 1, {1, 0}, 2), 0),
     "pixel (1, 0) is transparent"},
    {"TransparentGreyOfSixteenBits", withTransparentColour(rowOf(PNG_COLOR_TYPE_GRAY, 16, {0xffff}, 1), 0xffff),
     "pixel (0, 0) is transparent"},
    {"TransparentRgb", withTransparentColour(rowOf(PNG_COLOR_TYPE_RGB, 8, {84, 84, 84}, 1), 84),
     "pixel (0, 0) is transparent"},
    {"TooWide", greyRow(std::vector<unsigned int>(4097, 0)), "is too large, 4097 x 1 pixels"},
};

class APictureWithoutLevels : public GeneratorFixture, public testing::WithParamInterface<RefusedPicture> {};

TEST_P(APictureWithoutLevels, IsRefusedByFileAndPixel)
{
    addPicture("a.png");
    addPicture("icons/broken.png", GetParam().picture);
    expectRefusal({(imgDir / "icons/broken.png").string() + ": " + GetParam().reason});
}

INSTANTIATE_TEST_SUITE_P(GenerateImageTable, APictureWithoutLevels, testing::ValuesIn(refusedPictures),
                         caseName<RefusedPicture>);

TEST_F(GenerateImageTable, NamesTheFirstOfSeveralWrongPixelsInReadingOrder)
{
    PngPicture picture = stripes(5);
    picture.samples[2 * 5 + 4] = 1;
    picture.samples[3 * 5 + 0] = 2;
    addPicture("a.png", interlaced(picture));
    expectRefusal({"pixel (4, 2) is #010101"});
}

TEST_F(GenerateImageTable, NamesTheFirstOfSeveralWrongFiles)
{
    for (const char* name : {"d.png", "b.png", "c.png"}) {
        addPicture(name, greyRow({99}));
    }
    addPicture("a.png");
    expectRefusal({(imgDir / "b.png").string()});
}

// Files that are no sound PNG

struct DamagedFile {
    std::string name;
    std::string content;
    std::string reason;
};

void PrintTo(const DamagedFile& damaged, std::ostream* stream)
{
    *stream << damaged.name;
}

const std::vector<DamagedFile> damagedFiles = {
    {"EmptyFile", "", "is not a PNG file"},
    {"Text", "Dear reader, this is no picture.\n", "is not a PNG file"},
    {"AnotherFormat", "GIF89a\x01\x01", "is not a PNG file"},
    {"SignatureAlone", "\x89PNG\r\n\x1a\n", "is a damaged PNG file"},
    {"TrailingByte", encodePng({}) + "x", "goes on after the end of the picture"},
    {"TwoPictures", encodePng({}) + encodePng({}), "goes on after the end of the picture"},
    {"BrokenTransparency", withChunk(encodePng({}), "tRNS", "x"), "is a damaged PNG file (tRNS: invalid"},
    {"UnknownChunkThatMatters", withChunk(encodePng({}), "ABCD", "x"), "is a damaged PNG file (ABCD"},
    {"NoColumns", pngHeaderOnly(0, 1), "is a damaged PNG file (Image width is zero in IHDR"},
    {"NoRows", pngHeaderOnly(1, 0), "is a damaged PNG file (Image height is zero in IHDR"},
    {"TooTall", pngHeaderOnly(1, 4097), "is too large, 1 x 4097 pixels"},
    {"HugeClaim", pngHeaderOnly(0x7fffffff, 0x7fffffff), "is too large, 2147483647 x 2147483647 pixels"},
    {"ImpossibleClaim", pngHeaderOnly(0xffffffff, 1), "is a damaged PNG file"},
    {"NoPixels", pngHeaderOnly(1, 1), "is a damaged PNG file"},
};

class AFileThatIsNoSoundPng : public GeneratorFixture, public testing::WithParamInterface<DamagedFile> {};

TEST_P(AFileThatIsNoSoundPng, IsRefusedByName)
{
    addPicture("a.png", GetParam().content);
    expectRefusal({(imgDir / "a.png").string() + ": " + GetParam().reason});
}

INSTANTIATE_TEST_SUITE_P(GenerateImageTable, AFileThatIsNoSoundPng, testing::ValuesIn(damagedFiles),
                         caseName<DamagedFile>);

/// Holds every kind of chunk that matters: header, palette, transparency, pixels, end.
std::string fullPng()
{
    return encodePng(interlaced(paletteRow(2, {0, 1, 2, 3}, greyPalette, {255, 255})));
}

TEST_F(GenerateImageTable, RefusesAPictureThatIsCutOffAnywhere)
{
    const std::string whole = fullPng();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        SCOPED_TRACE(size);
        addPicture("a.png", whole.substr(0, size));
        expectRefusal({(imgDir / "a.png").string()});
    }
}

TEST_F(GenerateImageTable, RefusesAPictureWithAnyByteChanged)
{
    const std::string whole = fullPng();
    for (std::size_t i = 0; i < whole.size(); ++i) {
        SCOPED_TRACE(i);
        std::string changed = whole;
        changed[i] = static_cast<char>(changed[i] ^ 1);
        addPicture("a.png", changed);
        expectRefusal({(imgDir / "a.png").string()});
    }
}

TEST_F(GenerateImageTable, RefusesAPictureThatItMayNotRead)
{
    if (geteuid() == 0) {
        GTEST_SKIP() << "the superuser may read everything";
    }
    addPicture("a.png");
    fs::permissions(imgDir / "a.png", fs::perms::none);
    expectRefusal({"a.png: cannot be opened"});
}

TEST_F(GenerateImageTable, RefusesAFolderThatItMayNotRead)
{
    if (geteuid() == 0) {
        GTEST_SKIP() << "the superuser may read everything";
    }
    addPicture("icons/a.png");
    fs::permissions(imgDir / "icons", fs::perms::none);
    expectRefusal({"icons", "cannot be read"});
    fs::permissions(imgDir / "icons", fs::perms::owner_all);
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

// Arguments

TEST_F(GenerateImageTable, ShowsTheUsageWhenTheNumberOfArgumentsIsWrong)
{
    const std::vector<std::vector<std::string>> wrong = {{}, {"img"}, {"img", "table.cpp", "more"}};
    for (const std::vector<std::string>& arguments : wrong) {
        SCOPED_TRACE(arguments.size());
        std::vector<std::string> command = {GENERATE_IMAGE_TABLE};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const ProcessResult result = runProcess(command, {.workingFolder = folder});
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.standardOutput, "");
        EXPECT_EQ(result.standardError, "usage: generate_image_table IMG_DIR OUTPUT.cpp\n");
    }
    EXPECT_THAT(outputFolderContent(), IsEmpty());
}

// The output

TEST_F(GenerateImageTable, ReportsAnOutputFolderThatIsMissing)
{
    addPicture("a.png");
    output = folder / "nowhere" / "table.cpp";
    const ProcessResult result = run();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.standardError, "generate_image_table: " + output.string() + ": cannot be written\n");
    EXPECT_FALSE(fs::exists(output.parent_path()));
}

TEST_F(GenerateImageTable, RefusesToReplaceAFolder)
{
    addPicture("a.png");
    fs::create_directory(output);
    const ProcessResult result = run();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.standardError, "generate_image_table: " + output.string() + ": is not a regular file\n");
    EXPECT_THAT(outputFolderContent(), ElementsAre("table.cpp"));
}

TEST_F(GenerateImageTable, RefusesToReplaceAPipe)
{
    addPicture("a.png");
    ASSERT_EQ(mkfifo(output.c_str(), 0600), 0);
    const ProcessResult result = run();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.standardError, "generate_image_table: " + output.string() + ": is not a regular file\n");
    EXPECT_TRUE(fs::is_fifo(output));
}

TEST_F(GenerateImageTable, KeepsTheOldOutputWhenTheDiskIsFull)
{
    addPicture("a.png", greyRow(std::vector<unsigned int>(4000, 0)));
    writeFile(output, "the old table");
    const ProcessResult result = run({.largestFile = 2000});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.standardError, "generate_image_table: " + output.string() + ": cannot be written\n");
    EXPECT_EQ(readFile(output), "the old table");
    EXPECT_THAT(outputFolderContent(), ElementsAre("table.cpp"));
}

TEST_F(GenerateImageTable, LeavesNothingWhenTheFirstRunFails)
{
    addPicture("a.png", greyRow({99}));
    EXPECT_EQ(run().exitCode, 1);
    EXPECT_THAT(outputFolderContent(), IsEmpty());
}

TEST_F(GenerateImageTable, NamesItselfInFrontOfWhatIsWrong)
{
    addPicture("a.png", greyRow({99}));
    EXPECT_THAT(run().standardError, StartsWith("generate_image_table: " + (imgDir / "a.png").string() + ": "));
}

// Equal pictures, equal table

/// The output for the same pictures, written in the given order into a folder elsewhere.
class EqualPictures : public GeneratorFixture {
protected:
    [[nodiscard]] std::string outputAfter(const std::vector<std::string>& order) const
    {
        fs::remove_all(imgDir);
        for (const std::string& name : order) {
            addPicture(name, greyRow({255, name.size() % 2 == 0 ? 0U : 84U}));
        }
        EXPECT_EQ(run().exitCode, 0);
        return readFile(output);
    }

    std::vector<std::string> names = {"wheel_1.png", "font8/41.png", "wheel_0.png", "b/z.png",
                                      "b.png",       "font8/00.png", "b_0.png",     "icons/ok.png"};
};

TEST_F(EqualPictures, GiveTheSameBytesAgain)
{
    EXPECT_EQ(outputAfter(names), outputAfter(names));
}

TEST_F(EqualPictures, GiveTheSameBytesInWhateverOrderTheyWereMade)
{
    const std::string first = outputAfter(names);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(outputAfter(names), first);
    std::reverse(names.begin(), names.end());
    EXPECT_EQ(outputAfter(names), first);
}

TEST_F(EqualPictures, GiveTheSameBytesWhereverTheFolderIs)
{
    const std::string first = outputAfter(names);
    imgDir = folder / "another" / "place" / "pictures";
    const std::string second = outputAfter(names);
    EXPECT_EQ(second, first);
    EXPECT_THAT(second, Not(HasSubstr(folder.string())));
}

TEST_F(EqualPictures, GiveTheSameBytesHoweverTheFolderIsSpelled)
{
    const std::string first = outputAfter(names);
    for (const char* spelling : {"img", "img/", "./img", "output/../img//"}) {
        SCOPED_TRACE(spelling);
        fs::remove(output);
        const std::vector<std::string> command = {GENERATE_IMAGE_TABLE, spelling, "output/table.cpp"};
        EXPECT_EQ(runProcess(command, {.workingFolder = folder}).exitCode, 0);
        EXPECT_EQ(readFile(output), first);
    }
}

TEST_F(EqualPictures, GiveTheSameBytesInEveryLocale)
{
    const std::string first = outputAfter(names);
    for (const char* locale : {"C", "C.UTF-8", "de_DE.UTF-8", "tr_TR.UTF-8", "nowhere"}) {
        SCOPED_TRACE(locale);
        EXPECT_EQ(run({.locale = locale}).exitCode, 0);
        EXPECT_EQ(readFile(output), first);
    }
}

} // namespace
