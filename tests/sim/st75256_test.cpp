// Tests of the display controller: what it shows, and what it objects to.
#include "sim/models/st75256.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <gmock/gmock.h>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace {

using sim::Screen;
using sim::St75256;
using sim::Violations;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t frameSize = 10240;

/// A controller on wires.
class Wires {
public:
    void reset()
    {
        controller.setResetLine(true);
        controller.setResetLine(false);
        controller.setResetLine(true);
    }
    void transfer(bool isData, const Bytes& bytes)
    {
        controller.setDataCommandLine(isData);
        controller.beginTransfer();
        controller.endTransfer(bytes);
    }
    void command(std::uint8_t code, const Bytes& parameters = {})
    {
        transfer(false, {code});
        if (!parameters.empty()) {
            data(parameters);
        }
    }
    void data(const Bytes& bytes) { transfer(true, bytes); }

    /// All that has to be said before something is seen.
    void light()
    {
        command(0x30);
        command(0x94);
        command(0x20, {0x0B});
        command(0x0C);
        command(0xF0, {0x11});
        command(0x31);
        command(0x40);
        command(0x30);
        window(0, 255, 0, 159);
        command(0xAF);
    }
    void window(std::uint8_t firstColumn, std::uint8_t lastColumn, std::uint8_t firstPage, std::uint8_t lastPage)
    {
        command(0x15, {firstColumn, lastColumn});
        command(0x75, {firstPage, lastPage});
    }
    void write(const Bytes& bytes)
    {
        command(0x5C);
        data(bytes);
    }

    /// A part of the screen, a digit for each pixel.
    [[nodiscard]] std::vector<std::string> shown(std::size_t x, std::size_t y, std::size_t width,
                                                 std::size_t height) const
    {
        const auto screen = std::make_unique<Screen>(controller.screen());
        std::vector<std::string> rows;
        for (std::size_t row = y; row < y + height; ++row) {
            rows.emplace_back();
            for (std::size_t column = x; column < x + width; ++column) {
                rows.back() += static_cast<char>('0' + (*screen)[row * sim::screenWidth + column]);
            }
        }
        return rows;
    }

    Violations violations;
    St75256 controller{violations};
};

class Display : public testing::Test, public Wires {
protected:
    Display() { reset(); }
};

// What is seen.

TEST_F(Display, ShowsTheLowestBitsOnTopWhenToldSo)
{
    light();
    write(Bytes(frameSize, 0b11'10'01'00));
    EXPECT_THAT(shown(0, 0, 3, 8), ElementsAre("000", "111", "222", "333", "000", "111", "222", "333"));
    EXPECT_THAT(shown(255, 156, 1, 4), ElementsAre("0", "1", "2", "3"));
    EXPECT_THAT(violations.list(), IsEmpty());
}

TEST_F(Display, ShowsTheHighestBitsOnTopWhenToldSoAndAfterAReset)
{
    light();
    write(Bytes(frameSize, 0b11'10'01'00));
    command(0x08);
    EXPECT_THAT(shown(0, 0, 1, 4), ElementsAre("3", "2", "1", "0"));
    command(0x0C);
    EXPECT_THAT(shown(0, 0, 1, 4), ElementsAre("0", "1", "2", "3"));
}

TEST_F(Display, FillsTheScreenColumnByColumnAndPageByPage)
{
    light();
    Bytes frame(frameSize, 0);
    frame[1] = 0b00'00'00'11;
    frame[255] = 0b00'00'11'00;
    frame[256] = 0b00'00'00'10;
    frame[frameSize - 1] = 0b01'00'00'00;
    write(frame);
    EXPECT_THAT(shown(0, 0, 2, 5), ElementsAre("03", "00", "00", "00", "20"));
    EXPECT_THAT(shown(254, 0, 2, 3), ElementsAre("00", "03", "00"));
    EXPECT_THAT(shown(254, 158, 2, 2), ElementsAre("00", "01"));
}

TEST_F(Display, TakesTheSameFrameByteByByte)
{
    light();
    command(0x5C);
    for (std::size_t i = 0; i < frameSize; ++i) {
        data({static_cast<std::uint8_t>(i == 256 ? 0xFF : 0x00)});
    }
    EXPECT_THAT(shown(0, 3, 2, 6), ElementsAre("00", "30", "30", "30", "30", "00"));
    EXPECT_EQ(controller.frameCount(), 1U);
    EXPECT_THAT(violations.list(), IsEmpty());
}

TEST_F(Display, WritesOnlyIntoTheWindow)
{
    light();
    window(10, 11, 1, 2);
    write({0xFF, 0xAA, 0x55, 0xFF});
    EXPECT_THAT(shown(9, 3, 4, 10),
                ElementsAre("0000", "0320", "0320", "0320", "0320", "0130", "0130", "0130", "0130", "0000"));
    EXPECT_THAT(violations.list(), IsEmpty());
}

TEST_F(Display, BeginsAtTheFirstCornerOfTheWindowWithEveryWrite)
{
    light();
    window(0, 0, 0, 0);
    write({0xFF});
    write({0x00});
    EXPECT_THAT(shown(0, 0, 1, 4), Each("0"));
    EXPECT_EQ(controller.frameCount(), 2U);
}

TEST_F(Display, KeepsItsWindowFromFrameToFrame)
{
    light();
    write(Bytes(frameSize, 0xFF));
    write(Bytes(frameSize, 0x55));
    EXPECT_THAT(shown(0, 0, 1, 1), ElementsAre("1"));
    EXPECT_THAT(shown(255, 159, 1, 1), ElementsAre("1"));
    EXPECT_THAT(violations.list(), IsEmpty());
}

TEST_F(Display, ExchangesAllFourGreysWhenInverse)
{
    light();
    write(Bytes(frameSize, 0b11'10'01'00));
    command(0xA7);
    EXPECT_THAT(shown(0, 0, 1, 4), ElementsAre("3", "2", "1", "0"));
    command(0xA6);
    EXPECT_THAT(shown(0, 0, 1, 4), ElementsAre("0", "1", "2", "3"));
}

TEST_F(Display, KeepsItsMemoryThroughAReset)
{
    light();
    write(Bytes(frameSize, 0xFF));
    reset();
    light();
    EXPECT_THAT(shown(0, 0, 1, 4), Each("3"));
}

struct BlankCase {
    const char* name;
    std::function<void(Wires&)> becomesBlank;
    std::function<void(Wires&)> isLitAgain;
};

void PrintTo(const BlankCase& tested, std::ostream* stream)
{
    *stream << tested.name;
}

class BlankDisplay : public testing::TestWithParam<BlankCase>, public Wires {};

TEST_P(BlankDisplay, IsBlankUntilItIsLitAgain)
{
    reset();
    EXPECT_FALSE(controller.isLit());
    light();
    command(0xA7);
    write(Bytes(frameSize, 0x00));
    ASSERT_TRUE(controller.isLit());
    ASSERT_THAT(shown(0, 0, 1, 1), ElementsAre("3"));
    GetParam().becomesBlank(*this);
    EXPECT_FALSE(controller.isLit());
    EXPECT_THAT(controller.screen(), Each(0));
    GetParam().isLitAgain(*this);
    EXPECT_TRUE(controller.isLit());
    EXPECT_THAT(violations.list(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    , BlankDisplay,
    testing::Values(BlankCase{"WhenItSleeps", [](Wires& w) { w.command(0x95); }, [](Wires& w) { w.command(0x94); }},
                    BlankCase{"WhenItIsSwitchedOff", [](Wires& w) { w.command(0xAE); },
                              [](Wires& w) { w.command(0xAF); }},
                    BlankCase{"WithoutTheFollower", [](Wires& w) { w.command(0x20, {0x0A}); },
                              [](Wires& w) { w.command(0x20, {0x0B}); }},
                    BlankCase{"WhenItWaitsForAnExternalSupply",
                              [](Wires& w) {
                                  w.command(0x31);
                                  w.command(0x41);
                              },
                              [](Wires& w) { w.command(0x40); }},
                    BlankCase{"InTheModeOfTwoColours", [](Wires& w) { w.command(0xF0, {0x10}); },
                              [](Wires& w) { w.command(0xF0, {0x11}); }},
                    BlankCase{"WhileItIsReset", [](Wires& w) { w.controller.setResetLine(false); },
                              [](Wires& w) {
                                  w.controller.setResetLine(true);
                                  w.light();
                              }},
                    BlankCase{"AfterItsReset", [](Wires& w) { w.reset(); }, [](Wires& w) { w.light(); }}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST(UnusedDisplay, IsBlankAndHasNothingToObjectTo)
{
    const Wires wires;
    EXPECT_FALSE(wires.controller.isLit());
    EXPECT_THAT(wires.controller.screen(), Each(0));
    EXPECT_THAT(wires.violations.list(), IsEmpty());
}

TEST_F(Display, CountsFramesThatFillTheirWindow)
{
    light();
    EXPECT_EQ(controller.frameCount(), 0U);
    command(0x5C);
    data(Bytes(frameSize - 1, 0));
    EXPECT_EQ(controller.frameCount(), 0U);
    data({0});
    EXPECT_EQ(controller.frameCount(), 1U);
    reset();
    EXPECT_EQ(controller.frameCount(), 1U);
}

// Its commands.

struct CommandCase {
    int code;
    int page;
    std::size_t parameterCount;
    /// Whether the other page has the code too.
    bool isOnBoth;
};

std::string commandName(const testing::TestParamInfo<CommandCase>& tested)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%02XOnPage%d", tested.param.code & 0xFF, tested.param.page & 3);
    return text.data();
}

void PrintTo(const CommandCase& tested, std::ostream* stream)
{
    *stream << tested.code << " on page " << tested.page;
}

class DisplayCommand : public testing::TestWithParam<CommandCase>, public Wires {
protected:
    DisplayCommand()
    {
        reset();
        selectPage(page);
    }
    void selectPage(int number) { command(number == 1 ? 0x30 : 0x31); }

    const std::uint8_t code = static_cast<std::uint8_t>(GetParam().code);
    const int page = GetParam().page;
    const std::size_t count = GetParam().parameterCount;
};

TEST_P(DisplayCommand, TakesItsDataBytesWithoutViolation)
{
    command(code, Bytes(count, 0));
    command(0x30);
    EXPECT_THAT(violations.list(), IsEmpty());
}

TEST_P(DisplayCommand, MissesEachOfItsDataBytes)
{
    for (std::size_t sent = 0; sent < count; ++sent) {
        Wires wires;
        wires.reset();
        wires.command(page == 1 ? 0x30 : 0x31);
        wires.command(code, Bytes(sent, 0));
        EXPECT_THAT(wires.violations.list(), IsEmpty()) << "it may still come";
        wires.command(0x30);
        EXPECT_EQ(wires.violations.list().size(), 1U);
        EXPECT_THAT(wires.violations.list().back(),
                    testing::HasSubstr("got " + std::to_string(sent) + " of " + std::to_string(count) + " data bytes"));
    }
}

TEST_P(DisplayCommand, DidNotAskForAnotherDataByte)
{
    command(code, Bytes(count, 0));
    data({0xAB});
    EXPECT_THAT(violations.list(), ElementsAre("an unexpected data byte: 0xAB"));
}

TEST_P(DisplayCommand, IsKnownOnItsPageOnlyUnlessTheOtherHasItToo)
{
    selectPage(3 - page);
    command(code);
    if (GetParam().isOnBoth) {
        EXPECT_THAT(violations.list(), IsEmpty());
        return;
    }
    ASSERT_EQ(violations.list().size(), 1U);
    EXPECT_THAT(violations.list().front(), testing::StartsWith("command on the wrong page: 0x"));
}

INSTANTIATE_TEST_SUITE_P(
    , DisplayCommand,
    testing::Values(CommandCase{0x30, 1, 0, true}, CommandCase{0x30, 2, 0, true}, CommandCase{0x31, 1, 0, true},
                    CommandCase{0x31, 2, 0, true}, CommandCase{0x08, 1, 0, false}, CommandCase{0x0C, 1, 0, false},
                    CommandCase{0x15, 1, 2, false}, CommandCase{0x75, 1, 2, false}, CommandCase{0x20, 1, 1, false},
                    CommandCase{0x6E, 1, 0, false}, CommandCase{0x6F, 1, 0, false}, CommandCase{0x81, 1, 2, false},
                    CommandCase{0x94, 1, 0, false}, CommandCase{0x95, 1, 0, false}, CommandCase{0xA6, 1, 0, false},
                    CommandCase{0xA7, 1, 0, false}, CommandCase{0xAE, 1, 0, false}, CommandCase{0xAF, 1, 0, false},
                    CommandCase{0xBC, 1, 1, false}, CommandCase{0xCA, 1, 3, false}, CommandCase{0xF0, 1, 1, true},
                    CommandCase{0x32, 2, 3, false}, CommandCase{0x40, 2, 0, false}, CommandCase{0x41, 2, 0, false},
                    CommandCase{0x51, 2, 1, false}, CommandCase{0xD7, 2, 1, false}, CommandCase{0xE0, 2, 1, false},
                    CommandCase{0xE1, 2, 0, false}, CommandCase{0xE3, 2, 0, false}, CommandCase{0xF0, 2, 4, true},
                    CommandCase{0xF2, 2, 3, false}),
    commandName);

TEST_F(Display, KnowsNoOtherCommands)
{
    const Bytes known = {0x30, 0x31, 0x08, 0x0C, 0x15, 0x75, 0x20, 0x5C, 0x6E, 0x6F, 0x81, 0x94, 0x95, 0xA6, 0xA7,
                         0xAE, 0xAF, 0xBC, 0xCA, 0xF0, 0x32, 0x40, 0x41, 0x51, 0xD7, 0xE0, 0xE1, 0xE3, 0xF2};
    for (unsigned code = 0; code <= 0xFF; ++code) {
        if (std::find(known.begin(), known.end(), code) != known.end()) {
            continue;
        }
        const std::size_t before = violations.list().size();
        command(static_cast<std::uint8_t>(code));
        ASSERT_EQ(violations.list().size(), before + 1) << code;
        EXPECT_THAT(violations.list().back(), testing::StartsWith("unknown command: 0x"));
    }
}

// What it objects to.

struct ViolationCase {
    const char* name;
    std::function<void(Wires&)> use;
    std::vector<std::string> violations;
};

void PrintTo(const ViolationCase& tested, std::ostream* stream)
{
    *stream << tested.name;
}

class DisplayViolation : public testing::TestWithParam<ViolationCase>, public Wires {};

TEST_P(DisplayViolation, IsReported)
{
    GetParam().use(*this);
    EXPECT_THAT(violations.list(), ElementsAreArray(GetParam().violations));
}

void lightUp(Wires& wires)
{
    wires.reset();
    wires.light();
}

INSTANTIATE_TEST_SUITE_P(
    , DisplayViolation,
    testing::Values(
        ViolationCase{"NotForCorrectUse",
                      [](Wires& w) {
                          lightUp(w);
                          w.write(Bytes(frameSize, 0xFF));
                          w.write(Bytes(frameSize, 0x00));
                      },
                      {}},
        ViolationCase{"WhenDataComesFirst",
                      [](Wires& w) {
                          w.reset();
                          w.data({0x12});
                      },
                      {"an unexpected data byte: 0x12"}},
        ViolationCase{"ForEveryByteNobodyAskedFor",
                      [](Wires& w) {
                          lightUp(w);
                          w.command(0x20, {0x0B, 0x01, 0x02});
                      },
                      {"an unexpected data byte: 0x01", "an unexpected data byte: 0x02"}},
        ViolationCase{"WhenACommandIsOnThePageTwo",
                      [](Wires& w) {
                          w.reset();
                          w.command(0x40);
                      },
                      {"command on the wrong page: 0x40 on page 1"}},
        ViolationCase{"WhenACommandIsOnThePageOne",
                      [](Wires& w) {
                          w.reset();
                          w.command(0x31);
                          w.command(0x5C);
                      },
                      {"command on the wrong page: 0x5C on page 2"}},
        ViolationCase{"WhenACommandDoesNotExist",
                      [](Wires& w) {
                          w.reset();
                          w.command(0xFF);
                      },
                      {"unknown command: 0xFF on page 1"}},
        ViolationCase{"WhenDataBytesAreMissing",
                      [](Wires& w) {
                          w.reset();
                          w.command(0x15, {0x00});
                          w.command(0xA6);
                          w.command(0xA6);
                      },
                      {"command 0x15 got 1 of 2 data bytes"}},
        ViolationCase{"WhenAFrameIsShort",
                      [](Wires& w) {
                          lightUp(w);
                          w.write(Bytes(frameSize - 1, 0));
                          w.write(Bytes(frameSize, 0));
                      },
                      {"a frame is short: 10239 of 10240 bytes"}},
        ViolationCase{"WhenAFrameIsEmpty",
                      [](Wires& w) {
                          lightUp(w);
                          w.command(0x5C);
                          w.command(0x5C);
                          w.data(Bytes(frameSize, 0));
                      },
                      {"a frame is short: 0 of 10240 bytes"}},
        ViolationCase{"OnceForAFrameThatIsLong",
                      [](Wires& w) {
                          lightUp(w);
                          w.write(Bytes(frameSize + 100, 0));
                          w.data(Bytes(100, 0));
                          w.command(0xA6);
                      },
                      {"a frame is longer than its window of 10240 bytes"}},
        ViolationCase{"OnceForEveryFrameThatIsLong",
                      [](Wires& w) {
                          lightUp(w);
                          w.window(3, 4, 5, 6);
                          w.write(Bytes(5, 0));
                          w.write(Bytes(6, 0));
                      },
                      {"a frame is longer than its window of 4 bytes", "a frame is longer than its window of 4 bytes"}},
        ViolationCase{"WhenTheWindowIsTurnedRound",
                      [](Wires& w) {
                          lightUp(w);
                          w.window(4, 3, 0, 0);
                          w.write(Bytes(3, 0));
                      },
                      {"a frame is longer than its window of 0 bytes"}},
        ViolationCase{"WhenTheWindowLiesBelowTheGlass",
                      [](Wires& w) {
                          lightUp(w);
                          w.window(0, 255, 40, 159);
                          w.write({0});
                      },
                      {"a frame is longer than its window of 0 bytes"}},
        ViolationCase{"WhenTransfersOverlap",
                      [](Wires& w) {
                          lightUp(w);
                          w.command(0x5C);
                          w.controller.setDataCommandLine(true);
                          w.controller.beginTransfer();
                          w.controller.beginTransfer();
                          w.controller.endTransfer(Bytes(frameSize / 2, 0));
                          w.controller.endTransfer(Bytes(frameSize / 2, 0));
                          w.command(0xA6);
                      },
                      {"a transfer began while another was under way"}},
        ViolationCase{
            "ForEveryFlipOfTheLineDuringATransfer",
            [](Wires& w) {
                lightUp(w);
                w.command(0x5C);
                w.controller.setDataCommandLine(true);
                w.controller.beginTransfer();
                w.controller.setDataCommandLine(false);
                w.controller.setDataCommandLine(false);
                w.controller.setDataCommandLine(true);
                w.controller.endTransfer(Bytes(frameSize, 0));
                w.controller.setDataCommandLine(false);
            },
            {"the data/command line changed during a transfer", "the data/command line changed during a transfer"}},
        ViolationCase{"ForUseBeforeTheReset",
                      [](Wires& w) {
                          w.controller.setResetLine(true);
                          w.command(0x30);
                          w.transfer(false, {0xFF, 0xFE});
                          w.reset();
                          w.command(0x30);
                      },
                      {"the controller was used before its reset", "the controller was used before its reset"}},
        ViolationCase{"ForUseDuringTheReset",
                      [](Wires& w) {
                          lightUp(w);
                          w.controller.setResetLine(false);
                          w.command(0x5C);
                          w.controller.setResetLine(true);
                          w.command(0x30);
                      },
                      {"the controller was used during its reset"}},
        ViolationCase{"NotForAFrameThatAResetCutsShort",
                      [](Wires& w) {
                          lightUp(w);
                          w.command(0x5C);
                          w.data({1, 2, 3});
                          w.reset();
                          w.command(0x30);
                      },
                      {}},
        ViolationCase{"WhenAFrameGoesOnAfterAReset",
                      [](Wires& w) {
                          lightUp(w);
                          w.command(0x5C);
                          w.reset();
                          w.data({1});
                      },
                      {"an unexpected data byte: 0x01"}},
        ViolationCase{"ForAnotherScanDirection",
                      [](Wires& w) {
                          w.reset();
                          w.command(0xBC, {0x03});
                      },
                      {"an unsupported scan direction: 0x03"}}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(Display, DoesNotWriteWhatIsTooLong)
{
    light();
    window(0, 1, 0, 0);
    write({0xFF, 0xFF, 0xAA});
    EXPECT_THAT(shown(0, 0, 3, 5), ElementsAre("330", "330", "330", "330", "000"));
    EXPECT_EQ(controller.frameCount(), 1U);
}

TEST_F(Display, LosesWhatIsSentDuringItsReset)
{
    light();
    write(Bytes(frameSize, 0xFF));
    controller.setResetLine(false);
    write(Bytes(frameSize, 0x00));
    controller.setResetLine(true);
    light();
    EXPECT_THAT(shown(0, 0, 1, 1), ElementsAre("3"));
    EXPECT_EQ(controller.frameCount(), 1U);
}

TEST_F(Display, ComesOutOfItsResetWithTheFirstPage)
{
    command(0x31);
    reset();
    command(0xA6);
    EXPECT_THAT(violations.list(), IsEmpty());
}

} // namespace
