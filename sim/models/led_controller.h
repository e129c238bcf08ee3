// The LED controller on the I2C bus: eighteen brightness outputs and a register file.
#pragma once

#include "sim/models/violations.h"

#include <array>
#include <cstdint>
#include <span>

namespace sim {

/// The first byte of a write is a register number. The remaining bytes are written to that register and to the
/// registers that follow it.
class LedController {
public:
    static constexpr std::uint8_t address = 0x6C;
    static constexpr std::size_t outputCount = 18;
    /// The outputs for red, green and blue of each LED. The order differs for LED 1 (counted from 0).
    static constexpr std::array<std::array<std::size_t, 3>, 4> rgbOutputs = {
        {{9, 10, 11}, {7, 8, 6}, {0, 1, 2}, {3, 4, 5}}};
    /// The outputs from this one to the last belong to the bar.
    static constexpr std::size_t firstBarOutput = 12;

    explicit LedController(Violations& violationList) : violations(violationList) {}

    void write(std::span<const std::uint8_t> bytes);
    /// Returns the value of the register whose number was the first byte of the last write; 0 if there is no such
    /// register.
    [[nodiscard]] std::uint8_t read() const;

    /// The brightness of the outputs, in register order; 0 while the controller or the output is disabled.
    [[nodiscard]] std::array<std::uint8_t, outputCount> outputs() const;

private:
    void writeRegister(std::size_t reg, std::uint8_t value);

    static constexpr std::size_t registerCount = 0x30;

    Violations& violations;
    std::array<std::uint8_t, registerCount> registers{};
    /// The brightness registers at the last write to the update register.
    std::array<std::uint8_t, outputCount> latched{};
    std::uint8_t pointer = 0;
};

} // namespace sim
