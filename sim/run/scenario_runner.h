// Runs a scenario on a device, and checks the result.
#pragma once

#include "sim/device/simulated_device.h"
#include "sim/run/frame_folder.h"
#include "sim/run/scenario_log.h"
#include "sim/run/scenarios.h"
#include "sim/session/device_files.h"
#include "sim/session/reference_screens.h"

#include <functional>
#include <string>
#include <vector>

namespace sim {

class ScenarioRunner {
public:
    /// Identify, store and log the screens and events.
    struct Observers {
        const ReferenceScreens& references;
        FrameFolder& frames;
        ScenarioLog& log;
    };

    /// Starts the device. Only `updater`, `preload` and `root` of `setup` are used.
    ScenarioRunner(const Play& chosenScenario, DeviceFiles& chosenFiles, Observers chosenObservers, DeviceSetup setup);

    /// Returns a line that describes the verified result. Throws std::runtime_error with a one-line message if a check
    /// fails, and Interrupted after a termination signal.
    [[nodiscard]] std::string run();

private:
    void execute(const Step& step);
    void awaitScreen(std::string_view name);
    void awaitScript(std::string_view command);
    void click();
    [[nodiscard]] std::string checkEnd();

    /// Checks `isTrue` every `step` iterations. Throws if it is still false after a minute of device time.
    void runUntil(const std::function<bool()>& isTrue, const std::string& awaited, std::uint64_t step);
    void runObserving(std::uint64_t iterations);
    void runOnce(std::uint64_t iterations);
    void rememberMemory() { memoryBeforeScript = memoryContent(device.root()); }
    void observe();
    void observeScripts();
    void observeScreen();
    void observeOutput(const std::string& all, std::size_t& seen, const std::string& caption);
    void print(const std::string& text) { observers.log.printEvent(iteration, text); }
    [[nodiscard]] std::string describeEnd();

    const Play& scenario;
    const DeviceFiles& deviceFiles;
    Observers observers;
    const std::filesystem::path drive;
    SimulatedDevice device;

    std::uint64_t iteration = 0;
    std::uint64_t frameCount = 0;
    std::string screenName;
    std::vector<std::string> scripts;
    std::size_t scriptsAwaited = 0;
    bool isScriptRunning = false;
    std::string memoryBeforeScript;
    std::size_t outputSeen = 0;
    std::size_t errorsSeen = 0;
};

} // namespace sim
