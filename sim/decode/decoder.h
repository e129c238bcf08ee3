// Decodes all lines of the board.
#pragma once

#include "sim/decode/captured_edge.h"
#include "sim/decode/decode_listener.h"
#include "sim/decode/display_decoder.h"
#include "sim/decode/edge_filter.h"
#include "sim/decode/i2c_decoder.h"
#include "sim/decode/led_decoder.h"
#include "sim/decode/panel_decoder.h"
#include "sim/decode/spi_decoder.h"

namespace sim {

class Decoder : private EdgeSink, private DecodeListener {
public:
    struct Setup {
        /// Whether the line is in the capture.
        PerLine<bool> isPresent{true};
        /// Shorter pulses are glitches.
        CaptureTime shortestPulse = std::chrono::nanoseconds(15);
        bool samplesFallingEdges = false;
    };

    Decoder(const Setup& setup, DecodeListener& decodeListener);

    /// Accepts the edges of the capture.
    [[nodiscard]] EdgeSink& input() { return edgeFilter; }
    void finish(CaptureTime time);

    [[nodiscard]] const EdgeFilter& filter() const { return edgeFilter; }
    [[nodiscard]] const SpiDecoder& spi() const { return spiDecoder; }
    [[nodiscard]] const I2cDecoder& i2c() const { return i2cDecoder; }
    [[nodiscard]] const DisplayDecoder& display() const { return displayDecoder; }
    [[nodiscard]] const LedDecoder& leds() const { return ledDecoder; }

private:
    void checkMode(CaptureTime time);
    void take(const CapturedEdge& edge) override;
    void event(CaptureTime time, const std::string& text) override;
    void note(CaptureTime time, const std::string& text) override;
    void violation(CaptureTime time, const std::string& text) override;
    void screen(CaptureTime time, const Screen& screen) override;

    DecodeListener& listener;
    bool hasClock;
    EdgeFilter edgeFilter;
    DisplayDecoder displayDecoder;
    SpiDecoder spiDecoder;
    /// The LED decoder and the panel decoder report to this object, which first logs the pending display command.
    LedDecoder ledDecoder;
    I2cDecoder i2cDecoder;
    PanelDecoder panelDecoder;
};

} // namespace sim
