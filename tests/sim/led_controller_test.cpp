// Tests for the LED controller's registers.
#include "sim/models/led_controller.h"

#include "tests/sim/comparisons.h"

#include <initializer_list>
#include <vector>

namespace {

using sim::LedController;

constexpr std::uint8_t enableRegister = 0x00;
constexpr std::uint8_t firstBrightness = 0x01;
constexpr std::uint8_t barBrightness = 0x0D;
constexpr std::size_t barOutput = 12;
constexpr std::uint8_t updateRegister = 0x13;
constexpr std::uint8_t firstSetting = 0x14;
constexpr std::uint8_t resetRegister = 0x2F;

class LedControllerTest : public testing::Test {
protected:
    void write(std::initializer_list<std::uint8_t> bytes)
    {
        const std::vector<std::uint8_t> copy = bytes;
        controller.write(copy);
    }
    void writeFrom(std::uint8_t reg, std::size_t count, std::uint8_t value)
    {
        std::vector<std::uint8_t> bytes(count + 1, value);
        bytes[0] = reg;
        controller.write(bytes);
    }
    void enableAll()
    {
        write({enableRegister, 1});
        writeFrom(firstSetting, LedController::outputCount, 0x10);
    }
    /// Writes 10 + k to the brightness register of output k.
    void writeDistinctBrightness()
    {
        std::vector<std::uint8_t> bytes = {firstBrightness};
        for (std::uint8_t k = 0; k < LedController::outputCount; ++k) {
            bytes.push_back(static_cast<std::uint8_t>(10 + k));
        }
        controller.write(bytes);
    }

    sim::Violations violations;
    LedController controller{violations};
};

TEST_F(LedControllerTest, OutputsAreInitiallyDark)
{
    EXPECT_TRUE(isFilledWith(controller.outputs(), 0));
}

TEST_F(LedControllerTest, EachOutputHasABrightnessRegister)
{
    enableAll();
    writeDistinctBrightness();
    write({updateRegister, 0});
    for (std::size_t k = 0; k < LedController::outputCount; ++k) {
        EXPECT_EQ(controller.outputs()[k], 10 + k);
    }
    EXPECT_EQ(violations.list(), Lines{});
}

TEST_F(LedControllerTest, WritingAnyValueToTheUpdateRegisterLatchesTheBrightness)
{
    enableAll();
    for (const std::uint8_t value : {std::uint8_t{0}, std::uint8_t{0xFF}}) {
        const auto brightness = static_cast<std::uint8_t>(100 + value / 2);
        const auto before = controller.outputs()[barOutput];
        write({barBrightness, brightness});
        EXPECT_EQ(controller.outputs()[barOutput], before);
        write({updateRegister, value});
        EXPECT_EQ(controller.outputs()[barOutput], brightness);
    }
}

TEST_F(LedControllerTest, ABlockThatEndsAtTheUpdateRegisterLatchesTheBrightness)
{
    enableAll();
    std::vector<std::uint8_t> block(20, 0xFF);
    block.front() = firstBrightness;
    block.back() = 0;
    controller.write(block);
    EXPECT_TRUE(isFilledWith(controller.outputs(), 0xFF));
}

TEST_F(LedControllerTest, OutputsAreDarkUntilTheControllerIsEnabled)
{
    writeFrom(firstSetting, LedController::outputCount, 0x10);
    writeDistinctBrightness();
    write({updateRegister, 0});
    for (const std::uint8_t value : {std::uint8_t{0x00}, std::uint8_t{0xFE}}) {
        write({enableRegister, value});
        EXPECT_TRUE(isFilledWith(controller.outputs(), 0)) << int{value};
    }
    write({enableRegister, 1});
    EXPECT_EQ(controller.outputs()[0], 10);
}

TEST_F(LedControllerTest, AnOutputIsDarkWhileItsSettingIsZero)
{
    enableAll();
    writeDistinctBrightness();
    write({updateRegister, 0});
    write({firstSetting + 1, 0});
    EXPECT_EQ(controller.outputs()[0], 10);
    EXPECT_EQ(controller.outputs()[1], 0);
    EXPECT_EQ(controller.outputs()[2], 12);
}

TEST_F(LedControllerTest, TheResetRegisterResetsAllRegisters)
{
    enableAll();
    writeDistinctBrightness();
    write({updateRegister, 0});
    write({resetRegister, 0});
    EXPECT_TRUE(isFilledWith(controller.outputs(), 0));
    enableAll();
    EXPECT_TRUE(isFilledWith(controller.outputs(), 0)) << "the latched brightness was not reset";
    write({updateRegister, 0});
    EXPECT_TRUE(isFilledWith(controller.outputs(), 0)) << "the brightness registers were not reset";
}

TEST_F(LedControllerTest, ReadReturnsTheRegisterSelectedByTheLastWrite)
{
    write({0x20, 0x11, 0x22});
    EXPECT_EQ(controller.read(), 0x11);
    write({0x21});
    EXPECT_EQ(controller.read(), 0x22);
    EXPECT_EQ(controller.read(), 0x22) << "the read advanced the register number";
}

TEST_F(LedControllerTest, ReportsEveryWriteToANonexistentRegister)
{
    write({resetRegister, 0, 1, 2});
    EXPECT_EQ(violations.list(),
              (Lines{"LED controller register 48 does not exist", "LED controller register 49 does not exist"}));
}

TEST_F(LedControllerTest, NonexistentRegistersReadAsZero)
{
    write({0x30});
    EXPECT_EQ(controller.read(), 0);
    write({0xFF});
    EXPECT_EQ(controller.read(), 0);
    EXPECT_EQ(violations.list(), Lines{});
}

TEST_F(LedControllerTest, ReportsAnEmptyWrite)
{
    controller.write({});
    EXPECT_EQ(violations.list(), (Lines{"an empty I2C write"}));
}

} // namespace
