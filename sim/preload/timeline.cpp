// The virtual clock and the count of busy threads.
#include "sim/preload/timeline.h"

#include <algorithm>
#include <unistd.h>

namespace sim {

bool onMainThread()
{
    thread_local const bool isMain = gettid() == getpid(); // cached for speed: called in every iteration
    return isMain;
}

Timeline::Duration Timeline::now()
{
    const std::lock_guard lock(mutex);
    return clock;
}

void Timeline::pass(Duration duration)
{
    std::unique_lock lock(mutex);
    if (onMainThread()) {
        advance(lock, clock + duration);
        return;
    }
    if (canAdvanceTo(clock + duration)) {
        clock += duration;
        return;
    }
    Transfer transfer = {clock + duration};
    transfers.push_back(&transfer);
    endBusy(lock);
    lock.lock();
    transferEnded.wait(lock, [&] { return transfer.isOver; });
}

/// Returns true if the next event is at `time`, so the calling thread can advance the clock itself without a thread
/// switch.
bool Timeline::canAdvanceTo(Duration time) const
{
    return busyThreads == 1 && target && time <= *target &&
           std::all_of(transfers.begin(), transfers.end(), [&](const Transfer* other) { return other->end > time; });
}

void Timeline::awaitIdle()
{
    std::unique_lock lock(mutex);
    waitForIdle(lock);
}

void Timeline::advance(std::unique_lock<std::mutex>& lock, Duration until)
{
    target = until;
    for (;;) {
        waitForIdle(lock);
        const auto next = std::min_element(transfers.begin(), transfers.end(),
                                           [](const Transfer* a, const Transfer* b) { return a->end < b->end; });
        if (next == transfers.end() || (*next)->end > until) {
            break;
        }
        clock = (*next)->end;
        (*next)->isOver = true;
        transfers.erase(next);
        ++busyThreads;
        lock.unlock();
        transferEnded.notify_all();
        lock.lock();
    }
    clock = until;
    target.reset();
}

void Timeline::waitForIdle(std::unique_lock<std::mutex>& lock)
{
    becameIdle.wait(lock, [this] { return busyThreads == 0; });
}

/// Unlocks before notifying, so that the main thread does not wake up only to wait for the lock.
void Timeline::endBusy(std::unique_lock<std::mutex>& lock)
{
    const bool isIdle = --busyThreads == 0;
    lock.unlock();
    if (isIdle) {
        becameIdle.notify_all();
    }
}

bool Timeline::owns(const void* conditionVariable)
{
    return conditionVariable == becameIdle.native_handle() || conditionVariable == transferEnded.native_handle();
}

void Timeline::threadStarts()
{
    const std::lock_guard lock(mutex);
    ++busyThreads;
}

void Timeline::threadEnds()
{
    std::unique_lock lock(mutex);
    endBusy(lock);
}

Timeline::Waiting::Waiting(Timeline& owner, const void* conditionVariable)
    : timeline(owner), condition(conditionVariable)
{
    std::unique_lock lock(timeline.mutex);
    timeline.waiters.push_back(this);
    timeline.endBusy(lock);
}

Timeline::Waiting::~Waiting()
{
    const std::lock_guard lock(timeline.mutex);
    if (!isWoken) { // a spurious wakeup
        timeline.waiters.remove(this);
        ++timeline.busyThreads;
    }
}

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
