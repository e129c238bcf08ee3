// Writes the image table as C++: one row a record, then the pixels, one line for each row of an image.
#include "tools/image_table_source.h"

#include <numeric>
#include <string_view>

namespace {

constexpr std::string_view opening =
    R"(// The compiled-in images, made by generate_image_table from the pictures under img/. Do not edit.
#include "graphics/image_table.h"

#include <array>

namespace {

)";

constexpr std::string_view closing = R"(
} // namespace

// Constants, so that they are there before any code runs.
constinit const std::span<const ImageRecord> imageRecords = records;
constinit const std::span<const std::uint8_t> imagePixels = pixels;
)";

std::size_t pixelCount(const std::vector<NamedImage>& images)
{
    return std::accumulate(images.begin(), images.end(), std::size_t{0},
                           [](std::size_t sum, const NamedImage& named) { return sum + named.image.levels.size(); });
}

std::string recordRow(const NamedImage& named, std::size_t offset)
{
    return "    {\"" + named.path + "\", " + std::to_string(named.image.width) + ", " +
           std::to_string(named.image.height) + ", " + std::to_string(offset) + "},\n";
}

std::string recordArray(const std::vector<NamedImage>& images)
{
    std::string text = "constexpr std::array<ImageRecord, " + std::to_string(images.size()) + "> records = {{\n";
    std::size_t offset = 0;
    for (const NamedImage& named : images) {
        text += recordRow(named, offset);
        offset += named.image.levels.size();
    }
    return text + "}};\n";
}

std::string pixelRows(const LevelImage& image)
{
    std::string text;
    for (std::size_t i = 0; i < image.levels.size(); ++i) {
        text += i % image.width == 0 ? "  " : "";
        text += static_cast<char>('0' + image.levels[i]);
        text += (i + 1) % image.width == 0 ? ",\n" : ",";
    }
    return text;
}

std::string pixelArray(const std::vector<NamedImage>& images)
{
    std::string text = "constexpr std::array<std::uint8_t, " + std::to_string(pixelCount(images)) + "> pixels = {\n";
    for (const NamedImage& named : images) {
        text += "  // " + named.path + "\n" + pixelRows(named.image);
    }
    return text + "};\n";
}

} // namespace

std::string imageTableSource(const std::vector<NamedImage>& images)
{
    return std::string(opening) + recordArray(images) + "\n" + pixelArray(images) + std::string(closing);
}
