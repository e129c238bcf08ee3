// Records the last signal.
#include "sim/session/signals.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <poll.h>

namespace sim {

namespace {

constexpr int terminationSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

volatile std::sig_atomic_t recorded = 0;

void record(int signal)
{
    recorded = signal;
}

} // namespace

void watchSignals()
{
    for (const int signal : terminationSignals) {
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

/// Blocks the signals except while it waits, so that none can arrive between the check and the wait.
void awaitInput(int descriptor)
{
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int signal : terminationSignals) {
        sigaddset(&blocked, signal);
    }
    sigset_t unblocked;
    pthread_sigmask(SIG_BLOCK, &blocked, &unblocked);
    pollfd input = {descriptor, POLLIN, 0};
    while (recorded == 0 && ppoll(&input, 1, nullptr, &unblocked) < 0 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &unblocked, nullptr);
    checkSignals();
}

void endBySignal(int signal)
{
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::abort();
}

} // namespace sim
