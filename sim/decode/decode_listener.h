// Receives the results of decoding.
#pragma once

#include "sim/decode/captured_edge.h"
#include "sim/models/screen.h"

#include <string>

namespace sim {

class DecodeListener {
public:
    DecodeListener() = default;
    DecodeListener(const DecodeListener&) = delete;
    DecodeListener& operator=(const DecodeListener&) = delete;
    virtual ~DecodeListener() = default;

    /// A command, a transfer, an I2C message, or a change of a line or of the LEDs, as one line of text.
    virtual void event(CaptureTime time, const std::string& text) = 0;
    /// Something unusual that the hardware allows, or a limitation of the capture.
    virtual void note(CaptureTime time, const std::string& text) = 0;
    /// Something that the hardware does not allow.
    virtual void violation(CaptureTime time, const std::string& text) = 0;
    /// The display is lit, and its screen has changed.
    virtual void screen(CaptureTime time, const Screen& screen) = 0;
};

} // namespace sim
