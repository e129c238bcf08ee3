// The virtual clock and the bookkeeping of who is at rest.
#include "sim/preload/timeline.h"

#include <algorithm>
#include <thread>
#include <unistd.h>

namespace sim {

bool onMainThread()
{
    thread_local const bool isMain = gettid() == getpid(); // asked in every iteration of the program
    return isMain;
}

Timeline::Timeline() : start(std::chrono::steady_clock::now())
{}

Timeline::Duration Timeline::now()
{
    if (!isVirtual) {
        return std::chrono::steady_clock::now() - start;
    }
    const std::lock_guard lock(mutex);
    return clock;
}

void Timeline::pass(Duration duration)
{
    if (!isVirtual) {
        // Shorter than a sleep can be; a byte on the bus takes less than a microsecond.
        constexpr Duration shortest = std::chrono::microseconds(50);
        if (duration >= shortest) {
            std::this_thread::sleep_for(duration);
        }
        return;
    }
    std::unique_lock lock(mutex);
    if (onMainThread()) {
        advance(lock, clock + duration);
        return;
    }
    Transfer transfer = {clock + duration};
    transfers.push_back(&transfer);
    --busyThreads;
    changed.notify_all();
    changed.wait(lock, [&] { return transfer.isOver; });
}

void Timeline::awaitRest()
{
    if (isVirtual) {
        std::unique_lock lock(mutex);
        waitForRest(lock);
    }
}

void Timeline::advance(std::unique_lock<std::mutex>& lock, Duration until)
{
    for (;;) {
        waitForRest(lock);
        const auto next = std::min_element(transfers.begin(), transfers.end(),
                                           [](const Transfer* a, const Transfer* b) { return a->end < b->end; });
        if (next == transfers.end() || (*next)->end > until) {
            break;
        }
        clock = (*next)->end;
        (*next)->isOver = true;
        transfers.erase(next);
        ++busyThreads;
        changed.notify_all();
    }
    clock = until;
}

void Timeline::waitForRest(std::unique_lock<std::mutex>& lock)
{
    changed.wait(lock, [this] { return busyThreads == 0; });
}

void Timeline::threadStarts()
{
    const std::lock_guard lock(mutex);
    ++busyThreads;
}

void Timeline::threadEnds()
{
    const std::lock_guard lock(mutex);
    --busyThreads;
    changed.notify_all();
}

Timeline::Waiting::Waiting(Timeline& owner, const void* conditionVariable)
    : timeline(owner), condition(conditionVariable)
{
    const std::lock_guard lock(timeline.mutex);
    timeline.waiters.push_back(this);
    --timeline.busyThreads;
    timeline.changed.notify_all();
}

Timeline::Waiting::~Waiting()
{
    const std::lock_guard lock(timeline.mutex);
    if (!isWoken) { // it woke up by itself
        timeline.waiters.remove(this);
        ++timeline.busyThreads;
    }
}

/// The woken count as busy from here on, not from when they get to run, so that the clock cannot slip past them.
void Timeline::wake(const void* conditionVariable, bool all)
{
    const std::lock_guard lock(mutex);
    for (auto waiter = waiters.begin(); waiter != waiters.end();) {
        if ((*waiter)->condition != conditionVariable) {
            ++waiter;
            continue;
        }
        (*waiter)->isWoken = true;
        ++busyThreads;
        waiter = waiters.erase(waiter);
        if (!all) {
            return;
        }
    }
}

} // namespace sim
