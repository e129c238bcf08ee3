// Tests for the simulator's command line.
#include "sim/run/options.h"

#include "sim/run/scenarios.h"

#include "tests/sim/comparisons.h"

namespace {

using sim::Options;

Options parsed(const std::vector<std::string>& arguments)
{
    return sim::parseOptions(arguments, {.updater = "u", .preload = "p", .scripts = "s"});
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
    EXPECT_FALSE(options.wantsHelp);
}

TEST(RunOptions, AValueIsTheNextArgument)
{
    const Options options = parsed({"--updater", "a", "--preload", "b", "--scripts", "c", "--frames", "d"});
    EXPECT_EQ(options.updater, "a");
    EXPECT_EQ(options.preload, "b");
    EXPECT_EQ(options.scripts, "c");
    EXPECT_EQ(options.frames, "d");
}

TEST(RunOptions, AValueMayFollowAnEqualsSign)
{
    const Options options = parsed({"--frames=a=b", "--play=corrupt"});
    EXPECT_EQ(options.frames, "a=b");
    EXPECT_EQ(options.scenario, "corrupt");
}

TEST(RunOptions, ALaterOptionOverridesAnEarlierOne)
{
    EXPECT_EQ(parsed({"--play", "corrupt", "--play", "update"}).scenario, "update");
}

TEST(RunOptions, AcceptsEveryScenario)
{
    for (const sim::Play& scenario : sim::allScenarios()) {
        EXPECT_EQ(parsed({"--play", std::string(scenario.name)}).scenario, scenario.name);
    }
}

TEST(RunOptions, RejectsUnknownArguments)
{
    EXPECT_EQ(errorFor({"--fast"}), "unknown option --fast");
    EXPECT_EQ(errorFor({"--fast=1"}), "unknown option --fast");
    EXPECT_EQ(errorFor({"update"}), "unknown argument update");
    EXPECT_EQ(errorFor({""}), "unknown argument ");
    EXPECT_EQ(errorFor({"--play", "chess"}), "unknown scenario chess");
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
    const std::string help = sim::helpText();
    EXPECT_TRUE(help.starts_with("usage: "));
    for (const char* option : {"--updater", "--preload", "--scripts", "--frames", "--play"}) {
        EXPECT_TRUE(contains(help, option)) << option;
    }
    for (const sim::Play& scenario : sim::allScenarios()) {
        EXPECT_TRUE(contains(help, "    " + std::string(scenario.name) + " ")) << scenario.name;
    }
}

} // namespace
