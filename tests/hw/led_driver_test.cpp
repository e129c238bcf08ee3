// Tests of the LED driver: the bytes that it sends to the LED controller.
#include "hw/led_driver.h"

#include "hw/i2c_bus.h"
#include "tests/support/system_calls.h"

#include <gtest/gtest.h>

namespace {

const std::string allOff = "i2c write 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
const std::string allOn = "i2c write 01 FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF 00";

class Leds : public testing::Test {
protected:
    Leds() { calls.takeLog(); }

    /// Flushes and returns the log entry of the write.
    std::string flushed()
    {
        calls.takeLog();
        leds.flush();
        const Log log = calls.takeLog();
        EXPECT_EQ(log.size(), 2U);
        EXPECT_EQ(log.front(), "address 6C");
        return log.back();
    }

    SystemCalls calls;
    I2cBus bus{22};
    LedDriver leds{bus, 0x6C};
};

TEST_F(Leds, InitWakesTheControllerAndWritesTheOutputSettingsInAscendingOrder)
{
    LedDriver other;
    EXPECT_EQ(calls.takeLog(), Log());
    other.init(bus, 0x30);
    Log expected = {"address 30", "i2c write 2F 00", "i2c write 00 01"};
    for (const char* reg :
         {"14", "15", "16", "17", "18", "19", "1A", "1B", "1C", "1D", "1E", "1F", "20", "21", "22", "23", "24", "25"}) {
        expected.push_back(std::string("i2c write ") + reg + " 10");
    }
    EXPECT_EQ(calls.takeLog(), expected);
}

TEST_F(Leds, TheConstructorWithABusCallsInit)
{
    leds.init(bus, 0x6C);
    const Log initialisation = calls.takeLog();
    const LedDriver other(bus, 0x6C);
    EXPECT_EQ(calls.takeLog(), initialisation);
}

TEST_F(Leds, TheFlushAfterInitTurnsAllLedsOff)
{
    EXPECT_EQ(flushed(), allOff);
    leds.setLevel(10);
    leds.setRgb(0, 0xFFFFFF);
    leds.init(bus, 0x6C);
    EXPECT_EQ(flushed(), allOff);
}

TEST_F(Leds, SettersSendNothing)
{
    leds.setLevel(10);
    leds.setRgb(1, 0xFFFFFF);
    EXPECT_EQ(calls.takeLog(), Log());
}

TEST_F(Leds, EachFlushSelectsTheAddressAndSends20Bytes)
{
    leds.setLevel(10);
    for (std::uint8_t i = 0; i < 4; ++i) {
        leds.setRgb(i, 0xFFFFFFFF);
    }
    EXPECT_EQ(flushed(), allOn);
    EXPECT_EQ(flushed(), allOn);
}

TEST_F(Leds, SetLevelSetsOnlyTheSixBarOutputs)
{
    const std::pair<std::uint8_t, const char*> cases[] = {
        {0, "00 00 00 00 00 00"},   {1, "08 00 00 00 00 00"},   {2, "10 00 00 00 00 00"},  {3, "40 00 00 00 00 00"},
        {4, "C0 00 00 00 00 00"},   {5, "FF 00 00 00 00 00"},   {6, "FF FF 00 00 00 00"},  {7, "FF FF FF 00 00 00"},
        {8, "FF FF FF FF 00 00"},   {9, "FF FF FF FF FF 00"},   {10, "FF FF FF FF FF FF"}, {11, "FF FF FF FF FF FF"},
        {200, "FF FF FF FF FF FF"}, {255, "FF FF FF FF FF FF"},
    };
    leds.setRgb(0, 0x010203);
    leds.setRgb(1, 0x040506);
    leds.setRgb(2, 0x070809);
    leds.setRgb(3, 0x0A0B0C);
    for (const auto previous : std::initializer_list<std::uint8_t>{0, 10}) {
        for (const auto& [level, bar] : cases) {
            leds.setLevel(previous);
            leds.setLevel(level);
            EXPECT_EQ(flushed(), "i2c write 01 07 08 09 0A 0B 0C 06 04 05 01 02 03 " + std::string(bar) + " 00")
                << "level " << int{level} << " after " << int{previous};
        }
    }
}

TEST_F(Leds, SetRgbSetsOnlyTheThreeOutputsOfTheLed)
{
    const std::pair<std::uint8_t, std::string> cases[] = {
        {0, "i2c write 01 00 00 00 00 00 00 00 00 00 11 22 33 00 00 00 00 00 00 00"},
        {1, "i2c write 01 00 00 00 00 00 00 33 11 22 00 00 00 00 00 00 00 00 00 00"},
        {2, "i2c write 01 11 22 33 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        {3, "i2c write 01 00 00 00 11 22 33 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        {4, allOff},
        {255, allOff},
    };
    for (const auto& [index, expected] : cases) {
        leds.init(bus, 0x6C);
        leds.setRgb(index, 0xFF112233); // the bits above the colour are ignored
        EXPECT_EQ(flushed(), expected) << "LED " << int{index};
    }
}

TEST_F(Leds, IgnoresBusFailures)
{
    calls.writeLimit = -1;
    testing::internal::CaptureStderr();
    leds.init(bus, 0x6C);
    leds.setLevel(3);
    EXPECT_EQ(flushed(), "i2c write 01 00 00 00 00 00 00 00 00 00 00 00 00 40 00 00 00 00 00 00");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
