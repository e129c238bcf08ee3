// The screen, and four lines below it: the LEDs, the keys, the state, and a hint or a protocol violation.
#include "sim/run/live_view.h"

#include <algorithm>
#include <cstdio>

namespace sim {

namespace {

constexpr int linesBelow = 4;

struct Size {
    int columns;
    int rows;
};

constexpr Size greysSize = {screenWidth, screenHeight / 2 + linesBelow};
constexpr Size pixelsSize = {screenWidth / 2, screenHeight / 4 + linesBelow};
constexpr Size smallSize = {screenWidth / 4, screenHeight / 8 + linesBelow};

bool fits(Size size, int columns, int rows)
{
    return columns >= size.columns && rows >= size.rows;
}

std::string sizeText(Size size)
{
    return std::to_string(size.columns) + "x" + std::to_string(size.rows);
}

/// Replaces all characters except printable ASCII characters with '?'. A path may contain other characters.
std::wstring wide(const std::string& text)
{
    std::wstring result;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        result += code >= 0x20 && code < 0x7F ? static_cast<wchar_t>(code) : L'?';
    }
    return result;
}

std::string stateLine(const Observation& seen, const std::string& message)
{
    std::array<char, 32> time{};
    std::snprintf(time.data(), time.size(), "%.1f s", static_cast<double>(seen.iteration) / 1000);
    std::string text = time.data();
    text += seen.drive.empty() ? "  no drive" : "  drive inserted";
    text += seen.isButtonDown ? "  button down" : "";
    text += seen.script.empty() ? "" : "  script running";
    return text + (message.empty() ? "" : "  " + message);
}

constexpr const wchar_t* keyHelp = L"\u2190\u2192 turn  space click  p hold  i insert  e eject  s save  q quit";

} // namespace

Detail detailFor(int columns, int rows, bool hasGreys)
{
    if (hasGreys && fits(greysSize, columns, rows)) {
        return Detail::Greys;
    }
    return fits(pixelsSize, columns, rows) ? Detail::Pixels : Detail::Small;
}

void LiveView::reset()
{
    drawn.reset();
}

void LiveView::draw(const Observation& seen, const std::string& message)
{
    if (!drawn) {
        terminal.clear();
        detail = detailFor(terminal.columns(), terminal.rows(), terminal.hasGreys());
    }
    if (drawn != seen.screen) {
        drawScreen(seen.screen);
        drawn = seen.screen;
    }
    const Size size = detail == Detail::Greys ? greysSize : detail == Detail::Pixels ? pixelsSize : smallSize;
    int row = std::max(std::min(size.rows, terminal.rows()) - linesBelow, 0);
    drawLeds(row++, seen.leds);
    terminal.putRow(row++, keyHelp, Ink::Plain);
    terminal.putRow(row++, wide(stateLine(seen, message)), Ink::Plain);
    if (seen.violations.empty()) {
        terminal.putRow(row, hint(), Ink::Plain);
    } else {
        terminal.putRow(row, wide("protocol violation: " + seen.violations.back()), Ink::Warning);
    }
    terminal.flush();
}

void LiveView::drawScreen(const Screen& screen)
{
    if (detail == Detail::Greys) {
        return drawGreys(screen);
    }
    int row = 0;
    for (const std::wstring& text : brailleRows(detail == Detail::Pixels ? dotsOf(screen) : halfSizeDots(screen))) {
        terminal.putRow(row++, text, Ink::Display);
    }
}

void LiveView::drawGreys(const Screen& screen)
{
    for (int row = 0; row < screenHeight / 2; ++row) {
        for (int column = 0; column < screenWidth; ++column) {
            terminal.put(row, column, halfBlockAt(screen, column, row));
        }
    }
}

/// The LEDs of the bar, then the RGB LEDs, each with its brightness in hexadecimal.
void LiveView::drawLeds(int row, const std::array<std::uint8_t, LedController::outputCount>& leds)
{
    struct Lamp {
        std::size_t column;
        wchar_t shape;
        std::array<std::uint8_t, 3> colour;
    };
    std::vector<Lamp> lamps;
    std::array<wchar_t, 16> digits{};
    std::wstring text = L"bar ";
    for (std::size_t output = LedController::firstBarOutput; output < leds.size(); ++output) {
        const std::uint8_t level = leds[output];
        lamps.push_back({text.size(), L'\u2588', {level, level, level}});
        std::swprintf(digits.data(), digits.size(), L"%lc%02x", lamps.back().shape, level);
        text += digits.data();
    }
    text += L"  rgb";
    for (const auto& [red, green, blue] : LedController::rgbOutputs) {
        lamps.push_back({text.size() + 1, L'\u25CF', {leds[red], leds[green], leds[blue]}});
        std::swprintf(digits.data(), digits.size(), L" %lc%02x%02x%02x", lamps.back().shape, leds[red], leds[green],
                      leds[blue]);
        text += digits.data();
    }
    terminal.putRow(row, text, Ink::Plain);
    for (const Lamp& lamp : lamps) {
        terminal.putLamp(row, static_cast<int>(lamp.column), lamp.shape, lamp.colour[0], lamp.colour[1],
                         lamp.colour[2]);
    }
}

std::wstring LiveView::hint() const
{
    const std::string now = "window " + sizeText({terminal.columns(), terminal.rows()}) + ": ";
    const std::string greys = terminal.hasGreys() ? sizeText(greysSize) + " shows four greys" : "";
    if (!fits(smallSize, terminal.columns(), terminal.rows())) {
        return wide(now + "too small, " + sizeText(pixelsSize) + " shows every pixel");
    }
    if (detail == Detail::Small) {
        return wide(now + sizeText(pixelsSize) + " shows every pixel" + (greys.empty() ? "" : ", " + greys));
    }
    return detail == Detail::Greys || greys.empty() ? std::wstring() : wide(now + greys);
}

} // namespace sim
