// Tests of the simulator's command line.
#include "sim/run/options.h"

#include "sim/run/scenarios.h"

#include <gmock/gmock.h>

namespace {

using sim::Options;
using sim::UsageError;
using testing::HasSubstr;
using testing::Property;
using testing::StartsWith;
using testing::Throws;

Options parsed(const std::vector<std::string>& arguments)
{
    return sim::parseOptions(arguments, {.updater = "u", .preload = "p", .scripts = "s"});
}

auto complainsAbout(const std::string& text)
{
    return Throws<UsageError>(Property(&UsageError::what, HasSubstr(text)));
}

TEST(RunOptions, AreTheDefaultsWithoutArguments)
{
    const Options options = parsed({});
    EXPECT_EQ(options.updater, "u");
    EXPECT_EQ(options.preload, "p");
    EXPECT_EQ(options.scripts, "s");
    EXPECT_EQ(options.scenario, "");
    EXPECT_EQ(options.frames, "");
    EXPECT_FALSE(options.wantsHelp);
}

TEST(RunOptions, TakeAValueFromTheNextArgument)
{
    const Options options = parsed({"--updater", "a", "--preload", "b", "--scripts", "c", "--frames", "d"});
    EXPECT_EQ(options.updater, "a");
    EXPECT_EQ(options.preload, "b");
    EXPECT_EQ(options.scripts, "c");
    EXPECT_EQ(options.frames, "d");
}

TEST(RunOptions, TakeAValueFromBehindTheEqualsSign)
{
    const Options options = parsed({"--frames=a=b", "--play=corrupt"});
    EXPECT_EQ(options.frames, "a=b");
    EXPECT_EQ(options.scenario, "corrupt");
}

TEST(RunOptions, LetTheLastOfEqualOptionsCount)
{
    EXPECT_EQ(parsed({"--play", "corrupt", "--play", "update"}).scenario, "update");
}

TEST(RunOptions, KnowEveryPlay)
{
    for (const sim::Scenario& scenario : sim::allScenarios()) {
        EXPECT_EQ(parsed({"--play", std::string(scenario.name)}).scenario, scenario.name);
    }
}

TEST(RunOptions, RefuseWhatTheyDoNotKnow)
{
    EXPECT_THAT([] { (void)parsed({"--fast"}); }, complainsAbout("unknown option --fast"));
    EXPECT_THAT([] { (void)parsed({"--fast=1"}); }, complainsAbout("unknown option --fast"));
    EXPECT_THAT([] { (void)parsed({"update"}); }, complainsAbout("unknown argument update"));
    EXPECT_THAT([] { (void)parsed({""}); }, complainsAbout("unknown argument"));
    EXPECT_THAT([] { (void)parsed({"--play", "chess"}); }, complainsAbout("unknown scenario chess"));
}

TEST(RunOptions, RefuseAnOptionWithoutItsValue)
{
    EXPECT_THAT([] { (void)parsed({"--frames"}); }, complainsAbout("--frames needs a value"));
    EXPECT_THAT([] { (void)parsed({"--frames", ""}); }, complainsAbout("--frames needs a value"));
    EXPECT_THAT([] { (void)parsed({"--play="}); }, complainsAbout("--play needs a value"));
}

TEST(RunOptions, AskForHelpWhateverFollows)
{
    EXPECT_TRUE(parsed({"--help", "--fast"}).wantsHelp);
    EXPECT_TRUE(parsed({"-h"}).wantsHelp);
}

TEST(RunOptions, AreAllInTheHelp)
{
    const std::string help = sim::helpText();
    EXPECT_THAT(help, StartsWith("usage: "));
    for (const char* option : {"--updater", "--preload", "--scripts", "--frames", "--play"}) {
        EXPECT_THAT(help, HasSubstr(option));
    }
    for (const sim::Scenario& scenario : sim::allScenarios()) {
        EXPECT_THAT(help, HasSubstr("    " + std::string(scenario.name) + " "));
    }
}

} // namespace
