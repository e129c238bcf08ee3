// Prints the events and screens of a session, and saves the screens.
#pragma once

#include "sim/run/pictures.h"
#include "sim/run/scenario_log.h"
#include "sim/session/reference_screens.h"
#include "sim/session/session.h"

#include <iosfwd>

namespace sim {

class ScenarioPrinter {
public:
    ScenarioPrinter(const Session& chosenSession, const ReferenceScreens& screens, Pictures& chosenPictures,
                    std::ostream& stream)
        : session(chosenSession), references(screens), pictures(chosenPictures), log(stream)
    {}

    /// Prints the events since the last call. If the display has received a frame since then, saves the screen, and
    /// prints it as ScenarioLog::printScreen does. Throws std::runtime_error if printing or saving fails.
    void update();

private:
    const Session& session;
    const ReferenceScreens& references;
    Pictures& pictures;
    ScenarioLog log;
    std::size_t eventsPrinted = 0;
    /// The number of frames between the first power-on and the last call of `update`.
    std::uint64_t framesPrinted = 0;
};

} // namespace sim
