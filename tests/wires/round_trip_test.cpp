// Decodes the recordings of scenarios while they run: the wires carry the same screens and the same protocol violations
// as the simulator reports.
#include "sim/decode/decoder.h"
#include "sim/decode/vcd_reader.h"
#include "sim/session/scenario_player.h"
#include "sim/wires/recording_file.h"
#include "tests/support/scratch_folder.h"

#include <algorithm>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;
using sim::CaptureTime;
using sim::Screen;

const sim::ReferenceScreens& references()
{
    static const sim::ReferenceScreens screens(SCREENS_DIR);
    return screens;
}

sim::DeviceFiles& files()
{
    static sim::DeviceFiles shared(SIM_DIR "/scripts", SIM_DIR "/firmware");
    return shared;
}

/// A screen that differs from the previous one, and when it appeared.
struct Shown {
    /// The simulator observes the device at intervals; the screen appeared after `after`.
    CaptureTime after;
    CaptureTime until;
    Screen screen;
};

/// The screens except blank ones: a display that is switched off is not blank on the wires, but dark.
class ShownScreens {
public:
    void add(CaptureTime after, CaptureTime until, const Screen& screen)
    {
        if (screen != Screen{} && (shown.empty() || shown.back().screen != screen)) {
            shown.push_back({after, until, screen});
        }
    }
    [[nodiscard]] const std::vector<Shown>& list() const { return shown; }

private:
    std::vector<Shown> shown;
};

class Decoded : public sim::DecodeListener {
public:
    void event(CaptureTime /*time*/, const std::string& /*text*/) override {}
    void note(CaptureTime /*time*/, const std::string& /*text*/) override {}
    void violation(CaptureTime /*time*/, const std::string& text) override { violations.push_back(text); }
    void screen(CaptureTime time, const Screen& seen) override { screens.add(time, time, seen); }

    ShownScreens screens;
    Lines violations;
};

/// Decodes the pipe until it is closed.
void decode(const fs::path& pipe, Decoded& decoded)
{
    const int descriptor = open(pipe.c_str(), O_RDONLY);
    sim::VcdReader reader(
        [descriptor](std::span<char> buffer) {
            return static_cast<std::size_t>(std::max<ssize_t>(read(descriptor, buffer.data(), buffer.size()), 0));
        },
        pipe.string());
    for (std::size_t i = 0; i < sim::lineCount; ++i) {
        reader.connect(reader.wires().at(i), static_cast<sim::Line>(i));
    }
    sim::Decoder decoder({}, decoded);
    reader.read(decoder.input());
    decoder.finish(reader.end());
    close(descriptor);
}

struct Simulated {
    ShownScreens screens;
    Lines violations;
};

Simulated simulate(const fs::path& scenarioFile, const fs::path& pipe)
{
    sim::RecordingFile recording(pipe, sim::RecordingState::noLimit); // opened first, because the decoder waits for it
    const sim::Scenario scenario = sim::readScenario(scenarioFile);
    sim::Session session(files(), {UPDATER, PRELOAD, {}, &recording}, scenario.setup);
    Simulated simulated;
    CaptureTime before{};
    sim::ScenarioPlayer player(session, files(), references(), [&] {
        const CaptureTime now = std::chrono::nanoseconds(recording.getState().end);
        simulated.screens.add(std::exchange(before, now), now, session.observe().screen);
    });
    player.play(scenario, scenarioFile.string());
    simulated.violations = session.observe().violations;
    return simulated;
}

void expectEqualAfterARoundTrip(const std::string& name)
{
    const ScratchFolder folder;
    const fs::path pipe = folder / "wires.vcd";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    Decoded decoded;
    std::jthread decoder([&] { decode(pipe, decoded); });
    const Simulated simulated = simulate(SCENARIOS_DIR "/" + name + ".scenario", pipe);
    decoder.join();

    EXPECT_EQ(decoded.violations, simulated.violations);
    const std::vector<Shown>& expected = simulated.screens.list();
    const std::vector<Shown>& actual = decoded.screens.list();
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_TRUE(actual[i].screen == expected[i].screen) << "screen " << i;
        EXPECT_GT(actual[i].until, expected[i].after) << "screen " << i;
        EXPECT_LE(actual[i].until, expected[i].until) << "screen " << i;
    }
}

class RoundTrip : public testing::TestWithParam<std::string> {};

TEST_P(RoundTrip, PreservesScreensTimesAndViolations)
{
    expectEqualAfterARoundTrip(GetParam());
}

/// Every second scenario, beginning with the one at `first` in alphabetical order.
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

/// One with protocol violations, one with a slow bus.
INSTANTIATE_TEST_SUITE_P(Sample, RoundTrip, testing::Values("cut-frames", "slow-bus"),
                         [](const auto& test) { return withUnderscores(test.param); });
// Two suites, which can run at the same time.
INSTANTIATE_TEST_SUITE_P(Even, RoundTrip, testing::ValuesIn(everySecondScenario(0)),
                         [](const auto& test) { return withUnderscores(test.param); });
INSTANTIATE_TEST_SUITE_P(Odd, RoundTrip, testing::ValuesIn(everySecondScenario(1)),
                         [](const auto& test) { return withUnderscores(test.param); });

} // namespace
