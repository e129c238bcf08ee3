// Prints a line for each event, and each new screen.
#include "sim/run/scenario_printer.h"

#include <string>
#include <utility>

namespace sim {

namespace {

std::string describe(const Event& event)
{
    switch (event.kind) {
    case Event::Kind::Output:
        return "updater output: " + event.text;
    case Event::Kind::Error:
        return "updater error: " + event.text;
    case Event::Kind::Violation:
        return "protocol violation: " + event.text;
    case Event::Kind::Script:
        return "script started: /usr/sbin/" + event.text;
    case Event::Kind::End:
        return "the updater has ended: " + event.text;
    default:
        return event.text;
    }
}

} // namespace

void ScenarioPrinter::update()
{
    for (; eventsPrinted < session.events().size(); ++eventsPrinted) {
        const Event& event = session.events()[eventsPrinted];
        log.printEvent(event.iteration, describe(event));
    }
    const Observation& seen = session.observe();
    const std::uint64_t frames = seen.earlierFrames + seen.frames;
    if (std::exchange(framesPrinted, frames) == frames) {
        return;
    }
    const std::string name = references.nameOf(seen.screen);
    pictures.add(seen, name);
    log.printScreen(seen.iteration, seen.screen, name);
}

} // namespace sim
