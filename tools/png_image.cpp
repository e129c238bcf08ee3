// Reads PNG files with libpng. Samples are used as stored: gamma and colour profiles are ignored.
#include "tools/png_image.h"

#include "tools/refusal.h"

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <png.h>
#include <span>
#include <string>

namespace {

constexpr png_uint_32 maxLength = 4096;
/// The factor that converts an 8-bit sample to the 16-bit sample of the same brightness.
constexpr unsigned int wideFactor = 257;

/// 16 bits per channel; alpha 0xffff is opaque.
struct Colour {
    unsigned int red;
    unsigned int green;
    unsigned int blue;
    unsigned int alpha;
};

constexpr unsigned int opaque = 0xffff;

Colour fromBytes(unsigned int red, unsigned int green, unsigned int blue, unsigned int alpha)
{
    return {red * wideFactor, green * wideFactor, blue * wideFactor, alpha * wideFactor};
}

std::optional<std::uint8_t> levelOf(const Colour& colour)
{
    constexpr std::array<unsigned int, 4> greys = {255 * wideFactor, 170 * wideFactor, 84 * wideFactor, 0};
    if (colour.red != colour.green || colour.red != colour.blue) {
        return std::nullopt;
    }
    const auto* found = std::find(greys.begin(), greys.end(), colour.red);
    return found == greys.end() ? std::nullopt : std::optional(static_cast<std::uint8_t>(found - greys.begin()));
}

/// Returns "#rrggbb", or "#rrrrggggbbbb" for a colour that needs more than 8 bits per channel.
std::string nameOf(const Colour& colour)
{
    const auto isWide = [](unsigned int sample) { return sample % wideFactor != 0; };
    const bool wide = isWide(colour.red) || isWide(colour.green) || isWide(colour.blue);
    const int digits = wide ? 4 : 2;
    const unsigned int divisor = wide ? 1 : wideFactor;
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "#%0*x%0*x%0*x", digits, colour.red / divisor, digits,
                  colour.green / divisor, digits, colour.blue / divisor);
    return text.data();
}

/// The messages of libpng about one file: warnings, then the error. The warnings are often more specific.
struct Messages {
    std::array<char, 256> text{};

    void add(const char* part)
    {
        const std::size_t used = std::strlen(text.data());
        std::snprintf(text.data() + used, text.size() - used, "%s%s", used == 0 ? "" : "; ", part);
    }
};

void onWarning(png_structp png, png_const_charp message)
{
    static_cast<Messages*>(png_get_error_ptr(png))->add(message);
}

[[noreturn]] void onError(png_structp png, png_const_charp message)
{
    onWarning(png, message);
    png_longjmp(png, 1);
}

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

class PngReader {
public:
    explicit PngReader(const std::filesystem::path& pngFile);
    PngReader(const PngReader&) = delete;
    PngReader& operator=(const PngReader&) = delete;
    ~PngReader() { png_destroy_read_struct(&png, &info, nullptr); }

    LevelImage read();

private:
    /// Calls `calls` and throws Refusal if libpng reports an error. libpng longjmps out of `calls`, which therefore
    /// must not own resources.
    template <typename Calls>
    void guarded(Calls calls);
    [[noreturn]] void refuse(const std::string& reason) const { throw Refusal(path, reason); }
    [[noreturn]] void refusePixel(png_uint_32 x, png_uint_32 y, const std::string& reason) const;

    void checkSignature();
    void readHeader();
    void checkSize() const;
    void requestPaletteIndices();
    void requestWideColours();
    void readSamples();
    void checkNothingFollows();

    [[nodiscard]] Colour paletteColour(png_uint_32 x, png_uint_32 y) const;
    [[nodiscard]] Colour wideColour(png_uint_32 x, png_uint_32 y) const;
    [[nodiscard]] std::uint8_t levelAt(png_uint_32 x, png_uint_32 y) const;

    const std::filesystem::path& path;
    std::unique_ptr<std::FILE, FileCloser> file;
    Messages messages;
    png_structp png = nullptr;
    png_infop info = nullptr;

    png_uint_32 width = 0;
    png_uint_32 height = 0;
    /// True: `samples` contains palette indices, 8 bits per pixel. False: RGBA, 64 bits per pixel.
    bool indexed = false;
    std::span<const png_color> palette;
    /// The alpha of the first palette entries; all further entries are opaque.
    std::span<const png_byte> paletteAlpha;
    std::size_t rowSize = 0;
    std::vector<png_byte> samples;
};

PngReader::PngReader(const std::filesystem::path& pngFile)
    : path(pngFile), file(std::fopen(pngFile.c_str(), "rb")),
      png(png_create_read_struct(PNG_LIBPNG_VER_STRING, &messages, onError, onWarning))
{
    if (png != nullptr) {
        info = png_create_info_struct(png);
    }
}

void PngReader::refusePixel(png_uint_32 x, png_uint_32 y, const std::string& reason) const
{
    refuse("pixel (" + std::to_string(x) + ", " + std::to_string(y) + ") " + reason);
}

template <typename Calls>
void PngReader::guarded(Calls calls)
{
    if (setjmp(png_jmpbuf(png)) != 0) { // NOLINT(cert-err52-cpp): libpng reports errors with longjmp
        refuse(std::string("is a damaged PNG file (") + messages.text.data() + ")");
    }
    calls();
}

LevelImage PngReader::read()
{
    if (file == nullptr) {
        refuse("cannot be opened");
    }
    if (info == nullptr) {
        refuse("cannot be read with this libpng");
    }
    checkSignature();
    readHeader();
    checkSize();
    readSamples();
    checkNothingFollows();

    LevelImage image{width, height, {}};
    image.levels.reserve(std::size_t{width} * height);
    for (png_uint_32 y = 0; y < height; ++y) {
        for (png_uint_32 x = 0; x < width; ++x) {
            image.levels.push_back(levelAt(x, y));
        }
    }
    return image;
}

void PngReader::checkSignature()
{
    std::array<png_byte, 8> signature{};
    const std::size_t count = std::fread(signature.data(), 1, signature.size(), file.get());
    if (count != signature.size() || png_sig_cmp(signature.data(), 0, signature.size()) != 0) {
        refuse("is not a PNG file");
    }
}

/// Any error in a chunk that affects the pixels is fatal. Other chunks, such as colour profiles, are skipped.
void PngReader::readHeader()
{
    guarded([this] {
        png_init_io(png, file.get());
        png_set_sig_bytes(png, 8);
        png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX); // checkSize() has a clearer message
        png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
        png_set_crc_action(png, PNG_CRC_ERROR_QUIT, PNG_CRC_ERROR_QUIT);
        png_set_benign_errors(png, 0);
        png_read_info(png, info);
        width = png_get_image_width(png, info);
        height = png_get_image_height(png, info);
        indexed = png_get_color_type(png, info) == PNG_COLOR_TYPE_PALETTE;
    });
}

void PngReader::checkSize() const
{
    if (width > maxLength || height > maxLength) {
        refuse("is too large: " + std::to_string(width) + " x " + std::to_string(height) + " pixels; the limit is " +
               std::to_string(maxLength) + " in either direction");
    }
}

/// libpng maps an index beyond the palette to black, so paletteColour() maps the indices instead.
void PngReader::requestPaletteIndices()
{
    png_colorp colours = nullptr;
    int colourCount = 0;
    png_get_PLTE(png, info, &colours, &colourCount);
    palette = {colours, static_cast<std::size_t>(colourCount)};

    png_bytep alphas = nullptr;
    int alphaCount = 0;
    png_get_tRNS(png, info, &alphas, &alphaCount, nullptr);
    paletteAlpha = {alphas, static_cast<std::size_t>(alphaCount)};
    png_set_packing(png);
    png_set_check_for_invalid_index(png, 0); // some versions of libpng would report it without naming the pixel
}

void PngReader::requestWideColours()
{
    png_set_expand_16(png);
    png_set_gray_to_rgb(png);
    png_set_add_alpha(png, opaque, PNG_FILLER_AFTER);
}

void PngReader::readSamples()
{
    guarded([this] {
        if (indexed) {
            requestPaletteIndices();
        } else {
            requestWideColours();
        }
        png_set_interlace_handling(png);
        png_read_update_info(png, info);
        rowSize = png_get_rowbytes(png, info);
    });

    samples.resize(rowSize * height);
    std::vector<png_bytep> rows;
    rows.reserve(height);
    for (png_uint_32 y = 0; y < height; ++y) {
        rows.push_back(samples.data() + rowSize * y);
    }
    guarded([this, &rows] {
        png_read_image(png, rows.data());
        png_read_end(png, nullptr);
    });
}

void PngReader::checkNothingFollows()
{
    if (std::fgetc(file.get()) != EOF) {
        refuse("has data after the end of the picture");
    }
}

Colour PngReader::paletteColour(png_uint_32 x, png_uint_32 y) const
{
    const std::size_t index = samples[rowSize * y + x];
    if (index >= palette.size()) {
        refusePixel(x, y, "has an index beyond the palette");
    }
    const png_color& entry = palette[index];
    return fromBytes(entry.red, entry.green, entry.blue, index < paletteAlpha.size() ? paletteAlpha[index] : 255U);
}

Colour PngReader::wideColour(png_uint_32 x, png_uint_32 y) const
{
    const png_byte* pixel = &samples[rowSize * y + std::size_t{8} * x];
    return {png_get_uint_16(pixel), png_get_uint_16(pixel + 2), png_get_uint_16(pixel + 4), png_get_uint_16(pixel + 6)};
}

std::uint8_t PngReader::levelAt(png_uint_32 x, png_uint_32 y) const
{
    const Colour colour = indexed ? paletteColour(x, y) : wideColour(x, y);
    if (colour.alpha != opaque) {
        refusePixel(x, y, "is transparent");
    }
    const std::optional<std::uint8_t> level = levelOf(colour);
    if (!level) {
        refusePixel(x, y, "is " + nameOf(colour) + ", not one of the greys #ffffff, #aaaaaa, #545454 and #000000");
    }
    return *level;
}

} // namespace

LevelImage readPngImage(const std::filesystem::path& file)
{
    return PngReader(file).read();
}
