// Records the last signal.
#include "sim/session/signals.h"

#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace sim {

namespace {

volatile std::sig_atomic_t recorded = 0;

void record(int signal)
{
    recorded = signal;
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
        action.sa_handler = record;
        action.sa_flags = 0;
        sigaction(signal, &action, nullptr);
    }
}

int caughtSignal()
{
    return recorded;
}

void checkSignals()
{
    if (recorded != 0) {
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
