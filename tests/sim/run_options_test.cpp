// Tests for the simulator's command line.
#include "sim/run/options.h"

#include "sim/wires/recording_state.h"
#include "tests/sim/comparisons.h"
#include "tests/support/scratch_folder.h"

namespace {

using sim::Options;

Options parsed(const std::vector<std::string>& arguments)
{
    return sim::parseOptions(arguments, {.updater = "u", .preload = "p", .scripts = "s", .scenarios = SCENARIOS_DIR});
}

std::string errorFor(const std::vector<std::string>& arguments)
{
    return thrownMessage<sim::UsageError>([&] { (void)parsed(arguments); });
}

TEST(RunOptions, DefaultsAreTheGivenPathsAndALimitOf1GiB)
{
    const Options options = parsed({});
    EXPECT_EQ(options.updater, "u");
    EXPECT_EQ(options.preload, "p");
    EXPECT_EQ(options.scripts, "s");
    EXPECT_EQ(options.scenario, "");
    EXPECT_EQ(options.frames, "");
    EXPECT_EQ(options.recording, "");
    EXPECT_EQ(options.movie, "");
    EXPECT_EQ(options.wires, "");
    EXPECT_EQ(options.wiresLimit, 1U << 30);
    EXPECT_FALSE(options.wantsHelp);
}

TEST(RunOptions, AValueMayBeTheNextArgument)
{
    const Options options = parsed({"--updater", "a", "--preload", "b", "--scripts", "c", "--frames", "d", "--record",
                                    "e", "--scenario", "f", "--movie", "g", "--wires", "h"});
    EXPECT_EQ(options.updater, "a");
    EXPECT_EQ(options.preload, "b");
    EXPECT_EQ(options.scripts, "c");
    EXPECT_EQ(options.frames, "d");
    EXPECT_EQ(options.recording, "e");
    EXPECT_EQ(options.movie, "g");
    EXPECT_EQ(options.wires, "h");
    EXPECT_EQ(options.scenario, "f");
}

TEST(RunOptions, AValueMayFollowAnEqualsSign)
{
    const Options options = parsed({"--frames=a=b", "--play=corrupt"});
    EXPECT_EQ(options.frames, "a=b");
    EXPECT_EQ(options.scenario, SCENARIOS_DIR "/corrupt.scenario");
}

TEST(RunOptions, ALaterOptionOverridesAnEarlierOne)
{
    EXPECT_EQ(parsed({"--play", "corrupt", "--play", "update"}).scenario, SCENARIOS_DIR "/update.scenario");
    EXPECT_EQ(parsed({"--play", "corrupt", "--scenario", "a"}).scenario, "a");
}

TEST(RunOptions, WiresLimitAcceptsSizes)
{
    const std::pair<const char*, std::uint64_t> cases[] = {
        {"1024", 1024},
        {"500000", 500000},
        {"1K", std::uint64_t{1} << 10},
        {"500M", std::uint64_t{500} << 20},
        {"2G", std::uint64_t{2} << 30},
        {"17179869183G", std::uint64_t{17179869183} << 30}, // the largest number of GiB that fits in 64 bits
        {"0", sim::RecordingState::noLimit},
        {"0G", sim::RecordingState::noLimit},
    };
    for (const auto& [text, size] : cases) {
        EXPECT_EQ(parsed({"--wires-limit", text}).wiresLimit, size) << text;
    }
}

TEST(RunOptions, WiresLimitRejectsInvalidSizes)
{
    for (const std::string text : {"G", "2T", "2GB", "2 G", " 2G", "-1", "+1G", "1.5G", "2g", "0x400", "1023",
                                   "17179869184G", "18446744073709551616"}) {
        EXPECT_EQ(errorFor({"--wires-limit", text}),
                  "--wires-limit must be a size such as 500M or 2G, at least 1K, or 0 for no limit, not \"" + text +
                      "\"");
    }
}

TEST(RunOptions, RejectsUnknownArguments)
{
    EXPECT_EQ(errorFor({"--fast"}), "unknown option --fast");
    EXPECT_EQ(errorFor({"--fast=1"}), "unknown option --fast");
    EXPECT_EQ(errorFor({"update"}), "unknown argument update");
    EXPECT_EQ(errorFor({""}), "unknown argument ");
    EXPECT_EQ(errorFor({"--play", "chess"}), "unknown scenario chess");
    EXPECT_EQ(errorFor({"--play", "../scenarios/update"}), "unknown scenario ../scenarios/update");
}

TEST(RunOptions, RejectsAnOptionWithoutAValue)
{
    EXPECT_EQ(errorFor({"--frames"}), "--frames needs a value");
    EXPECT_EQ(errorFor({"--frames", ""}), "--frames needs a value");
    EXPECT_EQ(errorFor({"--play="}), "--play needs a value");
}

TEST(RunOptions, HelpIgnoresLaterArguments)
{
    EXPECT_TRUE(parsed({"--help", "--fast"}).wantsHelp);
    EXPECT_TRUE(parsed({"-h"}).wantsHelp);
}

TEST(RunOptions, HelpListsEveryOptionThatTakesAValue)
{
    const std::string help = sim::helpText(SCENARIOS_DIR);
    EXPECT_TRUE(help.starts_with("usage: "));
    for (const char* option : {"--updater", "--preload", "--scripts", "--frames", "--play", "--scenario", "--record",
                               "--movie", "--wires", "--wires-limit"}) {
        EXPECT_TRUE(contains(help, option)) << option;
    }
}

TEST(RunOptions, HelpListsTheScenariosWithTheirSummaries)
{
    const ScratchFolder folder;
    folder.write("b.scenario", "# the second one\n# more\npress\n");
    folder.write("a.scenario", "press\n# the first one\n");
    folder.write("notes.txt", "# not a scenario\n");
    const std::string help = sim::helpText(folder.path());
    const std::size_t first = help.find("\n    a ");
    EXPECT_LT(first, help.find("the first one\n"));
    EXPECT_LT(help.find("the first one\n"), help.find("\n    b "));
    EXPECT_TRUE(contains(help, "the second one\n"));
    EXPECT_FALSE(contains(help, "notes"));
}

} // namespace
