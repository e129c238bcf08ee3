// Decodes SPI transfers from clock, data and chip select.
#pragma once

#include "sim/decode/captured_edge.h"
#include "sim/decode/spread.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace sim {

struct SpiTransfer {
    CaptureTime begin{};
    CaptureTime end{};
    /// At most `SpiDecoder::longestTransfer` bytes.
    std::span<const std::uint8_t> bytes{};
    std::uint64_t byteCount = 0;
    /// The number of bits after the last complete byte.
    int spareBits = 0;
    /// Whether the data are sampled at the first of the two clock edges of a bit, as in SPI modes 0 and 2. False if
    /// chip select is not in the capture.
    bool samplesLeadingEdge = false;
};

class SpiListener {
public:
    SpiListener() = default;
    SpiListener(const SpiListener&) = delete;
    SpiListener& operator=(const SpiListener&) = delete;
    virtual ~SpiListener() = default;

    virtual void transferBegins(CaptureTime time) = 0;
    virtual void transferEnds(const SpiTransfer& transfer) = 0;
    /// `byteCount` is the number of bytes of the incomplete transfer that are in the capture.
    virtual void transferIsCutOff(CaptureTime time, std::uint64_t byteCount, CutOff reason) = 0;
};

/// Samples the data at rising clock edges (falling edges with `samplesFallingEdges`) while chip select is low. If chip
/// select is not in the capture, changes of data/command and pauses of the clock delimit the transfers.
class SpiDecoder {
public:
    static constexpr std::size_t longestTransfer = 65536;

    struct Setup {
        bool hasChipSelect = true;
        bool samplesFallingEdges = false;
    };

    SpiDecoder(Setup wiring, SpiListener& spiListener) : setup(wiring), listener(spiListener) {}

    void takeClock(CaptureTime time, Level level);
    void takeData(CaptureTime time, Level level);
    void takeChipSelect(CaptureTime time, Level level);
    /// Must be called when data/command changes, before the listener receives the change.
    void takeDataCommandChange();
    /// Must be called at the end of the capture, and when the power is switched off.
    void finish(CaptureTime time, CutOff reason);

    /// Between successive bits of a byte: the time from one sampling edge to the next, and the part of it during which
    /// the clock is high.
    [[nodiscard]] const Spread& clockPeriod() const { return period; }
    [[nodiscard]] const Spread& clockHigh() const { return high; }
    /// From the last sampling edge to each change of the data within a byte.
    [[nodiscard]] const Spread& dataDelay() const { return delay; }
    [[nodiscard]] std::uint64_t clockEdges() const { return edges; }

private:
    void begin(CaptureTime time);
    void end(CaptureTime time);
    void sample(CaptureTime time);
    void measure(CaptureTime time);
    [[nodiscard]] bool isAfterPause(CaptureTime time) const;

    Setup setup;
    SpiListener& listener;

    std::optional<Level> chipSelect;
    Level clock = Level::Undefined;
    Level data = Level::Undefined;
    bool isInTransfer = false;
    bool isCutOff = false;
    SpiTransfer current;
    std::vector<std::uint8_t> bytes;
    unsigned shiftRegister = 0;
    int bits = 0;

    CaptureTime lastSample{};
    CaptureTime lastOtherEdge{};
    Spread period;
    Spread high;
    Spread delay;
    std::uint64_t edges = 0;
};

} // namespace sim
