// The LED controller: four RGB LEDs and a bar of six, eighteen brightness outputs in all.
#pragma once

#include <array>
#include <cstdint>

class I2cBus;

/// Brightness goes from 0 (off) to 255 (full). The set operations change a copy of the registers; `flush` sends it.
/// Failures of the bus are ignored: without its LEDs the device works all the same.
class LedDriver {
public:
    LedDriver() = default;
    LedDriver(I2cBus& ledBus, std::uint8_t ledAddress) { init(ledBus, ledAddress); }

    /// Sets up the controller at the 7-bit `ledAddress`; all LEDs are off in the copy. The bus must outlive the driver.
    void init(I2cBus& ledBus, std::uint8_t ledAddress);
    /// The bar, from 0 (dark) to 10 and above (all six LEDs full).
    void setLevel(std::uint8_t level);
    /// `index` is 0 to 3, any other changes nothing; `colour` is 0xRRGGBB.
    void setRgb(std::uint8_t index, std::uint32_t colour);
    void flush();

private:
    static constexpr std::uint8_t firstRegister = 0x01;
    static constexpr std::uint8_t lastRegister = 0x13;

    I2cBus* bus = nullptr;
    std::uint8_t address = 0;
    /// One write: the number of the first register, then the values from there on. So byte k is register k.
    std::array<std::uint8_t, lastRegister + 1> registerBlock{};
};
