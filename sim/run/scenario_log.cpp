// Prints event lines and braille pictures.
#include "sim/run/scenario_log.h"

#include "sim/run/text_picture.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>
#include <stdexcept>

namespace sim {

namespace {

constexpr int rowsPerCharacter = 4;
constexpr int textRows = screenHeight / rowsPerCharacter;

/// The area of the busy indicator; `wheelRight` and `wheelBottom` are exclusive.
constexpr int wheelLeft = 102;
constexpr int wheelRight = 154;
constexpr int wheelTop = 104;
constexpr int wheelBottom = 155;

template <typename AnyScreen>
auto* rowOf(AnyScreen& screen, std::ptrdiff_t y)
{
    return screen.data() + y * screenWidth;
}

Screen withoutWheel(Screen screen)
{
    for (int y = wheelTop; y < wheelBottom; ++y) {
        std::fill(rowOf(screen, y) + wheelLeft, rowOf(screen, y) + wheelRight, std::uint8_t{0});
    }
    return screen;
}

bool isRowEqual(const Screen& a, const Screen& b, int y)
{
    return std::equal(rowOf(a, y), rowOf(a, y) + screenWidth, rowOf(b, y));
}

} // namespace

void ScenarioLog::printEvent(std::uint64_t iteration, const std::string& text)
{
    std::array<char, 32> time{};
    std::snprintf(time.data(), time.size(), "%8.3f s  ", static_cast<double>(iteration) / 1000);
    out << time.data() << text << std::endl;
    if (!out) {
        throw std::runtime_error("cannot write to standard output");
    }
}

void ScenarioLog::printScreen(std::uint64_t iteration, const Screen& screen, const std::string& name)
{
    const Rows rows = changedRows(withoutWheel(screen));
    if (rows.first >= rows.end) {
        return;
    }
    constexpr int littleChange = 24; // pixel rows: one or two lines of text
    const bool isWhole = rows.end - rows.first > littleChange || !name.empty();
    printEvent(iteration, name.empty() ? "screen:" : "screen \"" + name + "\":");
    printRows(screen, isWhole ? Rows{0, screenHeight} : rows);
    last = withoutWheel(screen);
}

ScenarioLog::Rows ScenarioLog::changedRows(const Screen& screen) const
{
    Rows rows = {0, screenHeight};
    while (last && rows.first < rows.end && isRowEqual(screen, *last, rows.first)) {
        ++rows.first;
    }
    while (last && rows.first < rows.end && isRowEqual(screen, *last, rows.end - 1)) {
        --rows.end;
    }
    return rows;
}

/// Omits empty rows at the bottom and blanks at the end of a row.
void ScenarioLog::printRows(const Screen& screen, Rows rows)
{
    const auto text = brailleRows(dotsOf(screen));
    int end = std::min((rows.end + rowsPerCharacter - 1) / rowsPerCharacter, textRows);
    const auto isEmpty = [&](int row) {
        return text[static_cast<std::size_t>(row)].find_first_not_of(L' ') == std::wstring::npos;
    };
    while (end > rows.first / rowsPerCharacter && isEmpty(end - 1)) {
        --end;
    }
    if (end <= rows.first / rowsPerCharacter) {
        out << "(empty)" << std::endl;
        return;
    }
    out << '\n';
    for (int row = rows.first / rowsPerCharacter; row < end; ++row) {
        const std::wstring& line = text[static_cast<std::size_t>(row)];
        out << utf8(line.substr(0, line.find_last_not_of(L' ') + 1)) << '\n';
    }
    out << std::endl;
}

} // namespace sim
