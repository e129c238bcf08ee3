// Ends the program cleanly after a termination signal.
#pragma once

#include <exception>

namespace sim {

/// Thrown after a termination signal.
class Interrupted : public std::exception {
public:
    [[nodiscard]] const char* what() const noexcept override { return "interrupted"; }
};

/// Installs handlers that record SIGINT, SIGTERM, SIGHUP and SIGPIPE. If the program was started with SIGINT, SIGTERM
/// or SIGHUP ignored, that signal stays ignored.
void watchSignals();
/// The recorded signal; 0 for none.
[[nodiscard]] int caughtSignal();
/// Throws Interrupted if a signal has been recorded.
void checkSignals();
/// Waits until a read from the descriptor would not block. Throws Interrupted after a termination signal, even if the
/// signal arrived before the call; such a signal would not interrupt a blocking read.
void awaitInput(int descriptor);
/// Ends the program with the default action of the signal.
[[noreturn]] void endBySignal(int signal);

} // namespace sim
