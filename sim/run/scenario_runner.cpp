// The acts of a scenario, and the watching in between.
#include "sim/run/scenario_runner.h"

#include "sim/run/signals.h"

#include <chrono>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace sim {

namespace {

/// Iterations from one look at the device to the next; it sends no more than one frame in that time.
constexpr std::uint64_t glance = 20;

/// How long, in iterations, the device may take for anything.
constexpr std::uint64_t longestWait = 60000;

/// How long its program may be stuck in one iteration.
constexpr auto patience = std::chrono::seconds(20);

/// Long enough for every progress line to be drawn.
constexpr const char* scriptPace = "STEP_SECONDS=0.05";

DeviceSetup completed(DeviceSetup setup)
{
    setup.time = Time::VirtualPaced;
    setup.patience = patience;
    setup.whileWaiting = checkSignals;
    setup.environment.emplace_back(scriptPace);
    return setup;
}

} // namespace

ScenarioRunner::ScenarioRunner(const Scenario& chosenScenario, const DeviceFiles& chosenFiles,
                               Observers chosenObservers, DeviceSetup setup)
    : scenario(chosenScenario), deviceFiles(chosenFiles), observers(chosenObservers),
      drive(deviceFiles.makeDrive(scenario.drive)), device(completed(std::move(setup)))
{}

std::string ScenarioRunner::perform()
{
    try {
        observe();
        for (const auto& phase : scenario.phases) {
            for (const Step& step : phase) {
                perform(step);
            }
        }
        return checkEnd();
    } catch (const DeviceEnded&) {
        throw std::runtime_error(tellEnd());
    }
}

void ScenarioRunner::perform(const Step& step)
{
    switch (step.action) {
    case Action::AwaitScreen:
        return awaitScreen(step.what);
    case Action::AwaitScript:
        return awaitScript(step.what);
    case Action::Plug:
        rememberMemory();
        device.plug(drive);
        return say("the drive is plugged in");
    case Action::Pull:
        device.unplug();
        return say("the drive is pulled out");
    case Action::TurnRight:
        device.turn(1);
        return say("the knob is turned to the right");
    case Action::Click:
        return click();
    }
}

void ScenarioRunner::awaitScreen(std::string_view name)
{
    if (!observers.references.contains(name)) {
        throw std::runtime_error("there is no reference picture " + std::string(name) + ".png");
    }
    runUntil([&] { return screenName == name; }, "the screen \"" + std::string(name) + "\"", glance);
}

void ScenarioRunner::awaitScript(std::string_view command)
{
    constexpr std::uint64_t atOnce = 1;
    runUntil([&] { return scripts.size() > scriptsAwaited; }, std::string(command) + " to start", atOnce);
    const std::string& started = scripts[scriptsAwaited++];
    if (started != command) {
        throw std::runtime_error(started + " was started instead of " + std::string(command));
    }
}

void ScenarioRunner::click()
{
    rememberMemory();
    say("the knob is clicked");
    device.press();
    runGlancing(SimulatedDevice::clickIterations);
    device.release();
    runGlancing(SimulatedDevice::clickIterations);
}

std::string ScenarioRunner::checkEnd()
{
    const std::string finalScreen = screenName;
    constexpr std::uint64_t aftermath = 500;
    run(aftermath);
    const auto violations = device.violations();
    if (!violations.empty()) {
        throw std::runtime_error("the updater misused the hardware: " + violations.front());
    }
    if (screenName != finalScreen) {
        throw std::runtime_error("the screen \"" + finalScreen + "\" does not stay");
    }
    if (scripts.size() != scriptsAwaited) {
        throw std::runtime_error("an unexpected script was started: " + scripts[scriptsAwaited]);
    }
    if (scenario.outcome != Outcome::LeftAlone) {
        return deviceFiles.verify(device.root(), scenario.outcome);
    }
    if (memoryContent(device.root()) != memoryBeforeScript) {
        throw std::runtime_error("the script that failed has changed the internal memory");
    }
    return "the screen \"" + finalScreen + "\" stays, and the script that failed left the internal memory as it was";
}

void ScenarioRunner::runUntil(const std::function<bool()>& isTrue, const std::string& awaited, std::uint64_t step)
{
    for (std::uint64_t waited = 0; !isTrue(); waited += step) {
        if (waited >= longestWait) {
            throw std::runtime_error("waited " + std::to_string(longestWait / 1000) + " s of device time for " +
                                     awaited);
        }
        run(step);
    }
}

void ScenarioRunner::runGlancing(std::uint64_t iterations)
{
    for (std::uint64_t done = 0; done < iterations; done += glance) {
        run(glance);
    }
}

void ScenarioRunner::run(std::uint64_t iterations)
{
    checkSignals();
    device.run(iterations);
    observe();
}

void ScenarioRunner::observe()
{
    iteration = device.iteration();
    observeWords(device.standardOutput(), outputSeen, "the updater writes: ");
    observeScripts();
    observeWords(device.standardError(), errorsSeen, "an error is told: ");
    observeScreen();
    isScriptRunning = device.isScriptRunning();
}

/// The log of the wires tells of a script as "MICROSECONDS run COMMAND".
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
            if (isScriptRunning) { // one script follows the other, with nothing in between
                rememberMemory();
            }
            scripts.push_back(command);
            say(command + " starts");
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
    observers.log.show(iteration, screen, screenName);
}

/// Tells the lines that are new. The last one may lack its end.
void ScenarioRunner::observeWords(const std::string& all, std::size_t& seen, const std::string& caption)
{
    std::istringstream text(all.substr(seen));
    for (std::string line; std::getline(text, line);) {
        say(caption + line);
    }
    seen = all.size();
}

std::string ScenarioRunner::tellEnd()
{
    std::string text = "the updater has ended: " + SimulatedDevice::explain(device.waitForEnd());
    std::istringstream errors(device.standardError());
    for (std::string line; std::getline(errors, line);) {
        text += "; " + line;
    }
    return text;
}

} // namespace sim
