// The loop of an interactive session.
#include "sim/run/live_session.h"

#include "sim/session/signals.h"

#include <chrono>
#include <csignal>
#include <iostream>
#include <stdexcept>
#include <utility>

namespace sim {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto frameInterval = std::chrono::milliseconds(33);

} // namespace

void LiveSession::run()
{
    Terminal terminal;
    LiveView view(terminal);
    LiveClock clock(Clock::now());
    auto nextFrame = Clock::now();
    while (!hasQuit && !session.observe().end) {
        terminal.awaitInput(std::chrono::ceil<std::chrono::milliseconds>(clock.untilDue(Clock::now())));
        if (caughtSignal() == SIGINT) {
            return;
        }
        checkSignals();
        for (Command command = terminal.readCommand(); command != Command::None; command = terminal.readCommand()) {
            handle(command);
        }
        runDue(clock.takeDue(Clock::now()));
        if (Clock::now() >= nextFrame) {
            nextFrame = Clock::now() + frameInterval;
            draw(view);
        }
    }
}

void LiveSession::runDue(std::uint64_t iterations)
{
    applyButton();
    const std::uint64_t before = session.observe().frames;
    session.run(iterations);
    const Observation& seen = session.observe();
    if (seen.frames != before) {
        pictures.add(seen, references.nameOf(seen.screen));
    }
}

void LiveSession::draw(LiveView& view)
{
    if (std::exchange(needsReset, false)) {
        view.reset();
    }
    view.draw(session.observe(), message);
}

void LiveSession::handle(Command command)
{
    switch (command) {
    case Command::TurnLeft:
        return session.apply({Verb::Turn, {"-1"}});
    case Command::TurnRight:
        return session.apply({Verb::Turn, {"+1"}});
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
    const bool hasDrive = !session.observe().drive.empty();
    message = hasDrive ? "a drive is already inserted" : "";
    if (!hasDrive) {
        session.apply({Verb::Plug, {drive}});
    }
}

void LiveSession::ejectDrive()
{
    const bool hasDrive = !session.observe().drive.empty();
    message = hasDrive ? "" : "no drive to eject";
    if (hasDrive) {
        session.apply({Verb::Unplug});
    }
}

void LiveSession::saveScreen()
{
    try {
        screenshots.push_back(saveScreenshot(session.observe().screen));
        message = "saved " + screenshots.back();
    } catch (const std::runtime_error& error) {
        message = error.what();
    }
}

void LiveSession::applyButton()
{
    if (const auto isPress = buttonTimer.update(session.observe().iteration)) {
        session.apply({*isPress ? Verb::Press : Verb::Release});
    }
}

bool LiveSession::report() const
{
    for (const std::string& name : screenshots) {
        std::cout << "saved " << name << '\n';
    }
    const Observation& seen = session.observe();
    if (seen.end) {
        std::cerr << "tonecrate-simulator: the updater has ended: " << *seen.end << '\n' << seen.error;
    }
    for (const std::string& violation : seen.violations) {
        std::cerr << "tonecrate-simulator: protocol violation: " << violation << '\n';
    }
    return !seen.end && seen.violations.empty();
}

} // namespace sim
