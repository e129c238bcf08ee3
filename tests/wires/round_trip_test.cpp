// Tests that a decoded recording has the screens and protocol violations that the simulator reports. Most tests play a
// scenario and decode its recording at the same time.
#include "sim/device/simulated_device.h"
#include "sim/session/scenario_player.h"
#include "sim/wires/recording_file.h"
#include "tests/sim/session_files.h"
#include "tests/support/scratch_folder.h"
#include "tests/wires/decoded_recording.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <optional>
#include <set>
#include <sys/stat.h>
#include <thread>

namespace {

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;
using sim::CaptureTime;
using sim::Screen;

/// The screens that the simulator shows, observed at intervals. Screen i appeared later than `after[i]`, but no later
/// than `list[i].time`.
struct ObservedScreens {
    std::vector<DecodedScreen> list;
    std::vector<CaptureTime> after;

    void add(CaptureTime before, CaptureTime now, const Screen& screen)
    {
        addDistinct(list, now, screen);
        after.resize(list.size(), before);
    }
};

struct Simulated {
    ObservedScreens screens;
    Lines violations;
};

Simulated simulate(const sim::Scenario& scenario, const fs::path& pipe)
{
    sim::RecordingFile recording(pipe, sim::RecordingState::noLimit); // opened first, because the decoder waits for it
    sim::Session session(files(), {UPDATER, PRELOAD, {}, &recording}, scenario.setup);
    Simulated simulated;
    CaptureTime before{};
    sim::ScenarioPlayer player(session, files(), references(), [&] {
        const CaptureTime now = std::chrono::nanoseconds(recording.getState().end);
        simulated.screens.add(std::exchange(before, now), now, session.observe().screen);
    });
    player.play(scenario, "scenario");
    simulated.violations = session.observe().violations;
    return simulated;
}

void expectEqualAfterARoundTrip(const sim::Scenario& scenario)
{
    const ScratchFolder folder;
    const fs::path pipe = folder / "wires.vcd";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::optional<DecodedRecording> decoded;
    std::jthread decoder([&] { decoded.emplace(pipe); });
    const Simulated simulated = simulate(scenario, pipe);
    decoder.join();

    EXPECT_EQ(decoded->violations(), simulated.violations);
    const std::vector<DecodedScreen>& expected = simulated.screens.list;
    const std::vector<DecodedScreen>& actual = decoded->screens();
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_TRUE(actual[i].screen == expected[i].screen) << "screen " << i;
        EXPECT_GT(actual[i].time, simulated.screens.after[i]) << "screen " << i;
        EXPECT_LE(actual[i].time, expected[i].time) << "screen " << i;
    }
}

/// The times at which the transfers of the frames end. The log contains the times at which they begin, in whole
/// microseconds.
std::vector<CaptureTime> endsOfFrames(const Lines& traffic)
{
    constexpr std::chrono::nanoseconds frameTime(10240 * 8 * 80);
    std::vector<CaptureTime> ends;
    for (const std::string& entry : traffic) {
        if (entry.ends_with(" spi D [10240 bytes]")) {
            ends.emplace_back(std::chrono::microseconds(std::stoll(entry)) + frameTime);
        }
    }
    return ends;
}

TEST(RoundTripTimes, AgreeWithTheLogToTheMicrosecond)
{
    constexpr std::uint64_t someIterations = 600; // iterations; the test requires more than three frames
    const ScratchFolder folder;
    sim::RecordingFile recording(folder / "wires.vcd", sim::RecordingState::noLimit);
    sim::SimulatedDevice device(
        {.updater = UPDATER, .preload = PRELOAD, .root = folder / "device", .wires = &recording});
    device.runTo(someIterations);
    recording.finish();
    const std::vector<CaptureTime> expected = endsOfFrames(device.traffic());
    const DecodedRecording decoded(folder / "wires.vcd");
    ASSERT_GT(expected.size(), 3U);
    ASSERT_EQ(decoded.screens().size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_GE(decoded.screens()[i].time, expected[i]) << "screen " << i;
        EXPECT_LT(decoded.screens()[i].time, expected[i] + std::chrono::microseconds(1)) << "screen " << i;
    }
}

TEST(ShortRoundTrip, ReproducesTheViolations)
{
    expectEqualAfterARoundTrip(sim::parseScenario("wait 200\n"
                                                  "fault on short spi\n"
                                                  "wait 300\n"
                                                  "fault off short spi\n"
                                                  "wait 300\n"
                                                  "expect violation \"a frame is short: 5120 of 10240 bytes\"\n",
                                                  "scenario"));
}

class RoundTrip : public testing::TestWithParam<std::string> {};

TEST_P(RoundTrip, DecodingReproducesTheScreensAndViolations)
{
    expectEqualAfterARoundTrip(sim::readScenario(SCENARIOS_DIR "/" + GetParam() + ".scenario"));
}

/// Every second scenario in alphabetical order, beginning with the first scenario if `first` is 0, or with the second
/// if `first` is 1.
std::vector<std::string> everySecondScenario(std::size_t first)
{
    const std::set<fs::path> sorted{fs::directory_iterator(SCENARIOS_DIR), {}};
    std::vector<std::string> names;
    for (const fs::path& file : sorted) {
        if (first++ % 2 == 0) {
            names.push_back(file.stem().string());
        }
    }
    return names;
}

std::string withUnderscores(std::string name)
{
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

// Two suites, which can run at the same time.
INSTANTIATE_TEST_SUITE_P(Even, RoundTrip, testing::ValuesIn(everySecondScenario(0)),
                         [](const auto& test) { return withUnderscores(test.param); });
INSTANTIATE_TEST_SUITE_P(Odd, RoundTrip, testing::ValuesIn(everySecondScenario(1)),
                         [](const auto& test) { return withUnderscores(test.param); });

} // namespace
