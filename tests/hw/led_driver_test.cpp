// Tests of what the LED controller is sent.
#include "hw/led_driver.h"

#include "hw/i2c_bus.h"
#include "tests/support/system_calls.h"

#include <gmock/gmock.h>
#include <optional>
#include <ostream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Leds : public testing::Test {
protected:
    Leds() { calls.takeLog(); }

    /// What one flush sends, without the address selection before it.
    std::string flushed()
    {
        calls.takeLog();
        leds.flush();
        const std::vector<std::string> log = calls.takeLog();
        EXPECT_EQ(log.size(), 2U);
        EXPECT_EQ(log.front(), "address 6C");
        return log.back();
    }

    SystemCalls calls;
    I2cBus bus{22};
    LedDriver leds{bus, 0x6C};
};

TEST_F(Leds, SetUpResetsEnablesAndWritesTheOutputSettingsInAscendingOrder)
{
    LedDriver other;
    EXPECT_THAT(calls.takeLog(), IsEmpty());
    other.init(bus, 0x30);
    EXPECT_THAT(calls.takeLog(), ElementsAre("address 30", "i2c write 2F 00", "i2c write 00 01", //
                                             "i2c write 14 10", "i2c write 15 10", "i2c write 16 10", "i2c write 17 10",
                                             "i2c write 18 10", "i2c write 19 10", "i2c write 1A 10", "i2c write 1B 10",
                                             "i2c write 1C 10", "i2c write 1D 10", "i2c write 1E 10", "i2c write 1F 10",
                                             "i2c write 20 10", "i2c write 21 10", "i2c write 22 10", "i2c write 23 10",
                                             "i2c write 24 10", "i2c write 25 10"));
}

TEST_F(Leds, TheConstructorSetsUpAsInitDoes)
{
    leds.init(bus, 0x6C);
    const std::vector<std::string> fromInit = calls.takeLog();
    LedDriver other(bus, 0x6C);
    EXPECT_EQ(calls.takeLog(), fromInit);
}

TEST_F(Leds, AreAllOffAfterSetUp)
{
    EXPECT_EQ(flushed(), "i2c write 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(Leds, SetUpAgainTurnsAllOff)
{
    leds.setLevel(10);
    leds.setRgb(0, 0xFFFFFF);
    leds.init(bus, 0x6C);
    EXPECT_EQ(flushed(), "i2c write 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(Leds, SettingSendsNothing)
{
    calls.takeLog();
    leds.setLevel(10);
    leds.setRgb(1, 0xFFFFFF);
    EXPECT_THAT(calls.takeLog(), IsEmpty());
}

TEST_F(Leds, FlushAlwaysSelectsTheAddressAndSends20BytesFrom01To00)
{
    leds.setLevel(10);
    for (std::uint8_t i = 0; i < 4; ++i) {
        leds.setRgb(i, 0xFFFFFFFF);
    }
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(flushed(), "i2c write 01 FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF 00");
    }
}

struct LevelCase {
    std::uint8_t level;
    const char* bar;
};

void PrintTo(const LevelCase& level, std::ostream* stream)
{
    *stream << "level " << int{level.level};
}

class LedLevel : public Leds, public testing::WithParamInterface<LevelCase> {};

TEST_P(LedLevel, SetsTheSixBarOutputsAndLeavesTheRgbOnes)
{
    leds.setRgb(0, 0x010203);
    leds.setRgb(1, 0x040506);
    leds.setRgb(2, 0x070809);
    leds.setRgb(3, 0x0A0B0C);
    leds.setLevel(static_cast<std::uint8_t>(GetParam().level > 4 ? 0 : 10)); // what was there before does not matter
    leds.setLevel(GetParam().level);
    EXPECT_EQ(flushed(), "i2c write 01 07 08 09 0A 0B 0C 06 04 05 01 02 03 " + std::string(GetParam().bar) + " 00");
}

INSTANTIATE_TEST_SUITE_P(Levels, LedLevel,
                         testing::Values(LevelCase{0, "00 00 00 00 00 00"}, LevelCase{1, "08 00 00 00 00 00"},
                                         LevelCase{2, "10 00 00 00 00 00"}, LevelCase{3, "40 00 00 00 00 00"},
                                         LevelCase{4, "C0 00 00 00 00 00"}, LevelCase{5, "FF 00 00 00 00 00"},
                                         LevelCase{6, "FF FF 00 00 00 00"}, LevelCase{7, "FF FF FF 00 00 00"},
                                         LevelCase{8, "FF FF FF FF 00 00"}, LevelCase{9, "FF FF FF FF FF 00"},
                                         LevelCase{10, "FF FF FF FF FF FF"}, LevelCase{11, "FF FF FF FF FF FF"},
                                         LevelCase{200, "FF FF FF FF FF FF"}, LevelCase{255, "FF FF FF FF FF FF"}),
                         [](const auto& name) { return "Level" + std::to_string(name.param.level); });

TEST_F(Leds, LevelZeroAfterTenClearsTheBar)
{
    leds.setLevel(10);
    leds.setLevel(0);
    EXPECT_EQ(flushed(), "i2c write 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(Leds, ColoursGoToTheirOwnOutputsAndNoOthers)
{
    const std::pair<std::uint8_t, const char*> cases[] = {
        {0, "i2c write 01 00 00 00 00 00 00 00 00 00 11 22 33 00 00 00 00 00 00 00"},
        {1, "i2c write 01 00 00 00 00 00 00 33 11 22 00 00 00 00 00 00 00 00 00 00"},
        {2, "i2c write 01 11 22 33 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        {3, "i2c write 01 00 00 00 11 22 33 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        {4, "i2c write 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
        {255, "i2c write 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"},
    };
    for (const auto& [index, expected] : cases) {
        leds.init(bus, 0x6C);
        leds.setRgb(index, 0x112233);
        EXPECT_EQ(flushed(), expected) << "LED " << int{index};
    }
}

TEST_F(Leds, BitsAboveTheColourAreIgnored)
{
    leds.setRgb(0, 0xFF112233);
    EXPECT_EQ(flushed(), "i2c write 01 00 00 00 00 00 00 00 00 00 11 22 33 00 00 00 00 00 00 00");
}

TEST_F(Leds, AFailingBusIsIgnored)
{
    calls.limitWrites(-1);
    testing::internal::CaptureStderr();
    leds.init(bus, 0x6C);
    leds.setLevel(3);
    EXPECT_EQ(flushed(), "i2c write 01 00 00 00 00 00 00 00 00 00 00 00 00 40 00 00 00 00 00 00");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
