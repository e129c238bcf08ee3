// Applies inputs, runs the device, and observes it.
#include "sim/session/session.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace sim {

namespace fs = std::filesystem;

namespace {

/// The most iterations between two observations of the device, which sends at most one frame in that time.
constexpr std::uint64_t observationInterval = 20;

/// How long the updater may take to reply, including a step of a script that it waits for, and to end after it has
/// closed its socket.
constexpr auto replyTimeout = std::chrono::seconds(60);

/// The folders whose contents are lost at power-off.
constexpr const char* volatileFolders[] = {"tmp", "run"};

} // namespace

Session::Session(DeviceFiles& files, Programs chosenPrograms, SessionSetup chosenSetup)
    : deviceFiles(files), programs(std::move(chosenPrograms)), setup(std::move(chosenSetup)),
      deviceRoot(deviceFiles.makeDevice(setup)), port(deviceRoot)
{
    observation.faults = setup.faults;
    powerOn();
}

Session::~Session()
{
    device.reset();
    std::error_code ignored; // DeviceFiles removes any remaining files
    fs::remove_all(deviceRoot, ignored);
}

void Session::apply(const Statement& input)
{
    if (!isInput(input.verb)) {
        throw std::logic_error("not an input: " + print(input));
    }
    if (input.verb == Verb::Plug || input.verb == Verb::PlugFile) {
        return plug(input, imageFor(input));
    }
    record(input);
    applyToDevice(input);
}

void Session::plug(const Statement& input, const fs::path& image)
{
    record(input);
    exchangeDrive(input.verb == Verb::PlugFile ? "file" : input.text(), image);
}

fs::path Session::imageFor(const Statement& plugging) const
{
    return plugging.verb == Verb::PlugFile ? deviceFiles.makeDriveWith(plugging.text())
                                           : deviceFiles.drive(plugging.text());
}

void Session::record(const Statement& input)
{
    Statement recorded = input;
    recorded.at.reset();
    note(Event::Kind::Input, print(recorded));
    recorded.at = currentIteration();
    if (input.verb == Verb::PowerOff && observation.end) {
        inputs.push_back({Verb::ExpectEnded, {}, recorded.at});
    }
    inputs.push_back(std::move(recorded));
}

void Session::applyToDevice(const Statement& input)
{
    switch (input.verb) {
    case Verb::Turn:
        return withDevice([&] { device->turn(static_cast<std::int32_t>(input.number())); });
    case Verb::Press:
    case Verb::Release:
        return setButton(input.verb == Verb::Press);
    case Verb::Unplug:
        return exchangeDrive("", {});
    case Verb::PowerOff:
        return powerOff();
    case Verb::PowerOn:
        return powerOn();
    default:
        return setFault(input.text(), input.verb == Verb::FaultOn);
    }
}

void Session::powerOn()
{
    if (observation.isOn) {
        return;
    }
    for (const char* folder : volatileFolders) {
        fs::create_directory(deviceRoot / folder);
    }
    DeviceSetup deviceSetup;
    deviceSetup.updater = programs.updater;
    deviceSetup.preload = programs.preload;
    deviceSetup.root = deviceRoot;
    deviceSetup.injectedFaults = {observation.faults.begin(), observation.faults.end()};
    deviceSetup.frameTime = std::chrono::milliseconds(setup.frameMilliseconds);
    deviceSetup.scriptPace = scriptPace;
    deviceSetup.keepsTraffic = false;
    deviceSetup.timeout = replyTimeout;
    deviceSetup.endTimeout = replyTimeout;
    deviceSetup.whileWaiting = programs.whileWaiting;
    deviceSetup.wires = programs.wires;
    device = std::make_unique<SimulatedDevice>(std::move(deviceSetup));
    observation.isOn = true;
    observation.earlierIterations += std::exchange(observation.iteration, 0);
    observation.earlierFrames += std::exchange(observation.frames, 0);
    observation.script = observation.output = observation.error = "";
    earlierViolations = observation.violations.size();
    withDevice([this] {
        if (observation.isButtonDown) {
            device->press();
        }
        observeDevice();
    });
}

/// First waits until the running script, if any, has completed its current step, so that the result does not depend on
/// the speed of the script.
void Session::powerOff()
{
    withDevice([this] { device->awaitScriptStep(); });
    device.reset();
    for (const char* folder : volatileFolders) {
        fs::remove_all(deviceRoot / folder);
    }
    observation.isOn = false;
    observation.script.clear();
    observation.screen.fill(0);
    observation.display = {};
    observation.leds.fill(0);
    observation.end.reset();
}

/// `name` is empty for no drive.
void Session::exchangeDrive(const std::string& name, const fs::path& image)
{
    withDevice([this] { device->awaitScriptStep(); });
    name.empty() ? port.unplug() : port.plug(image);
    observation.drive = name;
}

void Session::setButton(bool isDown)
{
    observation.isButtonDown = isDown;
    withDevice([&] { isDown ? device->press() : device->release(); });
}

void Session::setFault(const std::string& name, bool on)
{
    on ? (void)observation.faults.insert(name) : (void)observation.faults.erase(name);
    withDevice([&] { device->setInjectedFault(name, on); });
}

void Session::run(std::uint64_t iterations)
{
    while (iterations > 0 && observation.isOn && !observation.end) {
        const std::uint64_t slice = std::min(iterations, observationInterval);
        withDevice([&] { runSlice(slice); });
        iterations -= slice;
    }
}

void Session::runSlice(std::uint64_t iterations)
{
    observation.iteration += iterations; // final if the updater ends in this slice; otherwise replaced by observeDevice
    device->run(iterations);
    if (programs.wires != nullptr) {
        programs.wires->check();
    }
    observeDevice();
}

void Session::withDevice(const std::function<void()>& operation)
{
    if (!observation.isOn || observation.end) {
        return;
    }
    try {
        operation();
    } catch (const DeviceEnded&) {
        observeEnd();
    }
}

void Session::observeDevice()
{
    observation.iteration = device->iteration();
    const DisplayRegisters display = device->displayRegisters();
    const std::uint64_t frames = device->frameCount();
    if (std::exchange(observation.frames, frames) != frames || std::exchange(observation.display, display) != display) {
        observation.screen = device->screen();
    }
    observation.display = display;
    observation.leds = device->leds();
    observeText(observation.output, device->standardOutput(), Event::Kind::Output);
    observeScript();
    observeText(observation.error, device->standardError(), Event::Kind::Error);
    observeViolations();
}

void Session::observeScript()
{
    std::string running = device->runningScript();
    if (!running.empty() && running != observation.script) {
        note(Event::Kind::Script, running);
    }
    observation.script = std::move(running);
}

void Session::observeText(std::string& seen, const std::string& all, Event::Kind kind)
{
    if (all.size() == seen.size()) {
        return;
    }
    std::istringstream text(all.substr(seen.size()));
    for (std::string line; std::getline(text, line);) {
        note(kind, line);
    }
    seen = all;
}

void Session::observeViolations()
{
    if (earlierViolations + device->violationCount() == observation.violations.size()) {
        return;
    }
    const std::vector<std::string> violations = device->violations();
    for (std::size_t i = observation.violations.size() - earlierViolations; i < violations.size(); ++i) {
        observation.violations.push_back(violations[i]);
        note(Event::Kind::Violation, violations[i]);
    }
}

void Session::observeEnd()
{
    observeText(observation.output, device->standardOutput(), Event::Kind::Output);
    observeText(observation.error, device->standardError(), Event::Kind::Error);
    observation.end = SimulatedDevice::explain(device->waitForEnd());
    note(Event::Kind::End, *observation.end);
}

void Session::note(Event::Kind kind, const std::string& text)
{
    log.push_back({observation.iteration, kind, text});
}

/// None while the device is off, or if the updater has not completed its first iteration.
std::optional<std::uint64_t> Session::currentIteration() const
{
    const bool isKnown = observation.isOn && observation.iteration > 0;
    return isKnown ? std::optional(observation.iteration) : std::nullopt;
}

Scenario Session::recording() const
{
    Scenario scenario = {.setup = setup};
    for (const Statement& input : inputs) {
        scenario.lines.push_back({input});
    }
    if (observation.isOn) {
        scenario.lines.push_back({{observation.end ? Verb::ExpectEnded : Verb::ExpectRunning, {}, currentIteration()}});
    }
    for (const std::string& violation : std::set(observation.violations.begin(), observation.violations.end())) {
        scenario.lines.push_back({{Verb::ExpectViolation, {violation}}});
    }
    return scenario;
}

} // namespace sim
