// Tests for the display controller: the screen and the reported protocol violations.
#include "sim/models/st75256.h"

#include "tests/sim/comparisons.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace {

using sim::Screen;
using sim::St75256;
using sim::Violations;

using Bytes = std::vector<std::uint8_t>;

/// A controller and its input lines. The input operations return the object, so that calls can be chained.
class Wires {
public:
    Wires& resetLine(bool level)
    {
        controller.setResetLine(level);
        return *this;
    }
    Wires& reset() { return resetLine(true).resetLine(false).resetLine(true); }
    Wires& line(bool isData)
    {
        controller.setDataCommandLine(isData);
        return *this;
    }
    Wires& begin()
    {
        controller.beginTransfer();
        return *this;
    }
    Wires& end(const Bytes& bytes)
    {
        controller.endTransfer(bytes);
        return *this;
    }
    Wires& command(std::uint8_t code) { return line(false).begin().end({code}); }
    Wires& command(std::uint8_t code, const Bytes& parameters)
    {
        command(code);
        return parameters.empty() ? *this : data(parameters);
    }
    Wires& data(const Bytes& bytes) { return line(true).begin().end(bytes); }

    /// Sends the commands that make the display memory visible.
    Wires& light()
    {
        command(0x30).command(0x94).command(0x20, {0x0B}).command(0x0C).command(0xF0, {0x11});
        return command(0x31).command(0x40).command(0x30).window(0, 255, 0, 159).command(0xAF);
    }
    Wires& window(std::uint8_t firstColumn, std::uint8_t lastColumn, std::uint8_t firstPage, std::uint8_t lastPage)
    {
        return command(0x15, {firstColumn, lastColumn}).command(0x75, {firstPage, lastPage});
    }
    Wires& write(const Bytes& bytes) { return command(0x5C).data(bytes); }

    /// A part of the screen: one string per row, one digit per pixel.
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

// The screen.

TEST_F(Display, Command0CShowsTheLowestBitsOnTop)
{
    light();
    write(Bytes(frameSize, 0b11'10'01'00));
    EXPECT_EQ(shown(0, 0, 3, 8), (Lines{"000", "111", "222", "333", "000", "111", "222", "333"}));
    EXPECT_EQ(shown(255, 156, 1, 4), (Lines{"0", "1", "2", "3"}));
    EXPECT_EQ(violations.list(), Lines{});
}

TEST_F(Display, Command08ShowsTheHighestBitsOnTop)
{
    light();
    write(Bytes(frameSize, 0b11'10'01'00));
    command(0x08);
    EXPECT_EQ(shown(0, 0, 1, 4), (Lines{"3", "2", "1", "0"}));
    command(0x0C);
    EXPECT_EQ(shown(0, 0, 1, 4), (Lines{"0", "1", "2", "3"}));
}

TEST_F(Display, FillsTheScreenPageByPageFromTheFirstColumn)
{
    light();
    Bytes frame(frameSize, 0);
    frame[1] = 0b00'00'00'11;
    frame[255] = 0b00'00'11'00;
    frame[256] = 0b00'00'00'10;
    frame[frameSize - 1] = 0b01'00'00'00;
    write(frame);
    EXPECT_EQ(shown(0, 0, 2, 5), (Lines{"03", "00", "00", "00", "20"}));
    EXPECT_EQ(shown(254, 0, 2, 3), (Lines{"00", "03", "00"}));
    EXPECT_EQ(shown(254, 158, 2, 2), (Lines{"00", "01"}));
}

TEST_F(Display, AcceptsAFrameInTransfersOfOneByte)
{
    light();
    command(0x5C);
    for (std::size_t i = 0; i < frameSize; ++i) {
        data({static_cast<std::uint8_t>(i == 256 ? 0xFF : 0x00)});
    }
    EXPECT_EQ(shown(0, 3, 2, 6), (Lines{"00", "30", "30", "30", "30", "00"}));
    EXPECT_EQ(controller.frameCount(), 1U);
    EXPECT_EQ(violations.list(), Lines{});
}

TEST_F(Display, WritesOnlyInsideTheWindow)
{
    light();
    window(10, 11, 1, 2);
    write({0xFF, 0xAA, 0x55, 0xFF});
    EXPECT_EQ(shown(9, 3, 4, 10),
              (Lines{"0000", "0320", "0320", "0320", "0320", "0130", "0130", "0130", "0130", "0000"}));
    EXPECT_EQ(violations.list(), Lines{});
}

TEST_F(Display, StartsEveryFrameAtTheFirstPageAndColumnOfTheWindow)
{
    light();
    window(0, 0, 0, 0);
    write({0xFF});
    write({0x00});
    EXPECT_EQ(shown(0, 0, 1, 4), Lines(4, "0"));
    EXPECT_EQ(controller.frameCount(), 2U);
}

TEST_F(Display, KeepsTheWindowForTheNextFrame)
{
    light();
    write(Bytes(frameSize, 0xFF));
    write(Bytes(frameSize, 0x55));
    EXPECT_EQ(shown(0, 0, 1, 1), (Lines{"1"}));
    EXPECT_EQ(shown(255, 159, 1, 1), (Lines{"1"}));
    EXPECT_EQ(violations.list(), Lines{});
}

TEST_F(Display, InvertsAllFourGreys)
{
    light();
    write(Bytes(frameSize, 0b11'10'01'00));
    command(0xA7);
    EXPECT_EQ(shown(0, 0, 1, 4), (Lines{"3", "2", "1", "0"}));
    command(0xA6);
    EXPECT_EQ(shown(0, 0, 1, 4), (Lines{"0", "1", "2", "3"}));
}

TEST_F(Display, KeepsItsMemoryThroughAReset)
{
    light();
    write(Bytes(frameSize, 0xFF));
    reset();
    light();
    EXPECT_EQ(shown(0, 0, 1, 4), Lines(4, "3"));
}

TEST(DarkDisplay, IsBlankUntilItIsLitAgain)
{
    using Action = void (*)(Wires&);
    const struct {
        const char* name;
        Action blank;
        Action light;
    } cases[] = {
        {"sleeps", [](Wires& w) { w.command(0x95); }, [](Wires& w) { w.command(0x94); }},
        {"is switched off", [](Wires& w) { w.command(0xAE); }, [](Wires& w) { w.command(0xAF); }},
        {"is partly powered", [](Wires& w) { w.command(0x20, {0x0A}); }, [](Wires& w) { w.command(0x20, {0x0B}); }},
        {"uses external power", [](Wires& w) { w.command(0x31).command(0x41); }, [](Wires& w) { w.command(0x40); }},
        {"has two greys", [](Wires& w) { w.command(0xF0, {0x10}); }, [](Wires& w) { w.command(0xF0, {0x11}); }},
        {"is in reset", [](Wires& w) { w.resetLine(false); }, [](Wires& w) { w.resetLine(true).light(); }},
        {"was reset", [](Wires& w) { w.reset(); }, [](Wires& w) { w.light(); }},
    };
    for (const auto& [name, blank, light] : cases) {
        SCOPED_TRACE(name);
        Wires wires;
        wires.reset();
        EXPECT_FALSE(wires.controller.isLit());
        wires.light();
        wires.command(0xA7);
        wires.write(Bytes(frameSize, 0x00));
        EXPECT_TRUE(wires.controller.isLit());
        EXPECT_EQ(wires.shown(0, 0, 1, 1), (Lines{"3"}));
        blank(wires);
        EXPECT_FALSE(wires.controller.isLit());
        EXPECT_TRUE(isFilledWith(wires.controller.screen(), 0));
        light(wires);
        EXPECT_TRUE(wires.controller.isLit());
        EXPECT_EQ(wires.violations.list(), Lines{});
    }
}

TEST(DisplayBeforeReset, IsBlankWithoutViolations)
{
    const Wires wires;
    EXPECT_FALSE(wires.controller.isLit());
    EXPECT_TRUE(isFilledWith(wires.controller.screen(), 0));
    EXPECT_EQ(wires.violations.list(), Lines{});
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

// The commands.

struct Command {
    std::uint8_t code;
    int page;
    std::size_t parameterCount;
};

constexpr Command knownCommands[] = {
    {0x30, 1, 0}, {0x30, 2, 0}, {0x31, 1, 0}, {0x31, 2, 0}, {0x08, 1, 0}, {0x0C, 1, 0}, {0x15, 1, 2}, {0x75, 1, 2},
    {0x20, 1, 1}, {0x5C, 1, 0}, {0x6E, 1, 0}, {0x6F, 1, 0}, {0x81, 1, 2}, {0x94, 1, 0}, {0x95, 1, 0}, {0xA6, 1, 0},
    {0xA7, 1, 0}, {0xAE, 1, 0}, {0xAF, 1, 0}, {0xBC, 1, 1}, {0xCA, 1, 3}, {0xF0, 1, 1}, {0x32, 2, 3}, {0x40, 2, 0},
    {0x41, 2, 0}, {0x51, 2, 1}, {0xD7, 2, 1}, {0xE0, 2, 1}, {0xE1, 2, 0}, {0xE3, 2, 0}, {0xF0, 2, 4}, {0xF2, 2, 3},
};
constexpr std::uint8_t writeMemory = 0x5C; // accepts as many data bytes as its window holds

bool isKnown(unsigned code, int page)
{
    return std::any_of(std::begin(knownCommands), std::end(knownCommands),
                       [&](const Command& command) { return command.code == code && command.page == page; });
}

/// A controller after a reset, with command page `page` selected.
struct WiresOnPage : Wires {
    explicit WiresOnPage(int page)
    {
        reset();
        command(page == 1 ? 0x30 : 0x31);
    }
};

TEST(DisplayCommands, EachCommandAcceptsOnlyItsParameters)
{
    for (const auto& [code, page, parameterCount] : knownCommands) {
        if (code == writeMemory) {
            continue;
        }
        SCOPED_TRACE(testing::Message() << int{code} << " on page " << page);
        WiresOnPage wires(page);
        wires.command(code, Bytes(parameterCount, 0));
        EXPECT_EQ(wires.violations.list(), Lines{});
        wires.data({0xAB});
        EXPECT_EQ(wires.violations.list(), (Lines{"an unexpected data byte: 0xAB"}));
    }
}

TEST(DisplayCommands, MissingParametersAreReportedAtTheNextCommand)
{
    for (const auto& [code, page, parameterCount] : knownCommands) {
        for (std::size_t sent = 0; sent < parameterCount; ++sent) {
            SCOPED_TRACE(testing::Message() << int{code} << " on page " << page);
            WiresOnPage wires(page);
            wires.command(code, Bytes(sent, 0));
            EXPECT_EQ(wires.violations.list(), Lines{});
            wires.command(0x30);
            ASSERT_EQ(wires.violations.list().size(), 1U);
            EXPECT_TRUE(contains(wires.violations.list().back(), "got " + std::to_string(sent) + " of " +
                                                                     std::to_string(parameterCount) + " data bytes"));
        }
    }
}

TEST(DisplayCommands, UnknownCommandsAndCommandsOfTheOtherPageAreReported)
{
    for (const int page : {1, 2}) {
        for (unsigned code = 0; code <= 0xFF; ++code) {
            WiresOnPage wires(page);
            wires.command(static_cast<std::uint8_t>(code));
            if (isKnown(code, page)) {
                EXPECT_EQ(wires.violations.list(), Lines{}) << code << " on page " << page;
                continue;
            }
            ASSERT_EQ(wires.violations.list().size(), 1U) << code << " on page " << page;
            const char* const reason =
                isKnown(code, 3 - page) ? "command on the wrong page: 0x" : "unknown command: 0x";
            EXPECT_TRUE(wires.violations.list().front().starts_with(reason)) << code << " on page " << page;
        }
    }
}

// Protocol violations.

TEST(DisplayProtocol, EachViolationIsReportedOnce)
{
    const std::string changedLine = "the data/command line changed during a transfer";
    const struct {
        const char* name;
        void (*use)(Wires& wires);
        Lines violations;
    } cases[] = {
        // After a reset.
        {"data without a command", [](Wires& w) { w.data({0x12}); }, {"an unexpected data byte: 0x12"}},
        {"a command of page 2 on page 1",
         [](Wires& w) { w.command(0x40); },
         {"command on the wrong page: 0x40 on page 1"}},
        {"a command of page 1 on page 2",
         [](Wires& w) { w.command(0x31).command(0x5C); },
         {"command on the wrong page: 0x5C on page 2"}},
        {"an unknown command", [](Wires& w) { w.command(0xFF); }, {"unknown command: 0xFF on page 1"}},
        {"too few data bytes",
         [](Wires& w) { w.command(0x15, {0x00}).command(0xA6).command(0xA6); },
         {"command 0x15 got 1 of 2 data bytes"}},
        {"an unsupported scan direction",
         [](Wires& w) { w.command(0xBC, {0x03}); },
         {"an unsupported scan direction: 0x03"}},
        // While the display is lit.
        {"correct use", [](Wires& w) { w.light().write(Bytes(frameSize, 0xFF)).write(Bytes(frameSize, 0)); }, {}},
        {"too many data bytes",
         [](Wires& w) { w.light().command(0x20, {0x0B, 0x01, 0x02}); },
         {"an unexpected data byte: 0x01", "an unexpected data byte: 0x02"}},
        {"a short frame",
         [](Wires& w) { w.light().write(Bytes(frameSize - 1)).write(Bytes(frameSize)); },
         {"a frame is short: 10239 of 10240 bytes"}},
        {"an empty frame",
         [](Wires& w) { w.light().command(0x5C).write(Bytes(frameSize)); },
         {"a frame is short: 0 of 10240 bytes"}},
        {"a long frame in two transfers",
         [](Wires& w) { w.light().write(Bytes(frameSize + 100)).data(Bytes(100)).command(0xA6); },
         {"a frame is longer than its window of 10240 bytes"}},
        {"two long frames", [](Wires& w) { w.light().window(3, 4, 5, 6).write(Bytes(5)).write(Bytes(6)); },
         Lines(2, "a frame is longer than its window of 4 bytes")},
        {"a window that ends before it starts",
         [](Wires& w) { w.light().window(4, 3, 0, 0).write(Bytes(3)); },
         {"a frame is longer than its window of 0 bytes"}},
        {"a window below the panel",
         [](Wires& w) { w.light().window(0, 255, 40, 159).write({0}); },
         {"a frame is longer than its window of 0 bytes"}},
        {"overlapping transfers",
         [](Wires& w) {
             w.light().command(0x5C).line(true).begin().begin();
             w.end(Bytes(frameSize / 2)).end(Bytes(frameSize / 2)).command(0xA6);
         },
         {"a transfer began while another was under way"}},
        {"two changes of the line during a transfer",
         [](Wires& w) {
             w.light().command(0x5C).line(true).begin();
             w.line(false).line(false).line(true).end(Bytes(frameSize)).line(false);
         },
         Lines(2, changedLine)},
        {"use during a reset",
         [](Wires& w) { w.light().resetLine(false).command(0x5C).resetLine(true).command(0x30); },
         {"the controller was used during its reset"}},
        {"a frame that is interrupted by a reset",
         [](Wires& w) { w.light().write({1, 2, 3}).reset().command(0x30); },
         {}},
        {"a frame that continues after a reset",
         [](Wires& w) { w.light().command(0x5C).reset().data({1}); },
         {"an unexpected data byte: 0x01"}},
    };
    for (const auto& [name, use, violations] : cases) {
        Wires wires;
        use(wires.reset());
        EXPECT_EQ(wires.violations.list(), violations) << name;
    }
}

TEST(DisplayBeforeReset, ReportsEveryTransfer)
{
    Wires wires;
    wires.resetLine(true).command(0x30);
    wires.line(false).begin().end({0xFF, 0xFE});
    wires.reset().command(0x30);
    EXPECT_EQ(wires.violations.list(), Lines(2, "the controller was used before its reset"));
}

TEST_F(Display, IgnoresBytesBeyondTheWindow)
{
    light();
    window(0, 1, 0, 0);
    write({0xFF, 0xFF, 0xAA});
    EXPECT_EQ(shown(0, 0, 3, 5), (Lines{"330", "330", "330", "330", "000"}));
    EXPECT_EQ(controller.frameCount(), 1U);
}

TEST_F(Display, IgnoresTransfersDuringItsReset)
{
    light();
    write(Bytes(frameSize, 0xFF));
    controller.setResetLine(false);
    write(Bytes(frameSize, 0x00));
    controller.setResetLine(true);
    light();
    EXPECT_EQ(shown(0, 0, 1, 1), (Lines{"3"}));
    EXPECT_EQ(controller.frameCount(), 1U);
}

TEST_F(Display, ResetSelectsCommandPage1)
{
    command(0x31);
    reset();
    command(0xA6);
    EXPECT_EQ(violations.list(), Lines{});
}

TEST(St75256, DisplayRegistersFollowTheCommands)
{
    using Registers = sim::DisplayRegisters;
    Wires wires;
    wires.reset();
    EXPECT_EQ(wires.controller.registers(), (Registers{false, true, false, 0}));
    wires.command(0x94).command(0xAF).command(0xA7).command(0x81, {0x36, 0x04});
    EXPECT_EQ(wires.controller.registers(), (Registers{true, false, true, 0x136}));
    wires.command(0x95).command(0xAE).command(0xA6).command(0x81, {0xFF, 0xFF});
    EXPECT_EQ(wires.controller.registers(), (Registers{false, true, false, Registers::highestContrast}));
}

} // namespace
