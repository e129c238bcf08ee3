// Encodes PNG files with libpng. There is no error handling: libpng aborts the process on an error.
#include "tests/tools/png_writing.h"

#include <zlib.h>

namespace {

constexpr int bitsPerByte = 8;

void appendBytes(png_structp png, png_bytep bytes, std::size_t count)
{
    auto* text = static_cast<std::string*>(png_get_io_ptr(png));
    text->append(reinterpret_cast<const char*>(bytes), count);
}

std::size_t channelsOf(int colourType)
{
    switch (colourType) {
    case PNG_COLOR_TYPE_GRAY_ALPHA:
        return 2;
    case PNG_COLOR_TYPE_RGB:
        return 3;
    case PNG_COLOR_TYPE_RGB_ALPHA:
        return 4;
    default:
        return 1;
    }
}

/// Returns the samples of row `y` as PNG stores them: big-endian, the first sample in the highest bits.
std::vector<png_byte> packedRow(const PngPicture& picture, png_uint_32 y)
{
    const std::size_t count = picture.width * channelsOf(picture.colourType);
    const auto depth = static_cast<std::size_t>(picture.bitDepth);
    std::vector<png_byte> row((count * depth + bitsPerByte - 1) / bitsPerByte);
    for (std::size_t bit = 0; bit < count * depth; ++bit) {
        const unsigned int sample = picture.samples.at(y * count + bit / depth);
        const unsigned int value = sample >> (depth - 1 - bit % depth) & 1U;
        row[bit / bitsPerByte] = static_cast<png_byte>(row[bit / bitsPerByte] | value << (7 - bit % bitsPerByte));
    }
    return row;
}

void writeTransparency(png_structp png, png_infop info, const PngPicture& picture)
{
    if (!picture.paletteAlpha.empty()) {
        png_set_tRNS(png, info, picture.paletteAlpha.data(), static_cast<int>(picture.paletteAlpha.size()), nullptr);
    }
    if (picture.transparentColour) {
        png_set_tRNS(png, info, nullptr, 0, &*picture.transparentColour);
    }
}

void writeHeader(png_structp png, png_infop info, const PngPicture& picture)
{
    png_set_check_for_invalid_index(png, 0);
    png_set_IHDR(png, info, picture.width, picture.height, picture.bitDepth, picture.colourType,
                 picture.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (!picture.palette.empty()) {
        png_set_PLTE(png, info, picture.palette.data(), static_cast<int>(picture.palette.size()));
    }
    if (picture.gamma) {
        png_set_gAMA(png, info, *picture.gamma);
    }
    writeTransparency(png, info, picture);
    png_write_info(png, info);
}

void writeRows(png_structp png, const PngPicture& picture)
{
    std::vector<std::vector<png_byte>> rows;
    std::vector<png_bytep> rowStarts;
    for (png_uint_32 y = 0; y < picture.height; ++y) {
        rows.push_back(packedRow(picture, y));
        rowStarts.push_back(rows.back().data());
    }
    png_write_image(png, rowStarts.data());
}

std::string bigEndian(std::uint32_t value)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= bitsPerByte) {
        bytes += static_cast<char>(value >> shift & 0xff);
    }
    return bytes;
}

std::string chunk(const std::string& type, const std::string& data)
{
    const std::string checked = type + data;
    const auto sum = crc32(0, reinterpret_cast<const Bytef*>(checked.data()), static_cast<uInt>(checked.size()));
    return bigEndian(static_cast<std::uint32_t>(data.size())) + checked + bigEndian(static_cast<std::uint32_t>(sum));
}

} // namespace

std::string encodePng(const PngPicture& picture)
{
    std::string bytes;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &bytes, appendBytes, nullptr);
    writeHeader(png, info, picture);
    writeRows(png, picture);
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return bytes;
}

PngPicture greyRow(const std::vector<unsigned int>& greys)
{
    PngPicture picture;
    picture.width = static_cast<png_uint_32>(greys.size());
    picture.samples = greys;
    return picture;
}

std::string withChunk(const std::string& png, const std::string& type, const std::string& data)
{
    constexpr std::size_t signatureAndHeader = 33;
    return png.substr(0, signatureAndHeader) + chunk(type, data) + png.substr(signatureAndHeader);
}

std::string pngHeaderOnly(std::uint32_t width, std::uint32_t height)
{
    const std::string depthAndMethods{'\x08', '\0', '\0', '\0', '\0'};
    return "\x89PNG\r\n\x1a\n" + chunk("IHDR", bigEndian(width) + bigEndian(height) + depthAndMethods) +
           chunk("IDAT", "") + chunk("IEND", "");
}
