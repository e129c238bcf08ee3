#include "sim/panel/live_device.h"

#include "tests/support/scratch_folder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>

namespace sim {

using nlohmann::json;

namespace {

/// Reads the feed as a page does. Keeps the newest state and the whole log.
class Page {
public:
    explicit Page(Feed& chosenFeed) : feed(chosenFeed) {}

    /// Reads events until `isReached` returns true. Fails after a minute.
    void await(const char* what, const std::function<bool()>& isReached)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (!isReached()) {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << what << "; the last state is " << state;
            read();
        }
    }
    void awaitState(const char* name, const json& value)
    {
        await(name, [&] { return state.contains(name) && state[name] == value; });
    }
    void awaitLog(const std::string& text)
    {
        await(text.c_str(), [&] { return std::find(log.begin(), log.end(), text) != log.end(); });
    }

    json state = json::object();
    std::vector<std::string> log;

private:
    void read()
    {
        std::istringstream events(*feed.next(reader, std::chrono::milliseconds(100)));
        std::string name;
        for (std::string line; std::getline(events, line);) {
            if (line.starts_with("event: ")) {
                name = line.substr(7);
            } else if (line.starts_with("data: ") && name == "state") {
                state = json::parse(line.substr(6));
            } else if (line.starts_with("data: ") && name == "log") {
                log.push_back(json::parse(line.substr(6)).at("text"));
            }
        }
    }

    Feed& feed;
    Feed::Reader reader;
};

/// Shared by all tests, because creating the drive images takes a long time.
DeviceFiles& sharedFiles()
{
    static DeviceFiles files(SIM_FOLDER "/scripts", SIM_FOLDER "/firmware");
    return files;
}

class LiveDeviceTest : public testing::Test {
protected:
    ScratchFolder uploads;
    ReferenceScreens references{SCREENS_DIR};
    Feed feed;
    LiveDevice device{sharedFiles(), {UPDATER_PROGRAM, PRELOAD_LIBRARY, {}}, references, uploads.path(), feed};
    Page page{feed};
};

} // namespace

TEST_F(LiveDeviceTest, RunsImmediatelyAfterConstruction)
{
    page.awaitLog("Starting updater...");
    page.await("iteration", [&] { return page.state.value("iteration", 0) > 100; });
    EXPECT_EQ(page.state["power"], true);
    EXPECT_EQ(page.state["speed"], 1);
}

TEST_F(LiveDeviceTest, ThePaceCountsIterationsAtSpeedOneOnly)
{
    device.input("speed full");
    page.awaitState("speed", 0);
    const std::uint64_t counted = page.state["pace"]["iterations"];
    page.await("iteration", [&] { return page.state["iteration"] > 2000; });
    EXPECT_EQ(page.state["pace"]["iterations"], counted);
    device.input("speed 1");
    page.await("pace", [&] { return page.state["pace"]["iterations"] > counted; });
}

using LongLiveDeviceTest = LiveDeviceTest;

TEST_F(LongLiveDeviceTest, UpdatesTheFirmwareAtFullSpeed)
{
    device.input("speed full");
    device.input("plug good");
    page.awaitState("screen", "menu");
    device.input("turn +1");
    device.input("turn +1");
    page.awaitState("screen", "menu-update");
    device.input("click");
    page.awaitState("screen", "update-no");
    device.input("turn +1");
    page.awaitState("screen", "update-yes");
    device.input("click");
    page.awaitState("screen", "done");
    page.awaitLog("Everything done");
    EXPECT_EQ(device.screen(), device.movie().back().screen);
}

TEST_F(LiveDeviceTest, AdvancesOnlyByStepsWhilePaused)
{
    device.input("pause");
    page.awaitState("running", false);
    const std::uint64_t iteration = page.state["iteration"];
    device.input("step iteration");
    page.awaitState("iteration", iteration + 1);
    const std::uint64_t frames = page.state["frames"];
    device.input("step frame");
    page.awaitState("frames", frames + 1);
    device.input("resume");
    page.await("iteration", [&] { return page.state["iteration"] > iteration + 10; });
}

TEST_F(LiveDeviceTest, RecordsAClickAsPressAndRelease)
{
    device.input("click");
    page.awaitLog("release");
    device.input("pause");
    const Scenario recording = parseScenario(device.recording(), "recording");
    ASSERT_GE(recording.lines.size(), 2U);
    EXPECT_EQ(recording.lines[0].statement.verb, Verb::Press);
    EXPECT_EQ(recording.lines[1].statement.verb, Verb::Release);
    EXPECT_EQ(*recording.lines[1].statement.at - *recording.lines[0].statement.at, Session::clickIterations);
}

TEST_F(LiveDeviceTest, HoldsTheButton)
{
    device.input("hold 300");
    page.awaitLog("release");
    const Scenario recording = parseScenario(device.recording(), "recording");
    EXPECT_EQ(*recording.lines[1].statement.at - *recording.lines[0].statement.at, 300);
}

TEST_F(LiveDeviceTest, PowerOffEndsAClick)
{
    device.input("pause");
    device.input("click");
    page.awaitState("button", true);
    device.input("power off");
    page.awaitState("power", false);
    EXPECT_EQ(page.state["button"], false);
    device.input("resume");
    device.input("power on");
    page.await("iteration", [&] { return page.state["power"] == true && page.state["iteration"] > 10; });
}

TEST_F(LiveDeviceTest, RejectsWhatIsNotAnInput)
{
    const char* const rejected[] = {"",
                                    "nonsense",
                                    "speed 2",
                                    "step",
                                    "await screen menu",
                                    "wait 500",
                                    "at 5 press",
                                    "hold 0",
                                    "plug file \"/etc/passwd\"",
                                    "fault absent encoder"};
    for (const char* text : rejected) {
        EXPECT_THROW(device.input(text), SyntaxError) << text;
    }
}

TEST_F(LiveDeviceTest, ReplacesTheDevice)
{
    device.replace("# comment\n\ndevice installed none\nfault absent i2c\n");
    device.input("plug empty");
    page.awaitState("drive", "empty");
    EXPECT_EQ(page.state["faults"], json({"absent i2c"}));
    EXPECT_TRUE(device.recording().starts_with("device installed none\nfault absent i2c\n"));
    EXPECT_THROW(device.replace("press"), SyntaxError);
    EXPECT_THROW(device.replace("device installed"), SyntaxError);
    device.input("unplug");
    page.awaitState("drive", nullptr);
}

TEST_F(LiveDeviceTest, PlugsADriveWithTheUsersFile)
{
    device.input("speed full");
    device.plugFirmware("not a firmware");
    page.awaitState("screen", "failed-corrupt");
    EXPECT_EQ(page.state["drive"], "file");
    EXPECT_EQ(page.state["neededFiles"], json({"tonecrate.fw"}));
}

TEST_F(LiveDeviceTest, RecordsTheNamesOfTheUsersFiles)
{
    device.input("pause");
    for (const char* content : {"one", "other", "one"}) {
        device.plugFirmware(content);
    }
    const std::string text = device.recording();
    EXPECT_TRUE(text.starts_with("# Needs in its folder: tonecrate.fw (3 bytes), tonecrate-2.fw (5 bytes)\n")) << text;
    const Scenario recording = parseScenario(text, "recording");
    const char* const names[] = {"tonecrate.fw", "tonecrate-2.fw", "tonecrate.fw"};
    for (std::size_t i = 0; i < std::size(names); ++i) {
        EXPECT_EQ(recording.lines.at(i).statement.verb, Verb::PlugFile);
        EXPECT_EQ(recording.lines.at(i).statement.text(), names[i]);
    }
    device.replace("device installed none");
    EXPECT_FALSE(device.recording().starts_with("#"));
}

TEST_F(LiveDeviceTest, RunsWhileTheImageOfADriveIsMade)
{
    page.await("iteration", [&] { return page.state.value("iteration", 0) > 10; });
    const std::uint64_t before = page.state["iteration"];
    device.input("plug older");
    page.awaitState("drive", "older");
    EXPECT_GT(page.state["iteration"], before + 50);
}

TEST_F(LiveDeviceTest, APowerCycleRestartsAnUpdaterThatHasEnded)
{
    device.replace("fault absent mem");
    page.await("ended", [&] { return page.state["ended"].is_string(); });
    device.input("fault off absent mem");
    device.input("power off");
    device.input("power on");
    page.await("iteration", [&] { return page.state["ended"].is_null() && page.state["iteration"] > 100; });
}

} // namespace sim
