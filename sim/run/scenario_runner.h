// Performs a scenario on a device, and checks what comes of it.
#pragma once

#include "sim/device/simulated_device.h"
#include "sim/run/device_files.h"
#include "sim/run/frame_folder.h"
#include "sim/run/reference_screens.h"
#include "sim/run/scenario_log.h"
#include "sim/run/scenarios.h"

#include <functional>
#include <string>
#include <vector>

namespace sim {

class ScenarioRunner {
public:
    /// Where what is seen goes to.
    struct Observers {
        const ReferenceScreens& references;
        FrameFolder& frames;
        ScenarioLog& log;
    };

    /// Starts the device. Its setup names the updater, the library and the root; the runner chooses the rest.
    ScenarioRunner(const Scenario& chosenScenario, const DeviceFiles& chosenFiles, Observers chosenObservers,
                   DeviceSetup setup);

    /// Returns in a line what has been verified. Throws std::runtime_error with a line when something is not as it
    /// should be, and Interrupted.
    std::string perform();

private:
    void perform(const Step& step);
    void awaitScreen(std::string_view name);
    void awaitScript(std::string_view command);
    void click();
    std::string checkEnd();

    /// Looks every `step` iterations. Throws when the device has run for too long and still `isTrue` is not.
    void runUntil(const std::function<bool()>& isTrue, const std::string& awaited, std::uint64_t step);
    void runGlancing(std::uint64_t iterations);
    void run(std::uint64_t iterations);
    void rememberMemory() { memoryBeforeScript = memoryContent(device.root()); }
    void observe();
    void observeScripts();
    void observeScreen();
    void observeWords(const std::string& all, std::size_t& seen, const std::string& caption);
    void say(const std::string& text) { observers.log.say(iteration, text); }
    [[nodiscard]] std::string tellEnd();

    const Scenario& scenario;
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
