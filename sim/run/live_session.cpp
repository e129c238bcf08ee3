// The loop of an interactive session.
#include "sim/run/live_session.h"

#include "sim/session/signals.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <iostream>
#include <stdexcept>
#include <utility>

namespace sim {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto frameInterval = std::chrono::milliseconds(33);

/// How long the updater may take to reply.
constexpr auto replyTimeout = std::chrono::seconds(5);

/// In iterations: long enough for a person to read the progress line.
constexpr std::uint64_t scriptPace = 250;

DeviceSetup completed(DeviceSetup setup)
{
    setup.time = Time::Real;
    setup.timeout = replyTimeout;
    setup.endTimeout = replyTimeout;
    setup.whileWaiting = checkSignals;
    setup.scriptPace = scriptPace;
    return setup;
}

} // namespace

LiveSession::LiveSession(DeviceSetup setup, std::filesystem::path driveImage, const ReferenceScreens& chosenReferences,
                         FrameFolder& chosenFrames)
    : drive(std::move(driveImage)), references(chosenReferences), frames(chosenFrames),
      device(completed(std::move(setup)))
{}

void LiveSession::run()
{
    try {
        showUntilQuit();
    } catch (const DeviceEnded&) {
        device.waitForEnd(); // `report` prints how it ended
    }
}

void LiveSession::showUntilQuit()
{
    Terminal terminal;
    LiveView view(terminal);
    auto nextFrame = Clock::now();
    while (!hasQuit) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(nextFrame - Clock::now());
        terminal.awaitInput(std::max(left, std::chrono::milliseconds(0)));
        if (caughtSignal() == SIGINT) {
            return;
        }
        checkSignals();
        for (Command command = terminal.readCommand(); command != Command::None; command = terminal.readCommand()) {
            handle(command);
        }
        if (std::exchange(needsReset, false)) {
            view.reset();
        }
        if (Clock::now() >= nextFrame) {
            nextFrame = Clock::now() + frameInterval;
            updateButton();
            updateSnapshot();
            view.draw(snapshot);
        }
    }
}

void LiveSession::handle(Command command)
{
    switch (command) {
    case Command::TurnLeft:
        return device.turn(-1);
    case Command::TurnRight:
        return device.turn(1);
    case Command::Click:
        return buttonTimer.click();
    case Command::Hold:
        return buttonTimer.hold();
    case Command::InsertDrive:
        return insertDrive();
    case Command::EjectDrive:
        return ejectDrive();
    case Command::Screenshot:
        return saveScreen();
    case Command::Redraw:
        needsReset = true;
        return;
    case Command::Quit:
        hasQuit = true;
        return;
    case Command::None:
        return;
    }
}

void LiveSession::insertDrive()
{
    snapshot.message = device.hasDrive() ? "a drive is already inserted" : "";
    if (!device.hasDrive()) {
        device.plug(drive);
    }
}

void LiveSession::ejectDrive()
{
    snapshot.message = device.hasDrive() ? "" : "no drive to eject";
    device.unplug();
}

void LiveSession::saveScreen()
{
    try {
        screenshots.push_back(saveScreenshot(snapshot.screen));
        snapshot.message = "saved " + screenshots.back();
    } catch (const std::runtime_error& error) {
        snapshot.message = error.what();
    }
}

void LiveSession::updateButton()
{
    if (const auto isPress = buttonTimer.update(device.iteration())) {
        *isPress ? device.press() : device.release();
    }
}

void LiveSession::updateSnapshot()
{
    snapshot.screen = device.screen();
    snapshot.leds = device.leds();
    snapshot.iteration = device.iteration();
    snapshot.hasDrive = device.hasDrive();
    snapshot.isButtonDown = buttonTimer.isDown();
    snapshot.isScriptRunning = device.isScriptRunning();
    violations = device.violations();
    snapshot.violation = violations.empty() ? "" : violations.back();
    if (device.frameCount() > 0) {
        frames.add(snapshot.screen, references.nameOf(snapshot.screen));
    }
}

bool LiveSession::report()
{
    for (const std::string& name : screenshots) {
        std::cout << "saved " << name << '\n';
    }
    const bool hasEnded = device.waitStatus().has_value();
    if (hasEnded) {
        reportEnd();
    }
    for (const std::string& violation : violations) {
        std::cerr << "tonecrate-simulator: protocol violation: " << violation << '\n';
    }
    return !hasEnded && violations.empty();
}

void LiveSession::reportEnd()
{
    std::cerr << "tonecrate-simulator: the updater has ended: " << SimulatedDevice::explain(*device.waitStatus())
              << '\n'
              << device.standardError();
}

} // namespace sim
