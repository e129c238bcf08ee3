// The LED controller: eighteen brightness outputs for four RGB LEDs and a bar of six LEDs.
#pragma once

#include <array>
#include <cstdint>

class I2cBus;

/// Brightness is 0 (off) to 255 (full). `setLevel` and `setRgb` change only a copy of the registers; `flush` sends the
/// copy. Bus failures are ignored, because the device works without LEDs.
class LedDriver {
public:
    LedDriver() = default;
    LedDriver(I2cBus& ledBus, std::uint8_t ledAddress) { init(ledBus, ledAddress); }

    /// Initialises the controller at the 7-bit address `ledAddress` and turns all LEDs off in the copy. The bus must
    /// outlive the driver.
    void init(I2cBus& ledBus, std::uint8_t ledAddress);
    /// Sets the bar: 0 turns all six LEDs off; 10 and above turn all six on fully.
    void setLevel(std::uint8_t level);
    /// Sets the RGB LED `index`, 0 to 3; ignores other indices. `colour` is 0xRRGGBB.
    void setRgb(std::uint8_t index, std::uint32_t colour);
    void flush();

private:
    static constexpr std::uint8_t firstRegister = 0x01;
    static constexpr std::uint8_t lastRegister = 0x13;

    I2cBus* bus = nullptr;
    std::uint8_t address = 0;
    /// The bytes of one write: the number of the first register, then the values of the registers from the first to the
    /// last. The value of register k is byte k.
    std::array<std::uint8_t, lastRegister + 1> registerBlock{};
};
