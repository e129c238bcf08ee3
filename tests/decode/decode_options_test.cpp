// Tests for the command line of the decoder.
#include "sim/decode/decode_options.h"

#include "tests/sim/comparisons.h"

namespace {

using sim::DecodeOptions;
using sim::Line;

DecodeOptions parsed(const Lines& arguments)
{
    return sim::parseDecodeOptions(arguments);
}

std::string errorFor(const Lines& arguments)
{
    return thrownMessage<sim::DecodeUsageError>([&] { (void)parsed(arguments); });
}

TEST(DecodeOptions, DerivesTheOutputFolderFromTheCaptureName)
{
    EXPECT_EQ(parsed({"captures/update.vcd"}).output, "update-decoded");
    EXPECT_EQ(parsed({"update.1.sr"}).output, "update.1-decoded");
    EXPECT_EQ(parsed({"-"}).output, "capture-decoded");
}

TEST(DecodeOptions, HasDefaults)
{
    const DecodeOptions options = parsed({"a.vcd"});
    EXPECT_EQ(options.capture, "a.vcd");
    EXPECT_EQ(options.shortestPulse, std::chrono::nanoseconds(15));
    EXPECT_FALSE(options.expectsInitialisation);
    EXPECT_TRUE(options.channels.empty());
    EXPECT_TRUE(options.expectedScreens.empty());
}

TEST(DecodeOptions, AcceptsOptionsInAnyOrder)
{
    const DecodeOptions options =
        parsed({"--expect", "screen", "menu", "--output", "o", "a.vcd", "--glitch=0", "--expect=initialisation",
                "--channels", "clk=D0", "--expect=screen", "done"});
    EXPECT_EQ(options.capture, "a.vcd");
    EXPECT_EQ(options.output, "o");
    EXPECT_EQ(options.shortestPulse.count(), 0);
    EXPECT_TRUE(options.expectsInitialisation);
    EXPECT_EQ(options.channels.at(Line::Clock), "D0");
    EXPECT_EQ(options.expectedScreens, (Lines{"menu", "done"}));
}

TEST(DecodeOptions, RejectsWrongArguments)
{
    const struct {
        Lines arguments;
        const char* message;
    } cases[] = {
        {{}, "the capture is missing"},
        {{""}, "unexpected argument \"\""},
        {{"a.vcd", "b.vcd"}, "unexpected argument \"b.vcd\""},
        {{"a.vcd", "--fast"}, "unknown option --fast"},
        {{"a.vcd", "--output"}, "--output needs a value"},
        {{"a.vcd", "--output="}, "--output needs a value"},
        {{"a.vcd", "--glitch", "few"}, "--glitch accepts only a number of nanoseconds (0 to 1000000)"},
        {{"a.vcd", "--glitch", "1000001"}, "--glitch accepts only a number of nanoseconds (0 to 1000000)"},
        {{"a.vcd", "--channels", "clk"}, "--channels: expected LINE=CHANNEL, but found \"clk\""},
        {{"a.vcd", "--expect", "success"}, "--expect accepts only \"initialisation\" or \"screen NAME\""},
        {{"a.vcd", "--expect", "screen"}, "--expect screen needs a value"},
    };
    for (const auto& [arguments, message] : cases) {
        EXPECT_EQ(errorFor(arguments), message);
    }
}

TEST(DecodeOptions, HelpIgnoresLaterArgumentsAndListsTheOptions)
{
    EXPECT_TRUE(parsed({"--help", "--fast"}).wantsHelp);
    const std::string help = sim::decodeHelpText();
    for (const char* option : {"--channels", "--output", "--glitch", "--expect initialisation", "--expect screen"}) {
        EXPECT_TRUE(contains(help, option)) << option;
    }
}

} // namespace
