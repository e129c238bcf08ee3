// Registers, latching and reset of the LED controller.
#include "sim/models/led_controller.h"

#include <algorithm>
#include <string>

namespace sim {

namespace {

constexpr std::size_t enableRegister = 0x00;
constexpr std::size_t firstBrightness = 0x01;
constexpr std::size_t updateRegister = 0x13;
constexpr std::size_t firstSetting = 0x14;
constexpr std::size_t resetRegister = 0x2F;

} // namespace

void LedController::write(std::span<const std::uint8_t> bytes)
{
    if (bytes.empty()) {
        violations.add("an empty I2C write");
        return;
    }
    pointer = bytes[0];
    for (std::size_t i = 1; i < bytes.size(); ++i) {
        writeRegister(pointer + i - 1, bytes[i]);
    }
}

void LedController::writeRegister(std::size_t reg, std::uint8_t value)
{
    if (reg >= registerCount) {
        violations.add("LED controller register " + std::to_string(reg) + " does not exist");
        return;
    }
    registers[reg] = value;
    if (reg == resetRegister) {
        registers.fill(0);
        latched.fill(0);
    } else if (reg == updateRegister) {
        std::copy_n(registers.begin() + firstBrightness, outputCount, latched.begin());
    }
}

std::uint8_t LedController::read() const
{
    return pointer < registerCount ? registers[pointer] : 0;
}

std::array<std::uint8_t, LedController::outputCount> LedController::outputs() const
{
    std::array<std::uint8_t, outputCount> result{};
    for (std::size_t i = 0; i < outputCount && (registers[enableRegister] & 1U) != 0; ++i) {
        result[i] = registers[firstSetting + i] != 0 ? latched[i] : 0;
    }
    return result;
}

} // namespace sim
