// Tests of readPngImage: accepted PNG files, returned levels and errors.
#include "tests/support/scratch_folder.h"
#include "tests/tools/png_writing.h"
#include "tools/png_image.h"
#include "tools/refusal.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace {

using Samples = std::vector<unsigned int>;

/// Repeats every sample `copies` times and appends `alpha` to each group, unless `alpha` is 0.
Samples widened(const Samples& greys, int copies, unsigned int alpha = 0)
{
    Samples samples;
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

const Samples greys8 = {255, 170, 84, 0};
const Samples greys16 = {255 * 257, 170 * 257, 84 * 257, 0};
const std::vector<png_color> greyPalette = {grey(255), grey(170), grey(84), grey(0)};

PngPicture rowOf(int colourType, int bitDepth, const Samples& samples, png_uint_32 width = 4)
{
    PngPicture picture;
    picture.width = width;
    picture.samples = samples;
    picture.colourType = colourType;
    picture.bitDepth = bitDepth;
    return picture;
}

PngPicture paletteRow(int bitDepth, const Samples& indices, const std::vector<png_color>& palette,
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

PngPicture interlaced(PngPicture picture)
{
    picture.interlaced = true;
    return picture;
}

/// Returns a square with diagonal stripes in all four greys.
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

/// Returns a PNG file with every type of chunk that readPngImage uses: IHDR, PLTE, tRNS, IDAT and IEND.
std::string pngWithAllChunks()
{
    return encodePng(interlaced(paletteRow(2, {0, 1, 2, 3}, greyPalette, {255, 255})));
}

class ReadPngImage : public testing::Test {
protected:
    [[nodiscard]] LevelImage read(const std::string& bytes) const
    {
        std::ofstream(file, std::ios::binary) << bytes;
        return readPngImage(file);
    }

    /// Returns the levels of a picture, one digit per pixel.
    [[nodiscard]] std::string levelsOf(const std::string& bytes) const
    {
        std::string text;
        for (const auto level : read(bytes).levels) {
            text += std::to_string(level);
        }
        return text;
    }
    [[nodiscard]] std::string levelsOf(const PngPicture& picture) const { return levelsOf(encodePng(picture)); }

    /// Returns the message of the Refusal without the name of the file, or "accepted".
    [[nodiscard]] std::string refusalOf(const std::string& bytes) const
    {
        try {
            static_cast<void>(read(bytes));
            return "accepted";
        } catch (const Refusal& refusal) {
            const std::string message = refusal.what();
            const std::string name = file.string() + ": ";
            return message.starts_with(name) ? message.substr(name.size())
                                             : "the message does not begin with the file name: " + message;
        }
    }
    [[nodiscard]] std::string refusalOf(const PngPicture& picture) const { return refusalOf(encodePng(picture)); }

    ScratchFolder folder;
    fs::path file = folder / "a.png";
};

TEST_F(ReadPngImage, ReturnsPixelsRowByRowFromTheTopLeftCorner)
{
    PngPicture picture = greyRow({0, 255, 84, 255, 170, 0});
    picture.width = 3;
    picture.height = 2;
    const LevelImage image = read(encodePng(picture));
    EXPECT_EQ(image.width, 3U);
    EXPECT_EQ(image.height, 2U);
    EXPECT_EQ(image.levels, (std::vector<std::uint8_t>{3, 0, 2, 0, 1, 3}));
}

TEST_F(ReadPngImage, AcceptsUpTo4096PixelsInEitherDirection)
{
    PngPicture picture = greyRow(Samples(4096, 255));
    EXPECT_EQ(levelsOf(picture), std::string(4096, '0'));
    std::swap(picture.width, picture.height);
    EXPECT_EQ(levelsOf(picture), std::string(4096, '0'));
}

TEST_F(ReadPngImage, ReadsEveryColourTypeAndBitDepth)
{
    struct Case {
        std::string name;
        PngPicture picture;
        std::string levels = "0123";
    };
    const std::vector<Case> cases = {
        {"grey, 1 bit", rowOf(PNG_COLOR_TYPE_GRAY, 1, {1, 0, 0, 1}), "0330"},
        {"grey, 2 bits", rowOf(PNG_COLOR_TYPE_GRAY, 2, {3, 2, 0, 2}), "0131"},
        {"grey, 4 bits", rowOf(PNG_COLOR_TYPE_GRAY, 4, {15, 10, 0, 10}), "0131"},
        {"grey, 8 bits", rowOf(PNG_COLOR_TYPE_GRAY, 8, greys8)},
        {"grey, 16 bits", rowOf(PNG_COLOR_TYPE_GRAY, 16, greys16)},
        {"grey and alpha, 8 bits", rowOf(PNG_COLOR_TYPE_GRAY_ALPHA, 8, widened(greys8, 1, opaque8))},
        {"grey and alpha, 16 bits", rowOf(PNG_COLOR_TYPE_GRAY_ALPHA, 16, widened(greys16, 1, opaque16))},
        {"RGB, 8 bits", rowOf(PNG_COLOR_TYPE_RGB, 8, widened(greys8, 3))},
        {"RGB, 16 bits", rowOf(PNG_COLOR_TYPE_RGB, 16, widened(greys16, 3))},
        {"RGBA, 8 bits", rowOf(PNG_COLOR_TYPE_RGB_ALPHA, 8, widened(greys8, 3, opaque8))},
        {"RGBA, 16 bits", rowOf(PNG_COLOR_TYPE_RGB_ALPHA, 16, widened(greys16, 3, opaque16))},
        {"palette, 1 bit", paletteRow(1, {0, 1, 1, 0}, {grey(84), grey(170)}), "2112"},
        {"palette, 2 bits", paletteRow(2, {0, 1, 2, 3}, greyPalette)},
        {"palette, 4 bits", paletteRow(4, {0, 1, 2, 3}, greyPalette)},
        {"palette, 8 bits", paletteRow(8, {0, 1, 2, 3}, greyPalette)},
        {"opaque alpha in a palette", paletteRow(2, {0, 1, 2, 3}, greyPalette, {255, 255, 255})},
        {"unused colour in a palette", paletteRow(2, {1, 1, 0}, {grey(0), grey(255), {255, 0, 0}}), "003"},
        {"unused transparency in a palette", paletteRow(2, {1, 1, 2}, {grey(7), grey(255), grey(0)}, {0}), "003"},
        {"unused transparent grey", withTransparentColour(rowOf(PNG_COLOR_TYPE_GRAY, 8, greys8), 85)},
        {"unused transparent 16-bit grey", withTransparentColour(rowOf(PNG_COLOR_TYPE_GRAY, 16, greys16), 84)},
        {"unused transparent RGB", withTransparentColour(rowOf(PNG_COLOR_TYPE_RGB, 8, widened(greys8, 3)), 85)},
        {"grey with gamma", withGamma(rowOf(PNG_COLOR_TYPE_GRAY, 8, greys8), 1.0)},
        {"RGB with gamma", withGamma(rowOf(PNG_COLOR_TYPE_RGB, 16, widened(greys16, 3)), 0.2)},
        {"palette with gamma", withGamma(paletteRow(8, {0, 1, 2, 3}, greyPalette), 3.0)},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(levelsOf(c.picture), c.levels) << c.name;
        EXPECT_EQ(levelsOf(interlaced(c.picture)), c.levels) << c.name << ", interlaced";
    }
}

TEST_F(ReadPngImage, ReadsAllSevenPassesOfAnInterlacedPicture)
{
    const std::string levels = levelsOf(stripes(19));
    ASSERT_EQ(levels.size(), 19U * 19U);
    EXPECT_EQ(levelsOf(interlaced(stripes(19))), levels);
}

TEST_F(ReadPngImage, IgnoresChunksThatDoNotAffectThePixels)
{
    EXPECT_EQ(levelsOf(withChunk(encodePng({}), "tEXt", "Title")), "3");
    EXPECT_EQ(levelsOf(withChunk(encodePng({}), "iCCP", "not a colour profile")), "3");
    EXPECT_EQ(levelsOf(withChunk(encodePng({}), "abCd", "unknown ancillary chunk")), "3");
}

TEST_F(ReadPngImage, RejectsPixelsOtherThanTheFourOpaqueGreys)
{
    struct Case {
        PngPicture picture;
        std::string reason;
    };
    const std::vector<Case> cases = {
        {greyRow({255, 85}), "pixel (1, 0) is #555555"},
        {greyRow({254}), "pixel (0, 0) is #fefefe"},
        {greyRow({0, 0, 1}), "pixel (2, 0) is #010101"},
        {rowOf(PNG_COLOR_TYPE_GRAY, 2, {3, 1}, 2), "pixel (1, 0) is #555555"},
        {rowOf(PNG_COLOR_TYPE_GRAY, 4, {5}, 1), "pixel (0, 0) is #555555"},
        {rowOf(PNG_COLOR_TYPE_GRAY, 16, {0xaaab}, 1), "pixel (0, 0) is #aaabaaabaaab"},
        {rowOf(PNG_COLOR_TYPE_RGB, 8, {255, 0, 0}, 1), "pixel (0, 0) is #ff0000"},
        {rowOf(PNG_COLOR_TYPE_RGB, 8, {84, 84, 85}, 1), "pixel (0, 0) is #545455"},
        {rowOf(PNG_COLOR_TYPE_RGB, 16, {0, 1, 0}, 1), "pixel (0, 0) is #000000010000"},
        {paletteRow(2, {0, 1}, {grey(0), {0, 0, 255}}), "pixel (1, 0) is #0000ff"},
        {paletteRow(8, {0, 1, 2}, {grey(0), grey(255)}), "pixel (2, 0) has an index beyond the palette"},
        {rowOf(PNG_COLOR_TYPE_GRAY_ALPHA, 8, {0, 254}, 1), "pixel (0, 0) is transparent"},
        {rowOf(PNG_COLOR_TYPE_GRAY_ALPHA, 16, {0, 0xfffe}, 1), "pixel (0, 0) is transparent"},
        {rowOf(PNG_COLOR_TYPE_RGB_ALPHA, 8, {0, 0, 0, 255, 0, 0, 0, 0}, 2), "pixel (1, 0) is transparent"},
        {paletteRow(1, {0, 1}, {grey(0), grey(255)}, {255, 128}), "pixel (1, 0) is transparent"},
        {withTransparentColour(greyRow({0, 255}), 255), "pixel (1, 0) is transparent"},
        {withTransparentColour(rowOf(PNG_COLOR_TYPE_GRAY, 1, {1, 0}, 2), 0), "pixel (1, 0) is transparent"},
        {withTransparentColour(rowOf(PNG_COLOR_TYPE_GRAY, 16, {0xffff}, 1), 0xffff), "pixel (0, 0) is transparent"},
        {withTransparentColour(rowOf(PNG_COLOR_TYPE_RGB, 8, {84, 84, 84}, 1), 84), "pixel (0, 0) is transparent"},
    };
    for (const Case& c : cases) {
        const std::string refusal = refusalOf(c.picture);
        EXPECT_TRUE(refusal.starts_with(c.reason)) << refusal << "\ndoes not start with\n" << c.reason;
    }
}

TEST_F(ReadPngImage, ReportsTheFirstInvalidPixelInReadingOrder)
{
    PngPicture picture = stripes(5);
    picture.samples[2 * 5 + 4] = 1;
    picture.samples[3 * 5 + 0] = 2;
    EXPECT_TRUE(refusalOf(interlaced(picture)).starts_with("pixel (4, 2) is #010101"));
}

/// The text in parentheses comes from libpng and depends on its version, so the test compares only the beginning of
/// each message.
TEST_F(ReadPngImage, RejectsInvalidFilesOversizedPicturesAndTrailingData)
{
    struct Case {
        std::string content;
        std::string reason;
    };
    const std::vector<Case> cases = {
        {"", "is not a PNG file"},
        {"Text is not a picture.\n", "is not a PNG file"},
        {"GIF89a\x01\x01", "is not a PNG file"},
        {"\x89PNG\r\n\x1a\n", "is a damaged PNG file ("},
        {encodePng({}) + "x", "has data after the end of the picture"},
        {encodePng({}) + encodePng({}), "has data after the end of the picture"},
        {withChunk(encodePng({}), "tRNS", "x"), "is a damaged PNG file (tRNS: invalid"},
        {withChunk(encodePng({}), "ABCD", "x"), "is a damaged PNG file (ABCD"},
        {pngHeaderOnly(0, 1), "is a damaged PNG file ("},
        {pngHeaderOnly(1, 0), "is a damaged PNG file ("},
        {encodePng(greyRow(Samples(4097, 0))), "is too large: 4097 x 1 pixels"},
        {pngHeaderOnly(1, 4097), "is too large: 1 x 4097 pixels"},
        {pngHeaderOnly(0x7fffffff, 0x7fffffff), "is too large: 2147483647 x 2147483647 pixels"},
        {pngHeaderOnly(0xffffffff, 1), "is a damaged PNG file ("},
        {pngHeaderOnly(1, 1), "is a damaged PNG file ("},
    };
    for (const Case& c : cases) {
        const std::string refusal = refusalOf(c.content);
        EXPECT_TRUE(refusal.starts_with(c.reason)) << refusal << "\ndoes not start with\n" << c.reason;
    }
}

TEST_F(ReadPngImage, RejectsAFileTruncatedAtAnyByte)
{
    const std::string whole = pngWithAllChunks();
    ASSERT_EQ(levelsOf(whole), "0123");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_NE(refusalOf(whole.substr(0, size)), "accepted") << size << " bytes";
    }
}

TEST_F(ReadPngImage, RejectsAFileWithAnyByteChanged)
{
    const std::string whole = pngWithAllChunks();
    for (std::size_t i = 0; i < whole.size(); ++i) {
        std::string changed = whole;
        changed[i] = static_cast<char>(changed[i] ^ 1);
        EXPECT_NE(refusalOf(changed), "accepted") << "byte " << i;
    }
}

TEST_F(ReadPngImage, RejectsAMissingOrUnreadableFile)
{
    EXPECT_THROW(readPngImage(folder / "missing.png"), Refusal);
    if (geteuid() != 0) {
        std::ofstream(file) << encodePng({});
        fs::permissions(file, fs::perms::none);
        EXPECT_THROW(readPngImage(file), Refusal);
    }
}

} // namespace
