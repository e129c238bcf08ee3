// Builds captures from the bytes on the buses, modifies captures, and decodes them.
#pragma once

#include "sim/decode/captured_edge.h"
#include "sim/decode/decoder.h"
#include "sim/models/screen.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;
using Edges = std::vector<sim::CapturedEdge>;

/// The edges on the wires, in the order of their times. SPI uses mode 3 at 12.5 MHz, and I2C runs at 100 kHz.
/// Each operation returns the object, so that calls can be chained.
class Capture {
public:
    using Duration = std::chrono::nanoseconds;

    /// Sets the initial levels of the lines at time 0. The operations begin at 1 µs.
    Capture();

    Capture& wait(Duration duration);
    Capture& set(sim::Line line, sim::Level level);
    Capture& low(sim::Line line) { return set(line, sim::Level::Low); }
    Capture& high(sim::Line line) { return set(line, sim::Level::High); }
    /// One SPI transfer.
    Capture& transfer(const Bytes& bytes);
    /// A command byte and its parameters. Each byte is one transfer.
    Capture& command(std::uint8_t code, const Bytes& parameters = {});
    /// Data bytes in one transfer.
    Capture& data(const Bytes& bytes);
    Capture& reset();
    /// A short initialisation: resets the display, sets the address window to 4 columns of one page, and switches the
    /// display on.
    Capture& light();
    /// The complete bring-up that BringUpCheck accepts.
    Capture& bringUp();
    /// Writes bytes to the display memory, from the beginning of the address window.
    Capture& frame(const Bytes& bytes) { return command(0x5C).data(bytes); }
    /// An I2C message; the first byte contains the address and the R/W bit.
    Capture& i2c(const Bytes& bytes, bool isAcknowledged = true);

    [[nodiscard]] Duration now() const { return time; }
    [[nodiscard]] const Edges& edges() const { return all; }
    /// The text of a VCD file with the edges.
    [[nodiscard]] std::string vcd() const { return vcdOf(all, time); }

    static std::string vcdOf(const Edges& edges, Duration end);

private:
    template <typename Signal>
    void addAll(Signal& signal);
    void add(sim::Line line, sim::Level level, Duration at);

    Duration time{};
    Edges all;
};

/// The bytes of a frame that shows the screen.
Bytes frameOf(const sim::Screen& screen);

// Modified captures.

/// Exchanges two channels.
Edges swapped(Edges edges, sim::Line a, sim::Line b);
Edges inverted(Edges edges, sim::Line line);
/// The edges at or after `from` and before `to`, preceded by the level of each line just before `from`. An
/// undefined level before `from` becomes low.
Edges part(const Edges& edges, std::chrono::nanoseconds from, std::chrono::nanoseconds to);
/// The edges that a logic analyser with this sampling period records.
Edges sampled(const Edges& edges, std::chrono::nanoseconds period);
Edges without(Edges edges, sim::Line line);
/// Delays each edge after time 0 by a pseudo-random time of at most `most`.
Edges jittered(Edges edges, std::chrono::nanoseconds most);
/// Adds a pulse of length `length` to the line, `delay` after each of its edges except those at time 0.
Edges withGlitches(const Edges& edges, sim::Line line, std::chrono::nanoseconds delay, std::chrono::nanoseconds length);

/// Decodes edges, and keeps the events, notes, violations and screens that the decoder reports.
class Decoded : public sim::DecodeListener {
public:
    explicit Decoded(const Edges& edges, const sim::Decoder::Setup& setup = {});

    void event(sim::CaptureTime time, const std::string& text) override;
    void note(sim::CaptureTime time, const std::string& text) override;
    void violation(sim::CaptureTime time, const std::string& text) override;
    void screen(sim::CaptureTime time, const sim::Screen& screen) override;

    std::vector<std::string> events;
    std::vector<std::string> notes;
    std::vector<std::string> violations;
    std::vector<sim::CaptureTime> violationTimes;
    /// The first four pixels of the top row of each screen, one digit per pixel.
    std::vector<std::string> screens;
    std::vector<sim::CaptureTime> screenTimes;
    sim::Decoder decoder;
};
