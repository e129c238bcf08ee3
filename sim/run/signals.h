// Ends the program cleanly after a signal.
#pragma once

#include <exception>

namespace sim {

/// Thrown after a signal that ends the program.
class Interrupted : public std::exception {
public:
    [[nodiscard]] const char* what() const noexcept override { return "interrupted"; }
};

/// Installs handlers that record INT, TERM, HUP and PIPE. Signals that are ignored remain ignored, except PIPE.
void watchSignals();
/// The recorded signal; 0 for none.
[[nodiscard]] int caughtSignal();
/// Throws Interrupted if a signal has been recorded.
void checkSignals();
/// Ends the program with the default action of the signal.
[[noreturn]] void endBySignal(int signal);

} // namespace sim
