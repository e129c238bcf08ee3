// Logs the button and the encoder.
#pragma once

#include "sim/decode/captured_edge.h"
#include "sim/decode/decode_listener.h"

#include <optional>

namespace sim {

class PanelDecoder {
public:
    explicit PanelDecoder(DecodeListener& decodeListener) : listener(decodeListener) {}

    void takeButton(CaptureTime time, Level level);
    void takeEncoder(CaptureTime time, Line line, Level level);

private:
    DecodeListener& listener;
    std::optional<Level> button;
    std::optional<Level> a;
    std::optional<Level> b;
    /// Quarters of a step since both lines were last high; negative for the other direction.
    int quarters = 0;
};

} // namespace sim
