// Decodes the I2C messages to the LED controller with the simulator's model.
#pragma once

#include "sim/decode/decode_listener.h"
#include "sim/decode/i2c_decoder.h"
#include "sim/models/led_controller.h"
#include "sim/models/violations.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace sim {

class LedDecoder : public I2cListener {
public:
    explicit LedDecoder(DecodeListener& decodeListener) : listener(decodeListener) { powerOn(); }

    void powerOn() { model.emplace(violations); }
    void messageEnds(const I2cMessage& message) override;
    void messageIsCutOff(CaptureTime time, CutOff reason) override;

    [[nodiscard]] std::array<std::uint8_t, LedController::outputCount> outputs() const { return model->outputs(); }
    /// Messages to the controller that it acknowledged completely.
    [[nodiscard]] std::uint64_t acknowledged() const { return good; }
    /// Messages to the controller that it did not acknowledge completely.
    [[nodiscard]] std::uint64_t refused() const { return nacks; }
    /// The number of violations, including messages that end within a byte.
    [[nodiscard]] std::uint64_t badMessages() const { return bad; }

private:
    void take(const I2cMessage& message);
    void reportViolation(CaptureTime time, const std::string& text);

    DecodeListener& listener;
    Violations violations;
    std::optional<LedController> model;
    std::uint64_t good = 0;
    std::uint64_t nacks = 0;
    std::uint64_t bad = 0;
};

/// The LEDs in one line: "all off", or four colours and the brightness of the bar's six LEDs.
[[nodiscard]] std::string ledText(const std::array<std::uint8_t, LedController::outputCount>& outputs);

} // namespace sim
