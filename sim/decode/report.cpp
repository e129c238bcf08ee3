// Prints the sections of the report.
#include "sim/decode/report.h"

#include "sim/decode/count_text.h"
#include "sim/decode/time_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>

namespace sim {

namespace {

constexpr std::size_t labelWidth = 16;

enum class Style : std::uint8_t { Plain, Heading, Good, Bad, Faint };

class Printer {
public:
    Printer(std::ostream& stream, bool useColours) : out(stream), isColoured(useColours) {}

    [[nodiscard]] std::string styled(Style style, const std::string& text) const
    {
        constexpr std::array<const char*, 5> codes = {"", "1", "32", "31", "2"};
        const std::string code = codes[static_cast<std::size_t>(style)];
        return isColoured && !code.empty() ? "\033[" + code + "m" + text + "\033[0m" : text;
    }
    /// Prints the first line of a section.
    void section(const std::string& label, const std::string& text)
    {
        out << '\n' << styled(Style::Heading, text.empty() ? label : padded(label, labelWidth)) << text << '\n';
    }
    void row(const std::string& label, const std::string& text)
    {
        out << padded("  " + label, labelWidth) << text << '\n';
    }
    void line(const std::string& text) { out << text << '\n'; }

    static std::string padded(const std::string& text, std::size_t width)
    {
        return text + std::string(std::max(width, columns(text) + 1) - columns(text), ' ');
    }
    static std::string rightAligned(const std::string& text, std::size_t width)
    {
        return std::string(width - std::min(width, columns(text)), ' ') + text;
    }

private:
    /// The number of characters of UTF-8 text.
    static std::size_t columns(const std::string& text)
    {
        return static_cast<std::size_t>(std::count_if(
            text.begin(), text.end(), [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }));
    }

    std::ostream& out;
    bool isColoured;
};

std::string fixed(double value, int decimals)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
    return text.data();
}

std::string sizeText(std::uint64_t bytes)
{
    constexpr double kilo = 1000;
    const auto size = static_cast<double>(bytes);
    if (size < kilo) {
        return countText(bytes, "byte");
    }
    return size < kilo * kilo ? fixed(size / kilo, 1) + " kB" : fixed(size / (kilo * kilo), 1) + " MB";
}

std::string rangeText(const Spread& spread)
{
    return "shortest " + durationText(spread.shortest()) + ", mean " + durationText(spread.mean()) + ", longest " +
           durationText(spread.longest());
}

std::string share(CaptureTime part, CaptureTime whole)
{
    return whole.count() == 0
               ? "0 %"
               : fixed(100.0 * static_cast<double>(part.count()) / static_cast<double>(whole.count()), 1) + " %";
}

void printChannels(Printer& printer, const Report& report)
{
    std::string found;
    std::string missing;
    for (std::size_t i = 0; i < lineCount; ++i) {
        const auto line = static_cast<Line>(i);
        const auto channel = report.channels.find(line);
        if (channel == report.channels.end()) {
            missing += (missing.empty() ? "" : "  ") + std::string(nameOf(line));
        } else {
            const bool isSame = channel->second == nameOf(line);
            found += (found.empty() ? "" : "  ") + std::string(nameOf(line)) + (isSame ? "" : "=" + channel->second);
        }
    }
    printer.section("Channels", found);
    if (!missing.empty()) {
        printer.row("missing", missing);
    }
}

/// Prints the consequences of missing channels for decoding.
void printLimits(Printer& printer, const Report& report)
{
    const auto has = [&](Line line) { return report.channels.contains(line); };
    const bool hasClock = has(Line::Clock);
    const struct {
        bool applies;
        const char* text;
    } limits[] = {
        {!hasClock, "without clk, the display is not decoded"},
        {hasClock && !has(Line::Mosi), "without mosi, the transfers are measured, but not decoded"},
        {hasClock && has(Line::Mosi) && !has(Line::DataCommand),
         "without dc, the bytes to the display are logged, but not decoded"},
        {hasClock && !has(Line::ChipSelect),
         "without cs, the transfers are separated by dc and by pauses of the clock"},
        {hasClock && !has(Line::Reset), "without reset, the initialisation is not checked"},
        {!has(Line::Scl) || !has(Line::Sda), "the LEDs are decoded only with both scl and sda"},
    };
    for (const auto& limit : limits) {
        if (limit.applies) {
            printer.row("", limit.text);
        }
    }
}

void printBringUp(Printer& printer, const Report& report)
{
    const BringUpCheck& check = report.decoder.display().bringUp();
    const bool isCorrect = check.correctCount() > 0 && check.firstDifference().empty();
    constexpr Line required[] = {Line::Clock, Line::Mosi, Line::DataCommand, Line::Reset};
    const bool isChecked = std::all_of(std::begin(required), std::end(required),
                                       [&](Line line) { return report.channels.contains(line); });
    std::string verdict = isChecked ? "not in the capture" : "not checked";
    if (!check.firstDifference().empty()) {
        verdict = printer.styled(Style::Bad, "wrong") + " " + check.firstDifference();
    } else if (isCorrect) {
        verdict = printer.styled(Style::Good, "correct");
        verdict += check.correctCount() > 1 ? ", " + std::to_string(check.correctCount()) + " times" : "";
    } else if (isChecked && !check.waits().empty()) {
        verdict = "incomplete";
    }
    printer.section("Initialisation", verdict);
    for (const BringUpCheck::Wait& wait : check.waits()) {
        constexpr std::size_t nameWidth = 30;
        constexpr std::size_t timeWidth = 10;
        const std::string measured = wait.measured ? durationText(*wait.measured) : "unknown";
        const std::string text = Printer::rightAligned(measured, timeWidth);
        printer.line("  " + Printer::padded(wait.name, nameWidth) +
                     (wait.isLongEnough() ? text : printer.styled(Style::Bad, text)) + "  at least " +
                     std::to_string(wait.required.count()) + " ms");
    }
}

void printScreens(Printer& printer, const Report& report)
{
    const Results& results = report.results;
    printer.section("Screens", std::to_string(results.distinctScreens()) + " distinct, of which " +
                                   std::to_string(results.knownScreens().size()) + " are golden screens");
    constexpr std::size_t timeWidth = 18;
    for (const Results::Entry& screen : results.knownScreens()) {
        printer.line(Printer::rightAligned(timeText(screen.time), timeWidth) + "  " + screen.text);
    }
    if (results.lastScreen()) {
        const Results::Entry& last = *results.lastScreen();
        printer.row("last", (last.text.empty() ? "not a golden screen" : last.text) + ", since " + timeText(last.time));
    }
}

void printLeds(Printer& printer, const Report& report)
{
    const LedDecoder& leds = report.decoder.leds();
    if (leds.acknowledged() + leds.refused() == 0) {
        printer.section("LEDs", "no messages");
        return;
    }
    printer.section("LEDs", ledText(leds.outputs()));
    printer.row("messages", std::to_string(leds.acknowledged()) + " acknowledged, " + std::to_string(leds.refused()) +
                                " not acknowledged");
}

void printTiming(Printer& printer, const Report& report)
{
    const Decoder& decoder = report.decoder;
    const Spread& period = decoder.spi().clockPeriod();
    const BusTiming& bus = decoder.display().timing();
    printer.section("Timing", "");
    if (period.count() > 0) {
        printer.row("clock", frequencyText(period.mean()) + ", high for " +
                                 share(decoder.spi().clockHigh().sum(), period.sum()) + " of the period, which is " +
                                 durationText(period.shortest()) + " to " + durationText(period.longest()));
    }
    if (bus.transfers().count() > 0) {
        printer.row("transfers", std::to_string(bus.transfers().count()) + " with " +
                                     countText(bus.byteCount(), "byte") + "; the bus is busy for " +
                                     share(bus.transfers().sum(), report.end - report.begin) + " of the time");
    }
    if (bus.idleGaps().count() > 0) {
        printer.row("idle gaps", rangeText(bus.idleGaps()));
    }
    if (decoder.display().frames().count() > 0) {
        printer.row("frames",
                    std::to_string(decoder.display().frames().count()) + "; " + rangeText(decoder.display().frames()));
    }
    if (decoder.display().redraws().count() > 0) {
        printer.row("redraw period", rangeText(decoder.display().redraws()));
    }
    if (decoder.i2c().clockPeriod().count() > 0) {
        printer.row("I2C clock", frequencyText(decoder.i2c().clockPeriod().mean()));
    }
}

void printGlitches(Printer& printer, const Report& report)
{
    std::string text;
    for (const auto& [line, channel] : report.channels) {
        const std::uint64_t count = report.decoder.filter().glitches(line);
        if (count > 0) {
            text += (text.empty() ? "" : ", ") + std::to_string(count) + " on " + std::string(nameOf(line));
        }
    }
    if (!text.empty()) {
        printer.section("Glitches", "ignored " + text);
    }
}

void printEntries(Printer& printer, const std::string& label, const Results::Entries& entries, Style style)
{
    printer.section(label, entries.count == 0 ? "none" : printer.styled(style, std::to_string(entries.count)));
    constexpr std::size_t timeWidth = 18;
    for (const Results::Entry& entry : entries.first) {
        printer.line(Printer::rightAligned(timeText(entry.time), timeWidth) + "  " + entry.text);
    }
    if (entries.count > entries.first.size()) {
        printer.line("  and " + std::to_string(entries.count - entries.first.size()) + " others: see log.txt");
    }
}

void printExpectations(Printer& printer, const Report& report)
{
    if (report.expectations.empty()) {
        return;
    }
    printer.section("Expected", "");
    constexpr std::size_t nameWidth = 34;
    for (const Expectation& expectation : report.expectations) {
        const std::string verdict =
            expectation.isMet ? printer.styled(Style::Good, "found") : printer.styled(Style::Bad, "not found");
        printer.line("  " + Printer::padded(expectation.text, nameWidth) + verdict +
                     (expectation.detail.empty() ? "" : ": " + expectation.detail));
    }
}

} // namespace

bool Report::isPassed() const
{
    const bool areMet = std::all_of(expectations.begin(), expectations.end(),
                                    [](const Expectation& expectation) { return expectation.isMet; });
    return areMet && results.violations().count == 0 && damage.empty();
}

void Report::print(std::ostream& out, bool isColoured) const
{
    Printer printer(out, isColoured);
    printer.line(printer.styled(Style::Heading, capture) + ": " + durationText(end - begin) + ", " + sizeText(size) +
                 " of VCD, timescale " + timescale);
    printChannels(printer, *this);
    printLimits(printer, *this);
    printBringUp(printer, *this);
    printScreens(printer, *this);
    printLeds(printer, *this);
    printTiming(printer, *this);
    printGlitches(printer, *this);
    if (results.notes().count > 0) {
        printEntries(printer, "Notes", results.notes(), Style::Plain);
    }
    printEntries(printer, "Violations", results.violations(), Style::Bad);
    printExpectations(printer, *this);
    if (!damage.empty()) {
        printer.section("Damaged", printer.styled(Style::Bad, damage));
        printer.row("", "The report describes the capture up to there.");
    }
    const std::string verdict =
        isPassed() ? printer.styled(Style::Good, "Passed.") : printer.styled(Style::Bad, "Failed.");
    printer.line("\n" + verdict + " The folder " + output.string() + " contains the log and the screens.");
}

} // namespace sim
