// Writes the chunks of PNG files (Portable Network Graphics, third edition) with four pixels per byte. Does not use
// libpng, which cannot write animations.
#include "sim/session/animated_png.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <stdexcept>
#include <zlib.h>

namespace sim {

namespace {

constexpr std::string_view signature = "\x89PNG\r\n\x1A\n";
/// Two bits per pixel, colours from a palette, and the methods of compression, filtering and interlacing (all 0).
constexpr std::string_view pixelFormat("\x02\x03\x00\x00\x00", 5);
/// The colours of the grey levels 0 to 3.
constexpr std::string_view palette("\xFF\xFF\xFF\xAA\xAA\xAA\x54\x54\x54\x00\x00\x00", 12);
/// Keeps the previous picture and replaces the pixels of the area.
constexpr std::string_view noDisposalNoBlending("\x00\x00", 2);
constexpr std::uint32_t forEver = 0;
constexpr std::uint16_t millisecondsPerSecond = 1000;

struct Area {
    int left;
    int top;
    int right;
    int bottom;
};

constexpr Area wholeScreen = {0, 0, screenWidth, screenHeight};

std::string bigEndian(std::uint32_t value, int bytes = 4)
{
    std::string text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
        text += static_cast<char>(value >> shift & 0xFFU);
    }
    return text;
}

std::string bigEndian(int value)
{
    return bigEndian(static_cast<std::uint32_t>(value));
}

std::string chunk(std::string_view type, const std::string& data)
{
    std::string content(type);
    content += data;
    const uLong checksum = crc32(0, reinterpret_cast<const Bytef*>(content.data()), static_cast<uInt>(content.size()));
    return bigEndian(static_cast<std::uint32_t>(data.size())) + content +
           bigEndian(static_cast<std::uint32_t>(checksum));
}

std::uint8_t pixelAt(const Screen& screen, int x, int y)
{
    return screen[static_cast<std::size_t>(y) * screenWidth + static_cast<std::size_t>(x)] & 3U;
}

/// The rows of an area. Each row starts with its filter type: 0, no filter.
std::string packedRows(const Screen& screen, const Area& area)
{
    std::string rows;
    for (int y = area.top; y < area.bottom; ++y) {
        rows += '\0';
        for (int x = area.left; x < area.right; x += 4) {
            unsigned byte = 0;
            for (int i = 0; i < 4; ++i) {
                byte = byte << 2 | (x + i < area.right ? pixelAt(screen, x + i, y) : 0U);
            }
            rows += static_cast<char>(byte);
        }
    }
    return rows;
}

std::string compressed(const std::string& rows)
{
    uLongf size = compressBound(rows.size());
    std::string result(size, '\0');
    if (compress2(reinterpret_cast<Bytef*>(result.data()), &size, reinterpret_cast<const Bytef*>(rows.data()),
                  rows.size(), Z_BEST_COMPRESSION) != Z_OK) {
        throw std::runtime_error("cannot compress a picture");
    }
    result.resize(size);
    return result;
}

/// The smallest area that contains all differences; one pixel if there are none.
Area changedArea(const Screen& before, const Screen& after)
{
    Area area = {screenWidth, screenHeight, 0, 0};
    for (int y = 0; y < screenHeight; ++y) {
        for (int x = 0; x < screenWidth; ++x) {
            if (pixelAt(before, x, y) != pixelAt(after, x, y)) {
                area = {std::min(area.left, x), std::min(area.top, y), std::max(area.right, x + 1),
                        std::max(area.bottom, y + 1)};
            }
        }
    }
    return area.right == 0 ? Area{0, 0, 1, 1} : area;
}

std::string header()
{
    return std::string(signature) +
           chunk("IHDR", bigEndian(screenWidth) + bigEndian(screenHeight) + std::string(pixelFormat));
}

/// Writes the frames of an animation. Their `fcTL` and `fdAT` chunks are numbered in one sequence.
class FrameWriter {
public:
    void add(const Area& area, const TimedScreen& timed)
    {
        chunks += chunk("fcTL", bigEndian(sequence++) + bigEndian(area.right - area.left) +
                                    bigEndian(area.bottom - area.top) + bigEndian(area.left) + bigEndian(area.top) +
                                    delay(timed.milliseconds) + std::string(noDisposalNoBlending));
        const std::string data = compressed(packedRows(timed.screen, area));
        chunks += isFirst ? chunk("IDAT", data) : chunk("fdAT", bigEndian(sequence++) + data);
        isFirst = false;
    }

    [[nodiscard]] const std::string& text() const { return chunks; }

private:
    static std::string delay(std::uint32_t milliseconds)
    {
        const std::uint32_t longest = std::numeric_limits<std::uint16_t>::max();
        return bigEndian(std::min(milliseconds, longest), 2) + bigEndian(millisecondsPerSecond, 2);
    }

    std::string chunks;
    std::uint32_t sequence = 0;
    bool isFirst = true;
};

} // namespace

std::string pngOf(const Screen& screen)
{
    return header() + chunk("PLTE", std::string(palette)) + chunk("IDAT", compressed(packedRows(screen, wholeScreen))) +
           chunk("IEND", "");
}

std::string animatedPngOf(std::span<const TimedScreen> screens)
{
    FrameWriter frames;
    frames.add(wholeScreen, screens.front());
    for (std::size_t i = 1; i < screens.size(); ++i) {
        frames.add(changedArea(screens[i - 1].screen, screens[i].screen), screens[i]);
    }
    const auto count = static_cast<std::uint32_t>(screens.size());
    return header() + chunk("acTL", bigEndian(count) + bigEndian(forEver)) + chunk("PLTE", std::string(palette)) +
           frames.text() + chunk("IEND", "");
}

} // namespace sim
