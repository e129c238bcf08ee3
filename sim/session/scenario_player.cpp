// Executes the statements of a scenario.
#include "sim/session/scenario_player.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace sim {

namespace {

constexpr std::uint64_t longestRun = 20;

bool hasStatement(const Scenario& scenario, const Statement& statement)
{
    return std::any_of(scenario.lines.begin(), scenario.lines.end(), [&](const Scenario::Line& line) {
        return line.statement.verb == statement.verb && line.statement.arguments == statement.arguments;
    });
}

bool hasVerb(const Scenario& scenario, Verb verb)
{
    return std::any_of(scenario.lines.begin(), scenario.lines.end(),
                       [&](const Scenario::Line& line) { return line.statement.verb == verb; });
}

/// The message describes an empty text as "no output", for example.
void expectEqual(const std::string& what, const std::string& expected, const std::string& found)
{
    const auto describe = [&](const std::string& text) {
        return text.empty() ? "no " + what : what + " " + quote(text);
    };
    if (found != expected) {
        throw std::runtime_error("expected " + describe(expected) + ", but found " + describe(found));
    }
}

} // namespace

ScenarioPlayer::ScenarioPlayer(Session& chosenSession, const DeviceFiles& files, const ReferenceScreens& screens,
                               std::function<void()> callAfterRunning, std::uint64_t chosenWaitLimit)
    : session(chosenSession), deviceFiles(files), references(screens), afterRunning(std::move(callAfterRunning)),
      waitLimit(chosenWaitLimit)
{}

std::string ScenarioPlayer::play(const Scenario& scenario, const std::string& name)
{
    std::size_t line = 1;
    comparesMemory = std::any_of(scenario.lines.begin(), scenario.lines.end(), [](const Scenario::Line& entry) {
        return entry.statement.verb == Verb::ExpectMemoryUnchanged;
    });
    try {
        keepMemory();
        afterRunning();
        checkHealth(scenario);
        for (const auto& [statement, number] : scenario.lines) {
            line = number;
            execute(statement);
            checkHealth(scenario);
        }
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(name + ":" + std::to_string(line) + ": " + error.what());
    }
    return result;
}

void ScenarioPlayer::execute(const Statement& statement)
{
    if (statement.at) {
        runTo(*statement.at);
    }
    if (isInput(statement.verb)) {
        session.apply(statement);
        if (statement.verb == Verb::PowerOn) {
            keepMemory();
        }
        return afterRunning();
    }
    switch (statement.verb) {
    case Verb::Click:
        return press(Session::clickIterations);
    case Verb::Hold:
        return press(static_cast<std::uint64_t>(statement.number()));
    case Verb::Wait:
        return run(static_cast<std::uint64_t>(statement.number()));
    case Verb::AwaitScreen:
    case Verb::AwaitOutput:
    case Verb::AwaitError:
    case Verb::AwaitScript:
    case Verb::AwaitFrames:
        return await(statement);
    default:
        return expect(statement);
    }
}

void ScenarioPlayer::press(std::uint64_t iterations)
{
    session.apply({Verb::Press});
    run(iterations);
    session.apply({Verb::Release});
    run(Session::clickIterations);
}

void ScenarioPlayer::run(std::uint64_t iterations)
{
    while (iterations > 0 && session.observe().isOn && !session.observe().end) {
        const std::uint64_t count = std::min(iterations, longestRun);
        session.run(count);
        iterations -= count;
        const std::string name = screenName();
        lastScreen = name.empty() ? lastScreen : name;
        afterRunning();
    }
}

void ScenarioPlayer::runTo(std::uint64_t iteration)
{
    const std::uint64_t now = session.observe().iteration;
    if (iteration < now) {
        throw std::runtime_error("iteration " + std::to_string(iteration) + " has passed: the device is at iteration " +
                                 std::to_string(now));
    }
    run(iteration - now);
}

void ScenarioPlayer::await(const Statement& statement)
{
    const Observation& seen = session.observe();
    switch (statement.verb) {
    case Verb::AwaitScreen:
        if (!references.contains(statement.text())) {
            throw std::runtime_error("no reference picture " + statement.text() + ".png");
        }
        result = "screen " + quote(statement.text());
        return runUntil([&] { return screenName() == statement.text(); }, result);
    case Verb::AwaitOutput:
        return runUntil([&] { return seen.output.find(statement.text()) != std::string::npos; },
                        "output " + quote(statement.text()));
    case Verb::AwaitError:
        return runUntil([&] { return seen.error.find(statement.text()) != std::string::npos; },
                        "error " + quote(statement.text()));
    case Verb::AwaitScript:
        return runUntil([&] { return findScriptStart(statement.text()); }, "start of " + statement.text());
    default: {
        const auto count = static_cast<std::uint64_t>(statement.number());
        return runUntil([&] { return seen.frames >= count; }, "frame " + statement.text());
    }
    }
}

/// Searches only the events that earlier calls have not searched. Ignores the starts of other scripts.
bool ScenarioPlayer::findScriptStart(const std::string& command)
{
    const std::vector<Event>& events = session.events();
    while (eventsSearched < events.size()) {
        const Event& event = events[eventsSearched++];
        if (event.kind == Event::Kind::Script && (event.text == command || event.text.starts_with(command + " "))) {
            return true;
        }
    }
    return false;
}

void ScenarioPlayer::runUntil(const std::function<bool()>& isTrue, const std::string& awaited)
{
    for (std::uint64_t waited = 0; !isTrue(); waited += longestRun) {
        if (session.observe().end || !session.observe().isOn) {
            throw std::runtime_error("no " + awaited + ": " + describeEnd());
        }
        if (waited >= waitLimit) {
            throw std::runtime_error("no " + awaited + " within " + std::to_string(waitLimit / 1000) +
                                     " s of device time; " + describeScreen());
        }
        run(longestRun);
    }
}

void ScenarioPlayer::expect(const Statement& statement)
{
    switch (statement.verb) {
    case Verb::ExpectScreen:
        if (screenName() != statement.text()) {
            throw std::runtime_error("expected screen " + quote(statement.text()) + ", but " + describeScreen());
        }
        result = "screen " + quote(statement.text());
        return;
    case Verb::ExpectNoFrame:
        return expectNoFrame(static_cast<std::uint64_t>(statement.number()));
    case Verb::ExpectOutput:
        return expectEqual("output", statement.text(), session.observe().output);
    case Verb::ExpectError:
        return expectEqual("error", statement.text(), session.observe().error);
    case Verb::ExpectNoScript:
        return expectEqual("script", "", session.observe().script);
    case Verb::ExpectScript:
        return expectEqual("script", statement.text(), session.observe().script);
    case Verb::ExpectMemory:
        result = deviceFiles.verify(session.root(), statement.text(0), statement.text(1));
        return;
    case Verb::ExpectMemoryUnchanged:
        return expectMemoryUnchanged();
    case Verb::ExpectLedBar:
    case Verb::ExpectLedRgb:
        return expectLeds(statement);
    case Verb::ExpectRunning:
    case Verb::ExpectEnded:
        return expectProgram(statement.verb == Verb::ExpectRunning);
    case Verb::ExpectEndedBySignal:
        return expectSignal(statement.text());
    case Verb::ExpectViolation: {
        const auto& violations = session.observe().violations;
        if (std::find(violations.begin(), violations.end(), statement.text()) == violations.end()) {
            throw std::runtime_error("expected the protocol violation " + quote(statement.text()) +
                                     ", but it did not occur");
        }
        return;
    }
    default: // Verb::ExpectNoViolation
        if (!session.observe().violations.empty()) {
            throw std::runtime_error("protocol violation: " + session.observe().violations.front());
        }
        return;
    }
}

void ScenarioPlayer::keepMemory()
{
    if (comparesMemory) {
        initialMemory = memoryContent(session.root());
    }
}

void ScenarioPlayer::expectMemoryUnchanged()
{
    if (memoryContent(session.root()) != initialMemory) {
        throw std::runtime_error("expected an unchanged internal memory, but it has changed since the last power-on");
    }
    result += std::string(result.empty() ? "" : ", ") + "internal memory unchanged";
}

/// Compares the outputs of the bar with one level, or the outputs of each RGB LED with three levels.
void ScenarioPlayer::expectLeds(const Statement& statement)
{
    if (statement.verb == Verb::ExpectLedBar) {
        for (std::size_t output = LedController::firstBarOutput; output < LedController::outputCount; ++output) {
            expectLevel(output, statement.number());
        }
        return;
    }
    for (const auto& channels : LedController::rgbOutputs) {
        for (std::size_t channel = 0; channel < channels.size(); ++channel) {
            expectLevel(channels[channel], statement.number(channel));
        }
    }
}

void ScenarioPlayer::expectLevel(std::size_t output, std::int64_t expected)
{
    const int level = session.observe().leds[output];
    if (level != expected) {
        throw std::runtime_error("expected level " + std::to_string(expected) + ", but LED output " +
                                 std::to_string(output) + " has level " + std::to_string(level));
    }
}

void ScenarioPlayer::expectProgram(bool toRun)
{
    const bool isRunning = session.observe().isOn && !session.observe().end;
    if (isRunning != toRun) {
        throw std::runtime_error("expected that the updater " +
                                 (isRunning ? "has ended, but it is running" : "is running, but " + describeEnd()));
    }
    result = "the updater " + std::string(isRunning ? "is running" : "has ended as expected");
}

void ScenarioPlayer::expectSignal(const std::string& number)
{
    expectProgram(false);
    const std::string end = session.observe().end.value_or("");
    if (!end.starts_with("signal " + number + " ")) {
        throw std::runtime_error("expected an end by signal " + number + ", but " + describeEnd());
    }
}

void ScenarioPlayer::expectNoFrame(std::uint64_t iterations)
{
    const std::uint64_t before = session.observe().frames;
    run(iterations);
    const std::uint64_t received = session.observe().frames - before;
    if (received != 0) {
        throw std::runtime_error("expected no frame, but the display has received " + std::to_string(received));
    }
}

void ScenarioPlayer::checkHealth(const Scenario& scenario) const
{
    const Observation& seen = session.observe();
    for (const std::string& violation : seen.violations) {
        if (!hasStatement(scenario, {Verb::ExpectViolation, {violation}})) {
            throw std::runtime_error("protocol violation: " + violation);
        }
    }
    if (seen.end && !hasVerb(scenario, Verb::ExpectEnded) && !hasVerb(scenario, Verb::ExpectEndedBySignal)) {
        throw std::runtime_error(describeEnd());
    }
}

std::string ScenarioPlayer::screenName() const
{
    return references.nameOf(session.observe().screen);
}

std::string ScenarioPlayer::describeScreen() const
{
    const std::string name = screenName();
    if (!name.empty()) {
        return "the screen is " + quote(name);
    }
    return lastScreen.empty() ? "no known screen has been shown" : "the last known screen is " + quote(lastScreen);
}

std::string ScenarioPlayer::describeEnd() const
{
    const Observation& seen = session.observe();
    if (!seen.isOn) {
        return "the device is off";
    }
    std::string text = "the updater has ended: " + seen.end.value_or("");
    for (const Event& event : session.events()) {
        text += event.kind == Event::Kind::Error ? "; " + event.text : "";
    }
    return text;
}

} // namespace sim
