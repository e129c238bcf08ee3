// Ending in order when a signal asks for it.
#pragma once

#include <exception>

namespace sim {

/// A signal has asked the program to end.
class Interrupted : public std::exception {
public:
    [[nodiscard]] const char* what() const noexcept override { return "interrupted"; }
};

/// From now on the signals that ask a program to end (INT, TERM, HUP, PIPE) are only remembered. Those that the program
/// was started to ignore stay ignored.
void watchSignals();
/// The remembered signal; 0 for none.
[[nodiscard]] int caughtSignal();
/// Throws Interrupted when there is one.
void checkSignals();
/// Ends the program the way the signal would have.
[[noreturn]] void endBySignal(int signal);

} // namespace sim
