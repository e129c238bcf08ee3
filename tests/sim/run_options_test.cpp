// Tests for the simulator's command line.
#include "sim/run/options.h"

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

TEST(RunOptions, DefaultsAreTheGivenValues)
{
    const Options options = parsed({});
    EXPECT_EQ(options.updater, "u");
    EXPECT_EQ(options.preload, "p");
    EXPECT_EQ(options.scripts, "s");
    EXPECT_EQ(options.scenario, "");
    EXPECT_EQ(options.frames, "");
    EXPECT_EQ(options.recording, "");
    EXPECT_EQ(options.movie, "");
    EXPECT_FALSE(options.wantsHelp);
}

TEST(RunOptions, AValueIsTheNextArgument)
{
    const Options options = parsed({"--updater", "a", "--preload", "b", "--scripts", "c", "--frames", "d", "--record",
                                    "e", "--scenario", "f", "--movie", "g"});
    EXPECT_EQ(options.updater, "a");
    EXPECT_EQ(options.preload, "b");
    EXPECT_EQ(options.scripts, "c");
    EXPECT_EQ(options.frames, "d");
    EXPECT_EQ(options.recording, "e");
    EXPECT_EQ(options.movie, "g");
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

TEST(RunOptions, HelpListsEveryOption)
{
    const std::string help = sim::helpText(SCENARIOS_DIR);
    EXPECT_TRUE(help.starts_with("usage: "));
    for (const char* option :
         {"--updater", "--preload", "--scripts", "--frames", "--play", "--scenario", "--record", "--movie"}) {
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
