// The registers of the LED controller.
#include "hw/led_driver.h"

#include "hw/i2c_bus.h"

#include <algorithm>

namespace {

struct RegisterValue {
    std::uint8_t reg;
    std::uint8_t value;
};

constexpr std::array<RegisterValue, 2> wakeUp = {{
    {0x2F, 0x00},
    {0x00, 0x01},
}};

constexpr std::uint8_t firstOutputSetting = 0x14;
constexpr std::uint8_t lastOutputSetting = 0x25;
constexpr std::uint8_t outputSetting = 0x10;

constexpr std::size_t barFirstRegister = 0x0D;
constexpr std::size_t barLength = 6;

// Levels 1 to 5 raise the brightness of the first LED in uneven steps; each further level turns on another LED.
constexpr std::array<std::array<std::uint8_t, barLength>, 11> barLevels = {{
    {0, 0, 0, 0, 0, 0},
    {8, 0, 0, 0, 0, 0},
    {16, 0, 0, 0, 0, 0},
    {64, 0, 0, 0, 0, 0},
    {192, 0, 0, 0, 0, 0},
    {255, 0, 0, 0, 0, 0},
    {255, 255, 0, 0, 0, 0},
    {255, 255, 255, 0, 0, 0},
    {255, 255, 255, 255, 0, 0},
    {255, 255, 255, 255, 255, 0},
    {255, 255, 255, 255, 255, 255},
}};

struct RgbRegisters {
    std::uint8_t red;
    std::uint8_t green;
    std::uint8_t blue;
};

constexpr std::array<RgbRegisters, 4> rgbRegisters = {{
    {0x0A, 0x0B, 0x0C},
    {0x08, 0x09, 0x07}, // deliberate: the channels of this LED are wired in a different order
    {0x01, 0x02, 0x03},
    {0x04, 0x05, 0x06},
}};

} // namespace

void LedDriver::init(I2cBus& ledBus, std::uint8_t ledAddress)
{
    bus = &ledBus;
    address = ledAddress;
    registerBlock = {firstRegister};

    bus->setSlave(address);
    for (const auto& [reg, value] : wakeUp) {
        bus->writeRegister(reg, value);
    }
    for (std::uint8_t reg = firstOutputSetting; reg <= lastOutputSetting; ++reg) {
        bus->writeRegister(reg, outputSetting);
    }
}

void LedDriver::setLevel(std::uint8_t level)
{
    const auto& bar = barLevels[std::min<std::size_t>(level, barLevels.size() - 1)];
    std::copy(bar.begin(), bar.end(), registerBlock.begin() + barFirstRegister);
}

void LedDriver::setRgb(std::uint8_t index, std::uint32_t colour)
{
    if (index < rgbRegisters.size()) {
        const RgbRegisters& led = rgbRegisters[index];
        registerBlock[led.red] = static_cast<std::uint8_t>(colour >> 16);
        registerBlock[led.green] = static_cast<std::uint8_t>(colour >> 8);
        registerBlock[led.blue] = static_cast<std::uint8_t>(colour);
    }
}

void LedDriver::flush()
{
    bus->setSlave(address);
    bus->writeBytes(registerBlock.data(), static_cast<std::uint8_t>(registerBlock.size()));
}
