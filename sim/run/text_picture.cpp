// Packs pixels into characters.
#include "sim/run/text_picture.h"

#include <algorithm>

namespace sim {

namespace {

constexpr int cellWidth = 2;
constexpr int cellHeight = 4;

/// The bit of each dot of a braille pattern, row by row (Unicode, block "Braille Patterns").
constexpr unsigned brailleBits[cellHeight][cellWidth] = {{0x01, 0x08}, {0x02, 0x10}, {0x04, 0x20}, {0x40, 0x80}};
constexpr unsigned emptyBraille = 0x2800;

bool inkAt(const Dots& dots, int x, int y)
{
    const int index = y * dots.width + x;
    return dots.ink[static_cast<std::size_t>(index)];
}

int inkIn(const Dots& dots, int left, int top, int right, int bottom)
{
    int count = 0;
    for (int y = std::max(top, 0); y < std::min(bottom, dots.height); ++y) {
        for (int x = std::max(left, 0); x < std::min(right, dots.width); ++x) {
            count += inkAt(dots, x, y) ? 1 : 0;
        }
    }
    return count;
}

wchar_t brailleAt(const Dots& dots, int column, int row)
{
    unsigned bits = 0;
    for (int y = 0; y < cellHeight; ++y) {
        for (int x = 0; x < cellWidth; ++x) {
            bits |= inkAt(dots, column * cellWidth + x, row * cellHeight + y) ? brailleBits[y][x] : 0;
        }
    }
    return bits == 0 ? L' ' : static_cast<wchar_t>(emptyBraille + bits);
}

} // namespace

Dots dotsOf(const Screen& screen)
{
    Dots dots = {screenWidth, screenHeight, std::vector<bool>(screen.size())};
    std::transform(screen.begin(), screen.end(), dots.ink.begin(), [](std::uint8_t level) { return level >= 2; });
    return dots;
}

Dots halfSizeDots(const Screen& screen)
{
    constexpr int reach = 5; // how many pixels the surroundings of a dot extend in each direction
    const Dots full = dotsOf(screen);
    Dots half = {screenWidth / 2, screenHeight / 2, {}};
    for (int y = 0; y < screenHeight; y += 2) {
        for (int x = 0; x < screenWidth; x += 2) {
            constexpr int area = (2 * reach + 2) * (2 * reach + 2);
            const int ink = inkIn(full, x, y, x + 2, y + 2);
            const bool isOnInk = inkIn(full, x - reach, y - reach, x + 2 + reach, y + 2 + reach) > area / 2;
            half.ink.push_back(isOnInk ? ink == 4 : ink > 0);
        }
    }
    return half;
}

std::vector<std::wstring> brailleRows(const Dots& dots)
{
    std::vector<std::wstring> rows;
    for (int row = 0; row < dots.height / cellHeight; ++row) {
        std::wstring& text = rows.emplace_back();
        for (int column = 0; column < dots.width / cellWidth; ++column) {
            text += brailleAt(dots, column, row);
        }
    }
    return rows;
}

HalfBlock halfBlockAt(const Screen& screen, int column, int row)
{
    const int index = 2 * row * screenWidth + column;
    const auto top = static_cast<std::size_t>(index);
    return {screen[top], screen[top + screenWidth]};
}

std::string utf8(const std::wstring& text)
{
    std::string bytes;
    for (const wchar_t character : text) {
        const auto code = static_cast<char32_t>(character);
        if (code < 0x80) {
            bytes += static_cast<char>(code);
        } else if (code < 0x800) {
            bytes += static_cast<char>(0xC0 | code >> 6);
            bytes += static_cast<char>(0x80 | (code & 0x3F));
        } else {
            bytes += static_cast<char>(0xE0 | code >> 12);
            bytes += static_cast<char>(0x80 | (code >> 6 & 0x3F));
            bytes += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    return bytes;
}

} // namespace sim
