// Reads arbitrary bytes as a PNG file: the result must be a valid picture or a one-line error.
#include "fuzz/fuzz_target.h"
#include "fuzz/memory_file.h"
#include "tools/image_table_source.h"
#include "tools/png_image.h"
#include "tools/refusal.h"

#include <algorithm>
#include <string>

namespace {

void checkPicture(const LevelImage& image)
{
    require(image.width >= 1 && image.height >= 1, "a picture is not empty");
    require(image.levels.size() == std::size_t{image.width} * image.height, "every pixel has a level");
    require(std::all_of(image.levels.begin(), image.levels.end(), [](std::uint8_t level) { return level <= 3; }),
            "the levels are 0 to 3");
}

/// Skips large pictures, because they are slow to format and cover no additional code.
void checkSource(const LevelImage& image)
{
    constexpr std::size_t mostPixels = 4096;
    if (image.levels.size() > mostPixels) {
        return;
    }
    const std::string source = imageTableSource({{"img/any.png", image}});
    const std::size_t begin = source.find("  // img/any.png\n");
    require(begin != std::string::npos, "the table contains the picture");
    const std::string rows = source.substr(begin, source.find("};", begin) - begin);
    const auto count = std::count(rows.begin(), rows.end(), ',');
    require(static_cast<std::size_t>(count) == image.levels.size(), "the table contains every pixel");
}

void checkMessage(const std::string& text)
{
    const auto isPrintable = [](char character) { return character >= ' ' && character <= '~'; };
    require(text.starts_with("/proc/self/fd/"), "the message names the file");
    require(std::all_of(text.begin(), text.end(), isPrintable), "the message is one printable line");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
    static const MemoryFile file;
    file.write({reinterpret_cast<const char*>(bytes), count});
    try {
        const LevelImage image = readPngImage(file.path());
        checkPicture(image);
        checkSource(image);
    } catch (const Refusal& refusal) {
        checkMessage(refusal.what());
    }
    return 0;
}
