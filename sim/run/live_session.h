// Shows a session in a terminal, in real time.
#pragma once

#include "sim/run/button_timer.h"
#include "sim/run/live_view.h"
#include "sim/run/pictures.h"
#include "sim/session/live_clock.h"
#include "sim/session/reference_screens.h"
#include "sim/session/session.h"

#include <string>
#include <vector>

namespace sim {

class LiveSession {
public:
    /// The name of the drive that the user can insert.
    static constexpr const char* drive = "good";

    LiveSession(Session& chosenSession, const ReferenceScreens& screens, Pictures& chosenPictures)
        : session(chosenSession), references(screens), pictures(chosenPictures)
    {}

    /// Returns when the user quits, SIGINT arrives or the updater ends. Throws Interrupted after any other termination
    /// signal, or after SIGINT while waiting for the updater's reply, and std::runtime_error if the terminal or the
    /// device fails.
    void run();
    /// Prints the results; call it after `run`. Returns false if the updater ended or violated a protocol.
    [[nodiscard]] bool report() const;

private:
    void handle(Command command);
    void insertDrive();
    void ejectDrive();
    void saveScreen();
    void runDue(std::uint64_t iterations);
    void applyButton();
    void draw(LiveView& view);

    Session& session;
    const ReferenceScreens& references;
    Pictures& pictures;

    ButtonTimer buttonTimer;
    /// The result of the last insert, eject or save command; empty for none.
    std::string message;
    std::vector<std::string> screenshots;
    bool hasQuit = false;
    bool needsReset = false;
};

} // namespace sim
