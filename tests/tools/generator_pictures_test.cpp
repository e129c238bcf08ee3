// The image table generator: which pictures it accepts, and what it makes of their pixels.
#include "tests/tools/generator_fixture.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <ostream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using GenerateImageTable = GeneratorFixture;

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

TEST_F(GenerateImageTable, AcceptsTheLargestAllowedSize)
{
    PngPicture wide = greyRow(std::vector<unsigned int>(4096, 255));
    addPicture("wide.png", wide);
    std::swap(wide.width, wide.height);
    addPicture("tall.png", wide);
    EXPECT_EQ(table().pixels, std::string(std::size_t{2} * 4096, '0'));
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
    {"BrokenTransparency", withChunk(encodePng({}), "tRNS", "x"), "is a damaged PNG file (tRNS: "},
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

} // namespace
