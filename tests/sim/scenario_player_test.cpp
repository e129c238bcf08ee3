// Tests for playing scenarios: expectations that fail, and equal frames in every run.
#include "sim/session/scenario_player.h"

#include "tests/sim/comparisons.h"
#include "tests/sim/session_files.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <set>
#include <thread>

namespace {

using sim::Screen;
using sim::Session;

namespace fs = std::filesystem;

/// The frames of a run in order, each with the iteration at which it was observed; the recording; and the player's
/// result.
struct Played {
    std::vector<std::pair<std::uint64_t, Screen>> frames{};
    std::string recording{};
    std::string result{};
};

Played play(const sim::Scenario& scenario, std::uint64_t waitLimit = sim::ScenarioPlayer::longestWait)
{
    Session session(files(), {UPDATER, PRELOAD, {}}, scenario.setup);
    Played run;
    std::uint64_t frames = 0;
    sim::ScenarioPlayer player(
        session, files(), references(),
        [&] {
            const std::uint64_t now = session.observe().earlierFrames + session.observe().frames;
            if (std::exchange(frames, now) != now) {
                run.frames.emplace_back(session.observe().iteration, session.observe().screen);
            }
        },
        waitLimit);
    run.result = player.play(scenario, "test.scenario");
    run.recording = sim::print(session.recording());
    return run;
}

Played play(const std::string& text)
{
    return play(sim::parseScenario(text, "test.scenario"));
}

std::vector<fs::path> scenarioFiles()
{
    const std::set<fs::path> sorted{fs::directory_iterator(SCENARIOS_DIR), {}};
    return {sorted.begin(), sorted.end()};
}

std::string failureOf(const std::string& text, std::uint64_t waitLimit = 1000)
{
    return thrownMessage([&] { (void)play(sim::parseScenario(text, "test.scenario"), waitLimit); });
}

const std::string update = "plug good\n"
                           "await screen menu\n"
                           "turn -1\n"
                           "await screen menu-update\n"
                           "click\n"
                           "await screen update-no\n"
                           "turn +1\n"
                           "await screen update-yes\n"
                           "click\n";

TEST(ScenarioPlayer, ReportsTheFailedLineAndTheCause)
{
    const struct {
        const char* text;
        const char* message;
    } cases[] = {
        {"wait 100\nexpect screen menu\n", ":2: expected screen \"menu\", but the screen is \"waiting\""},
        {"# A comment.\nawait screen menu\n",
         ":2: no screen \"menu\" within 1 s of device time; the last known screen is \"waiting\""},
        {"await screen no-such-screen\n", ":1: no reference picture no-such-screen.png"},
        {"await output \"Started\"\n",
         ":1: no output \"Started\" within 1 s of device time; the last known screen is \"waiting\""},
        {"await frames 1000000\n",
         ":1: no frame 1000000 within 1 s of device time; the last known screen is \"waiting\""},
        {"expect screen menu\n", ":1: expected screen \"menu\", but no known screen has been shown"},
        {"await script decrypt.sh\n",
         ":1: no start of decrypt.sh within 1 s of device time; the last known screen is \"waiting\""},
        {"wait 100\nat 100 press\n", ":2: iteration 100 has passed: the device is at iteration 101"},
        {"power off\nawait screen menu\n", ":2: no screen \"menu\": the device is off"},
        {"expect memory firmware 2.0.0 presets kept\n",
         ":1: verify_memory.sh: wrong version: \"1.4.2\" instead of \"2.0.0\""},
        {"expect led bar 7\n", ":1: expected level 7, but LED output 12 has level 255"},
        {"expect led rgb 0 1 0\n", ":1: expected level 1, but LED output 10 has level 0"},
        {"wait 5\nexpect violation \"a word\"\n",
         ":2: expected the protocol violation \"a word\", but it did not occur"},
        {"wait 5\nexpect program ended\n", ":2: expected that the updater has ended, but it is running"},
        {"wait 5\nexpect program ended by signal 11\n", ":2: expected that the updater has ended, but it is running"},
        {"fault absent mem\nexpect program ended by signal 6\n",
         ":2: expected an end by signal 6, but the updater has ended: signal 11 (Segmentation fault); "
         "can't open /dev/mem! Make sure you are root!"},
        {"expect no frame for 200\n", ":1: expected no frame, but the display has received 2"},
        {"expect output \"Starting\"\n",
         ":1: expected output \"Starting\", but found output \"Starting updater...\\n\""},
        {"expect error \"a\\nb\"\n", ":1: expected error \"a\\nb\", but found no error"},
        {"await error \"a\\nb\"\n",
         ":1: no error \"a\\nb\" within 1 s of device time; the last known screen is \"waiting\""},
        {"expect script format.sh\n", ":1: expected script \"format.sh\", but found no script"},
        {"plug empty\nat 501 expect script none\n",
         ":2: expected no script, but found script \"decrypt.sh /dev/sda1\""},
        {"power off\nexpect program running\n", ":2: expected that the updater is running, but the device is off"},
        {"fault absent mem\nwait 5\n",
         ":1: the updater has ended: signal 11 (Segmentation fault); can't open /dev/mem! "
         "Make sure you are root!"},
        {"plug file \"/nowhere\"\n", ":1: cannot copy /nowhere: No such file or directory"},
    };
    for (const auto& [text, message] : cases) {
        EXPECT_EQ(failureOf(text), std::string("test.scenario") + message) << text;
    }
}

TEST(LongAwait, FailsAfterAMinuteOfDeviceTime)
{
    EXPECT_EQ(failureOf("await screen menu\n", sim::ScenarioPlayer::longestWait),
              "test.scenario:1: no screen \"menu\" within 60 s of device time; the last known screen is \"waiting\"");
}

TEST(ScenarioPlayer, AViolationFailsTheScenarioUnlessItIsExpected)
{
    const std::string cause = "wait 100\nfault on short spi\nplug empty\nwait 700\n";
    const std::string violation = "a frame is short: 5120 of 10240 bytes";
    EXPECT_EQ(failureOf(cause), "test.scenario:4: protocol violation: " + violation);
    EXPECT_NO_THROW(play(cause + "expect violation \"" + violation + "\"\n"));
    EXPECT_EQ(failureOf("expect violation none\n" + cause), "test.scenario:5: protocol violation: " + violation);
}

TEST(ScenarioPlayer, TheUpdaterMayEndIfTheScenarioExpectsIt)
{
    for (const std::string end : {"expect program ended\n", "expect program ended by signal 11\n"}) {
        EXPECT_EQ(play("fault absent mem\nwait 5\n" + end).result, "the updater has ended as expected") << end;
    }
}

TEST(ScenarioPlayer, ComparesOutputAndTheRunningScriptExactly)
{
    EXPECT_NO_THROW(play("fault absent spi\n"
                         "await error \"Unable\"\n"
                         "expect error \"Unable to open SPI\\n\"\n"
                         "expect output \"Starting updater...\\n\"\n"
                         "expect no frame for 100\n"
                         "expect script none\n"
                         "plug empty\n"
                         "at 501 expect script decrypt.sh /dev/sda1\n"));
}

TEST(ScenarioPlayer, ResultDescribesTheExpectedState)
{
    EXPECT_EQ(play("wait 100\nexpect screen waiting\nexpect memory unchanged\n").result,
              "screen \"waiting\", internal memory unchanged");
    EXPECT_EQ(play("wait 5\nexpect program running\n").result, "the updater is running");
}

/// Keeps all processors busy while it exists.
class Load {
public:
    Load()
    {
        for (unsigned i = 0; i < 2 * std::max(std::thread::hardware_concurrency(), 1U); ++i) {
            threads.emplace_back([this] {
                while (!isOver) {
                }
            });
        }
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;
    ~Load()
    {
        isOver = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

private:
    std::atomic<bool> isOver = false;
    std::vector<std::thread> threads;
};

TEST(LongRecordingReplay, ProducesTheSameFrames)
{
    const std::string scenarios[] = {
        "bus slow 70 ms\ndevice installed none\nplug whole-disk\nawait script decrypt.sh\nwait 777\nunplug\n"
        "hold 1100\nwait 3000\n",
        update + "await script format.sh\nwait 1000\npower off\nunplug\npower on\nturn -2\nwait 100\nplug good\n"
                 "await screen menu\n",
    };
    for (const std::string& text : scenarios) {
        const Played first = play(text);
        EXPECT_GT(first.frames.size(), 10U);
        const Played second = play(first.recording);
        EXPECT_EQ(second.recording, first.recording);
        EXPECT_TRUE(second.frames == first.frames) << first.recording;
    }
}

TEST(LongBusyReplay, ProducesTheSameFrames)
{
    const Played first = play(update + "await screen done\n");
    const Load load;
    EXPECT_TRUE(play(first.recording).frames == first.frames);
}

class LongReplay : public testing::TestWithParam<fs::path> {};

TEST_P(LongReplay, OfARecordedScenarioProducesTheSameFrames)
{
    const Played first = play(sim::readScenario(GetParam()));
    const Played second = play(sim::parseScenario(first.recording, "recording"));
    EXPECT_EQ(second.recording, first.recording);
    EXPECT_TRUE(second.frames == first.frames) << first.recording;
}

INSTANTIATE_TEST_SUITE_P(Scenarios, LongReplay, testing::ValuesIn(scenarioFiles()), [](const auto& tested) {
    std::string name = tested.param.stem().string();
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

} // namespace
