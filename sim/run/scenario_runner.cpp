// Executes the steps of a scenario, and prints its events.
#include "sim/run/scenario_runner.h"

#include "sim/session/signals.h"

#include <chrono>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace sim {

namespace {

/// The number of iterations between two observations of the device, which sends at most one frame in that time.
constexpr std::uint64_t observationInterval = 20;

/// How long, in iterations, to wait for a screen or a script.
constexpr std::uint64_t longestWait = 60000;

/// How long the updater may take to reply.
constexpr auto replyTimeout = std::chrono::seconds(20);

/// In iterations: long enough for the updater to draw every progress line.
constexpr std::uint64_t scriptPace = 50;

DeviceSetup completed(DeviceSetup setup)
{
    setup.timeout = replyTimeout;
    setup.endTimeout = replyTimeout;
    setup.whileWaiting = checkSignals;
    setup.scriptPace = scriptPace;
    return setup;
}

} // namespace

ScenarioRunner::ScenarioRunner(const Play& chosenScenario, DeviceFiles& chosenFiles, Observers chosenObservers,
                               DeviceSetup setup)
    : scenario(chosenScenario), deviceFiles(chosenFiles), observers(chosenObservers),
      drive(deviceFiles.drive(scenario.drive)), device(completed(std::move(setup)))
{}

std::string ScenarioRunner::run()
{
    try {
        observe();
        for (const auto& phase : scenario.phases) {
            for (const Step& step : phase) {
                execute(step);
            }
        }
        return checkEnd();
    } catch (const DeviceEnded&) {
        throw std::runtime_error(describeEnd());
    }
}

void ScenarioRunner::execute(const Step& step)
{
    switch (step.action) {
    case Action::AwaitScreen:
        return awaitScreen(step.what);
    case Action::AwaitScript:
        return awaitScript(step.what);
    case Action::InsertDrive:
        rememberMemory();
        device.plug(drive);
        return print("drive inserted");
    case Action::EjectDrive:
        device.unplug();
        return print("drive ejected");
    case Action::TurnRight:
        device.turn(1);
        return print("knob turned right");
    case Action::Click:
        return click();
    }
}

void ScenarioRunner::awaitScreen(std::string_view name)
{
    if (!observers.references.contains(name)) {
        throw std::runtime_error("no reference picture " + std::string(name) + ".png");
    }
    runUntil([&] { return screenName == name; }, "screen \"" + std::string(name) + "\"", observationInterval);
}

void ScenarioRunner::awaitScript(std::string_view command)
{
    constexpr std::uint64_t everyIteration = 1;
    runUntil([&] { return scripts.size() > scriptsAwaited; }, "start of " + std::string(command), everyIteration);
    const std::string& started = scripts[scriptsAwaited++];
    if (started != command) {
        throw std::runtime_error("started " + started + " instead of " + std::string(command));
    }
}

void ScenarioRunner::click()
{
    rememberMemory();
    print("button clicked");
    device.press();
    runObserving(SimulatedDevice::clickIterations);
    device.release();
    runObserving(SimulatedDevice::clickIterations);
}

std::string ScenarioRunner::checkEnd()
{
    const std::string finalScreen = screenName;
    constexpr std::uint64_t settlingIterations = 500;
    runOnce(settlingIterations);
    const auto violations = device.violations();
    if (!violations.empty()) {
        throw std::runtime_error("protocol violation: " + violations.front());
    }
    if (screenName != finalScreen) {
        throw std::runtime_error("screen \"" + finalScreen + "\" was replaced");
    }
    if (scripts.size() != scriptsAwaited) {
        throw std::runtime_error("unexpected script: " + scripts[scriptsAwaited]);
    }
    if (scenario.outcome != Outcome::Unchanged) {
        return deviceFiles.verify(device.root(), scenario.outcome == Outcome::Formatted ? "none" : "2.0.0",
                                  scenario.outcome == Outcome::Reset ? "lost" : "kept");
    }
    if (memoryContent(device.root()) != memoryBeforeScript) {
        throw std::runtime_error("the failed script changed the internal memory");
    }
    return "screen \"" + finalScreen + "\", internal memory unchanged";
}

void ScenarioRunner::runUntil(const std::function<bool()>& isTrue, const std::string& awaited, std::uint64_t step)
{
    for (std::uint64_t waited = 0; !isTrue(); waited += step) {
        if (waited >= longestWait) {
            throw std::runtime_error("no " + awaited + " within " + std::to_string(longestWait / 1000) +
                                     " s of device time");
        }
        runOnce(step);
    }
}

void ScenarioRunner::runObserving(std::uint64_t iterations)
{
    for (std::uint64_t done = 0; done < iterations; done += observationInterval) {
        runOnce(observationInterval);
    }
}

void ScenarioRunner::runOnce(std::uint64_t iterations)
{
    checkSignals();
    device.run(iterations);
    observe();
}

void ScenarioRunner::observe()
{
    iteration = device.iteration();
    observeOutput(device.standardOutput(), outputSeen, "updater output: ");
    observeScripts();
    observeOutput(device.standardError(), errorsSeen, "updater error: ");
    observeScreen();
    isScriptRunning = device.isScriptRunning();
}

/// The traffic log records the start of a script as "MICROSECONDS run COMMAND".
void ScenarioRunner::observeScripts()
{
    std::size_t count = 0;
    for (const std::string& entry : device.traffic()) {
        std::istringstream words(entry);
        std::string time;
        std::string verb;
        std::string command;
        words >> time >> verb >> std::ws;
        if (verb == "run" && std::getline(words, command) && ++count > scripts.size()) {
            if (isScriptRunning) { // the next script starts as soon as the previous one ends
                rememberMemory();
            }
            scripts.push_back(command);
            print("script started: " + command);
        }
    }
}

void ScenarioRunner::observeScreen()
{
    const std::uint64_t frames = device.frameCount();
    if (frames == frameCount) {
        return;
    }
    frameCount = frames;
    const Screen screen = device.screen();
    screenName = observers.references.nameOf(screen);
    observers.frames.add(screen, screenName);
    observers.log.printScreen(iteration, screen, screenName);
}

/// Prints the new lines. The last line may be incomplete.
void ScenarioRunner::observeOutput(const std::string& all, std::size_t& seen, const std::string& caption)
{
    std::istringstream text(all.substr(seen));
    for (std::string line; std::getline(text, line);) {
        print(caption + line);
    }
    seen = all.size();
}

std::string ScenarioRunner::describeEnd()
{
    std::string text = "the updater has ended: " + SimulatedDevice::explain(device.waitForEnd());
    std::istringstream errors(device.standardError());
    for (std::string line; std::getline(errors, line);) {
        text += "; " + line;
    }
    return text;
}

} // namespace sim
