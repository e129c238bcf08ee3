// Tests for the GPIO block: the program's stores, and the levels of the lines.
#include "sim/models/gpio_block.h"

#include "tests/sim/comparisons.h"

#include <array>
#include <string>
#include <thread>
#include <vector>

namespace {

using sim::GpioBlock;
using sim::Violations;

constexpr std::uint32_t input = 0b000;
constexpr std::uint32_t output = 0b001;

constexpr std::size_t setRegister = 7;
constexpr std::size_t clearRegister = 10;
constexpr std::size_t levelRegister = 13;

class Gpio : public testing::Test {
protected:
    Gpio()
    {
        block.onSelect([this](int line) { events.push_back("select " + std::to_string(line)); });
        block.onOutput(
            [this](int line, bool level) { events.push_back(std::to_string(line) + (level ? " 1" : " 0")); });
    }

    void select(int line, std::uint32_t function)
    {
        const auto reg = static_cast<std::size_t>(line / 10);
        const int shift = line % 10 * 3;
        page[reg] = (page[reg] & ~(7U << shift)) | (function << shift);
        block.sync();
    }
    void storeSet(std::uint32_t mask)
    {
        page[setRegister] = mask;
        block.sync();
    }
    void storeClear(std::uint32_t mask)
    {
        page[clearRegister] = mask;
        block.sync();
    }
    [[nodiscard]] bool readLevel(int line) const { return ((page[levelRegister] >> line) & 1U) != 0; }

    alignas(GpioBlock::pageBytes) std::array<volatile std::uint32_t, GpioBlock::pageBytes / 4> page{};
    Violations violations;
    GpioBlock block{page.data(), violations};
    std::vector<std::string> events;
};

TEST_F(Gpio, AllLinesAreInitiallyHighInputs)
{
    for (int line = 0; line < GpioBlock::lineCount; ++line) {
        EXPECT_FALSE(block.isOutput(line)) << line;
        EXPECT_TRUE(block.level(line)) << line;
    }
    EXPECT_EQ(page[levelRegister], 0xFFFFFFFF);
}

TEST_F(Gpio, ReadsTheFunctionOfEveryLineFromItsThreeBits)
{
    for (int line = 0; line < GpioBlock::lineCount; ++line) {
        select(line, output);
        for (int other = 0; other < GpioBlock::lineCount; ++other) {
            EXPECT_EQ(block.isOutput(other), other == line) << other << " when " << line << " is the output";
        }
        select(line, input);
    }
    EXPECT_EQ(violations.list(), Lines{});
}

TEST_F(Gpio, ReportsALineEachTimeItBecomesAnOutput)
{
    select(25, output);
    block.sync();
    EXPECT_EQ(events, (Lines{"select 25"}));
    select(25, input);
    select(25, output);
    EXPECT_EQ(events, (Lines{"select 25", "select 25"}));
}

TEST_F(Gpio, DrivesOnlyTheLinesWhoseBitsAreSet)
{
    select(7, output);
    select(25, output);
    storeSet(1U << 7 | 1U << 25);
    EXPECT_TRUE(block.level(7) && block.level(25));
    storeClear(1U << 7);
    EXPECT_FALSE(block.level(7));
    EXPECT_TRUE(block.level(25));
    EXPECT_EQ(events, (Lines{"select 7", "select 25", "7 1", "25 1", "7 0"}));
    EXPECT_EQ(violations.list(), Lines{});
}

TEST_F(Gpio, DrivesTheFirstAndTheLastLine)
{
    for (const int line : {0, 31}) {
        select(line, output);
        storeSet(1U << line);
        EXPECT_TRUE(block.level(line)) << line;
        EXPECT_TRUE(readLevel(line)) << line;
        storeClear(1U << line);
        EXPECT_FALSE(block.level(line)) << line;
        EXPECT_FALSE(readLevel(line)) << line;
    }
}

TEST_F(Gpio, ReportsALineOnlyWhenItsLevelChanges)
{
    select(7, output);
    storeSet(1U << 7);
    storeSet(1U << 7);
    storeClear(1U << 7);
    storeClear(1U << 7);
    EXPECT_EQ(events, (Lines{"select 7", "7 1", "7 0"}));
}

TEST_F(Gpio, SetAndClearRegistersReadAsZero)
{
    select(7, output);
    storeSet(1U << 7);
    storeClear(1U << 7);
    EXPECT_EQ(page[setRegister], 0U);
    EXPECT_EQ(page[clearRegister], 0U);
}

TEST_F(Gpio, LevelRegisterShowsTheLatchOfAnOutputAndTheWireOfAnInput)
{
    select(7, output);
    block.setInput(7, true);
    block.setInput(6, false);
    EXPECT_FALSE(readLevel(7));
    EXPECT_FALSE(readLevel(6));
    storeSet(1U << 7);
    block.setInput(7, false);
    block.setInput(6, true);
    EXPECT_TRUE(readLevel(7));
    EXPECT_TRUE(readLevel(6));
    EXPECT_TRUE(block.level(6));
}

TEST_F(Gpio, LevelRegisterShowsTheWireAfterAnOutputBecomesAnInput)
{
    select(7, output);
    storeClear(1U << 7);
    select(7, input);
    EXPECT_TRUE(block.level(7));
    EXPECT_TRUE(readLevel(7));
}

TEST_F(Gpio, IgnoresStoresToTheLevelRegister)
{
    page[levelRegister] = 0;
    block.sync();
    EXPECT_EQ(page[levelRegister], 0xFFFFFFFF);
}

TEST_F(Gpio, KeepsALatchedLevelWhileTheLineIsAnInput)
{
    storeSet(1U << 25);
    EXPECT_EQ(events, Lines{});
    block.setInput(25, false);
    EXPECT_FALSE(block.level(25));
    select(25, output);
    EXPECT_TRUE(block.level(25));
}

TEST_F(Gpio, ReportsEveryAttemptToDriveAnInput)
{
    storeSet(1U << 25);
    EXPECT_EQ(violations.list(), (Lines{"GPIO line 25 was driven while it was an input"}));
    storeClear(1U << 25);
    EXPECT_EQ(violations.list().size(), 2U);
    block.sync();
    EXPECT_EQ(violations.list().size(), 2U);
}

TEST_F(Gpio, ReportsASimultaneousSetAndClear)
{
    select(7, output);
    page[setRegister] = 1U << 7;
    storeClear(1U << 7);
    EXPECT_EQ(violations.list(), (Lines{"GPIO line 7 was set and cleared simultaneously"}));
}

TEST_F(Gpio, AllowsOneLineToBeSetWhileAnotherIsCleared)
{
    select(7, output);
    select(25, output);
    storeSet(1U << 25);
    page[setRegister] = 1U << 7;
    storeClear(1U << 25);
    EXPECT_TRUE(block.level(7));
    EXPECT_FALSE(block.level(25));
    EXPECT_EQ(violations.list(), Lines{});
}

TEST_F(Gpio, ReportsAnAlternateFunctionOncePerLine)
{
    select(7, 0b100);
    block.sync();
    select(8, 0b111);
    EXPECT_EQ(violations.list(), (Lines{"GPIO line 7 was given the function select code 4",
                                        "GPIO line 8 was given the function select code 7"}));
    EXPECT_EQ(events, Lines{});
    EXPECT_FALSE(block.isOutput(7));
}

TEST_F(Gpio, ProcessesAStoreByAnotherThread)
{
    select(7, output);
    std::thread([this] { page[setRegister] = 1U << 7; }).join();
    block.sync();
    EXPECT_TRUE(block.level(7));
}

} // namespace
