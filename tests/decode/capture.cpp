// Generates, modifies and decodes edges, and formats them as a VCD file.
#include "tests/decode/capture.h"

#include "sim/decode/display_commands.h"
#include "sim/wires/i2c_signal.h"
#include "sim/wires/spi_signal.h"
#include "sim/wires/vcd_writer.h"

#include <algorithm>
#include <map>
#include <optional>
#include <sstream>

namespace {

using sim::CapturedEdge;
using sim::Level;
using sim::Line;
using namespace std::chrono_literals;

constexpr std::chrono::nanoseconds byteTime = 640ns;
constexpr auto gap = 1us;

Level levelOf(bool isHigh)
{
    return isHigh ? Level::High : Level::Low;
}

char codeOf(Line line)
{
    return static_cast<char>('!' + static_cast<int>(line));
}

Edges sorted(Edges edges)
{
    std::stable_sort(edges.begin(), edges.end(),
                     [](const CapturedEdge& a, const CapturedEdge& b) { return a.time < b.time; });
    return edges;
}

} // namespace

Capture::Capture()
{
    for (std::size_t i = 0; i < sim::lineCount; ++i) {
        add(static_cast<Line>(i), sim::initialLevels[i], 0ns);
    }
    time = 1us;
}

template <typename Signal>
void Capture::addAll(Signal& signal)
{
    for (; !signal.isOver(); signal.advance()) {
        add(signal.next().line, signal.next().level, signal.next().time);
    }
}

void Capture::add(Line line, Level level, Duration at)
{
    all.push_back({at, line, level});
}

Capture& Capture::wait(Duration duration)
{
    time += duration;
    return *this;
}

Capture& Capture::set(Line line, Level level)
{
    add(line, level, time);
    return *this;
}

Capture& Capture::transfer(const Bytes& bytes)
{
    sim::SpiSignal signal;
    signal.begin(time, byteTime * bytes.size(), bytes);
    addAll(signal);
    return wait(byteTime * bytes.size() + gap);
}

Capture& Capture::command(std::uint8_t code, const Bytes& parameters)
{
    low(Line::DataCommand).wait(gap).transfer({code});
    for (const std::uint8_t parameter : parameters) {
        data({parameter});
    }
    return *this;
}

Capture& Capture::data(const Bytes& bytes)
{
    return high(Line::DataCommand).wait(gap).transfer(bytes);
}

Capture& Capture::reset()
{
    return high(Line::Reset).wait(20ms).low(Line::Reset).wait(20ms).high(Line::Reset).wait(200ms);
}

Capture& Capture::light()
{
    reset().command(0x30).command(0x94).command(0x20, {0x0B}).command(0x0C).command(0xF0, {0x11});
    command(0x31).command(0x40).command(0x30).command(0x15, {0, 3}).command(0x75, {0, 0});
    return command(0xAF);
}

Capture& Capture::bringUp()
{
    reset();
    for (const sim::BringUpStep& step : sim::initialisationSteps()) {
        set(Line::DataCommand, levelOf(step.isData)).wait(gap).transfer({step.byte}).wait(step.wait);
    }
    return command(0x5C, Bytes(sim::clearedBytes, 0)).command(0xAF);
}

Capture& Capture::i2c(const Bytes& bytes, bool isAcknowledged)
{
    const sim::I2cTransfer message = {.address = static_cast<std::uint8_t>(bytes.front() >> 1),
                                      .isRead = (bytes.front() & 1) != 0,
                                      .isAcknowledged = isAcknowledged,
                                      .bytes = std::span(bytes).subspan(1)};
    sim::I2cSignal signal;
    signal.begin(time, message);
    addAll(signal);
    return wait(message.duration() + gap);
}

std::string Capture::vcdOf(const Edges& edges, Duration end)
{
    std::ostringstream text;
    text << "$timescale 1 ns $end\n$scope module board $end\n";
    for (std::size_t i = 0; i < sim::lineCount; ++i) {
        text << "$var wire 1 " << codeOf(static_cast<Line>(i)) << ' ' << sim::lineNames[i] << " $end\n";
    }
    text << "$upscope $end\n$enddefinitions $end\n";
    std::optional<sim::CaptureTime> last;
    std::map<Line, Level> levels;
    for (const auto& [time, line, level] : edges) {
        const auto [known, isNew] = levels.emplace(line, level);
        if (!isNew && known->second == level) {
            continue;
        }
        known->second = level;
        if (last != time) {
            text << '#' << std::chrono::duration_cast<std::chrono::nanoseconds>(time).count() << '\n';
        }
        last = time;
        text << "01x"[static_cast<std::size_t>(level)] << codeOf(line) << '\n';
    }
    text << '#' << end.count() << '\n';
    return text.str();
}

Bytes frameOf(const sim::Screen& screen)
{
    Bytes frame(screen.size() / 4);
    for (std::size_t i = 0; i < screen.size(); ++i) {
        const std::size_t row = i / sim::screenWidth;
        const std::size_t column = i % sim::screenWidth;
        frame[row / 4 * sim::screenWidth + column] |= static_cast<std::uint8_t>(screen[i] << (row % 4 * 2));
    }
    return frame;
}

Edges swapped(Edges edges, Line a, Line b)
{
    for (CapturedEdge& edge : edges) {
        edge.line = edge.line == a ? b : edge.line == b ? a : edge.line;
    }
    return edges;
}

Edges inverted(Edges edges, Line line)
{
    for (CapturedEdge& edge : edges) {
        if (edge.line == line && edge.level != Level::Undefined) {
            edge.level = levelOf(edge.level == Level::Low);
        }
    }
    return edges;
}

Edges part(const Edges& edges, std::chrono::nanoseconds from, std::chrono::nanoseconds to)
{
    std::map<Line, Level> levels;
    Edges result;
    for (const CapturedEdge& edge : sorted(edges)) {
        if (edge.time < from) {
            levels[edge.line] = edge.level;
        } else if (edge.time < to) {
            result.push_back(edge);
        }
    }
    Edges initial;
    for (const auto& [line, level] : levels) {
        // A logic analyser records a line that nothing drives as low or high.
        initial.push_back({from, line, level == Level::Undefined ? Level::Low : level});
    }
    result.insert(result.begin(), initial.begin(), initial.end());
    return result;
}

Edges sampled(const Edges& edges, std::chrono::nanoseconds period)
{
    std::map<std::pair<std::int64_t, Line>, Level> samples;
    for (const CapturedEdge& edge : sorted(edges)) {
        const sim::CaptureTime step = period;
        samples[{(edge.time.count() + step.count() - 1) / step.count(), edge.line}] = edge.level;
    }
    Edges result;
    for (const auto& [place, level] : samples) {
        result.push_back({place.first * sim::CaptureTime(period), place.second, level});
    }
    return result;
}

Edges without(Edges edges, Line line)
{
    std::erase_if(edges, [&](const CapturedEdge& edge) { return edge.line == line; });
    return edges;
}

Edges jittered(Edges edges, std::chrono::nanoseconds most)
{
    std::uint32_t random = 1;
    for (CapturedEdge& edge : edges) {
        random = random * 1664525 + 1013904223;
        if (edge.time.count() > 0) {
            edge.time += sim::CaptureTime(most) * static_cast<int>(random >> 24U) / 255;
        }
    }
    return sorted(edges);
}

Edges withGlitches(const Edges& edges, Line line, std::chrono::nanoseconds delay, std::chrono::nanoseconds length)
{
    Edges result = edges;
    for (const CapturedEdge& edge : edges) {
        if (edge.line == line && edge.time.count() > 0) {
            result.push_back({edge.time + delay, line, levelOf(edge.level == Level::Low)});
            result.push_back({edge.time + delay + length, line, edge.level});
        }
    }
    return sorted(result);
}

Decoded::Decoded(const Edges& edges, const sim::Decoder::Setup& setup) : decoder(setup, *this)
{
    const Edges ordered = sorted(edges);
    std::map<Line, Level> levels;
    for (const CapturedEdge& edge : ordered) {
        const auto [known, isNew] = levels.emplace(edge.line, edge.level);
        if (isNew || known->second != edge.level) {
            known->second = edge.level;
            decoder.input().take(edge);
        }
    }
    decoder.finish(ordered.empty() ? sim::CaptureTime() : ordered.back().time);
}

void Decoded::event(sim::CaptureTime /*time*/, const std::string& text)
{
    events.push_back(text);
}

void Decoded::note(sim::CaptureTime /*time*/, const std::string& text)
{
    notes.push_back(text);
}

void Decoded::violation(sim::CaptureTime time, const std::string& text)
{
    violations.push_back(text);
    violationTimes.push_back(time);
}

void Decoded::screen(sim::CaptureTime time, const sim::Screen& screen)
{
    constexpr int shown = 4;
    std::string row;
    for (int x = 0; x < shown; ++x) {
        row += static_cast<char>('0' + screen[static_cast<std::size_t>(x)]);
    }
    screens.push_back(row);
    screenTimes.push_back(time);
}
