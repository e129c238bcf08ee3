#include "sim/panel/panel_json.h"

#include "sim/protocol/injected_faults.h"
#include "sim/session/scenario.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

namespace sim {

using nlohmann::json;

TEST(PanelJson, StateDescribesTheObservation)
{
    Observation observation;
    observation.isOn = true;
    observation.iteration = 1234;
    observation.frames = 5;
    observation.display = {
        .isOn = true, .sleeps = false, .isInverse = true, .contrast = DisplayRegisters::highestContrast};
    observation.leds[17] = 255;
    observation.drive = "good";
    observation.script = "format.sh 0";
    observation.faults = {fault::absentEncoder};
    const std::string text = stateJson({observation, false, 16, "menu", {}, {"tonecrate.fw"}});
    EXPECT_EQ(text.find('\n'), std::string::npos);
    const json expected = {
        {"iteration", 1234},
        {"frames", 5},
        {"running", false},
        {"speed", 16},
        {"power", true},
        {"drive", "good"},
        {"button", false},
        {"script", "format.sh 0"},
        {"screen", "menu"},
        {"leds", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255}},
        {"display", {{"on", true}, {"sleep", false}, {"inverse", true}, {"contrast", 1.0}}},
        {"faults", {fault::absentEncoder}},
        {"neededFiles", {"tonecrate.fw"}},
        {"pace", {{"iterations", 0}, {"late", 0}}},
        {"ended", nullptr},
    };
    EXPECT_EQ(json::parse(text), expected);
}

TEST(PanelJson, AbsentValuesAreNull)
{
    const json state = json::parse(stateJson({Observation(), true, 1, ""}));
    for (const char* name : {"drive", "script", "screen", "ended"}) {
        EXPECT_TRUE(state.at(name).is_null()) << name;
    }
}

TEST(PanelJson, AnEventNamesItsKindAndAnEndIsAnError)
{
    EXPECT_EQ(eventJson({7, Event::Kind::Violation, "a \"quoted\" text"}),
              R"({"iteration":7,"kind":"violation","text":"a \"quoted\" text"})");
    EXPECT_EQ(eventJson({7, Event::Kind::End, "exit status 1"}),
              R"({"iteration":7,"kind":"error","text":"exit status 1"})");
}

TEST(PanelJson, ReplacesBytesThatAreNotUtf8)
{
    EXPECT_EQ(json::parse(eventJson({1, Event::Kind::Output, "\xFF!"})).at("text"), "\xEF\xBF\xBD!");
}

TEST(PanelJson, OffersEveryFault)
{
    std::set<std::string> names;
    const json choices = json::parse(choicesJson());
    for (const json& entry : choices.at("faults")) {
        names.insert(entry.at("name"));
    }
    EXPECT_EQ(names, std::set<std::string>(std::begin(fault::all), std::end(fault::all)));
}

TEST(PanelJson, OffersOnlyValidDevices)
{
    const json choices = json::parse(choicesJson());
    for (const json& entry : choices.at("devices")) {
        SessionSetup setup;
        EXPECT_NO_THROW(setup.add(parseStatement(entry.at("setup").get<std::string>()))) << entry;
    }
}

TEST(PanelJson, FrameStartsWithTheFirstPixelInTheTopBits)
{
    Screen screen{};
    const std::uint8_t first[] = {0, 1, 2, 3, 3, 2, 1, 0, 0, 0, 0, 1};
    std::copy(std::begin(first), std::end(first), screen.begin());
    screen.back() = 3;
    const std::string text = frameText(screen);
    EXPECT_EQ(text.size(), 13656U);
    EXPECT_EQ(text.substr(0, 8), "G+QBAAAA");
    EXPECT_EQ(text.substr(text.size() - 8), "AAAAAw==");
}

} // namespace sim
