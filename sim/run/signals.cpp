// Remembering the signal that came.
#include "sim/run/signals.h"

#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace sim {

namespace {

volatile std::sig_atomic_t remembered = 0;

void remember(int signal)
{
    remembered = signal;
}

} // namespace

void watchSignals()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler == SIG_IGN && signal != SIGPIPE) {
            continue;
        }
        action.sa_handler = remember;
        action.sa_flags = 0;
        sigaction(signal, &action, nullptr);
    }
}

int caughtSignal()
{
    return remembered;
}

void checkSignals()
{
    if (remembered != 0) {
        throw Interrupted();
    }
}

void endBySignal(int signal)
{
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::abort();
}

} // namespace sim
