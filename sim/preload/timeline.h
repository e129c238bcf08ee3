// The simulated device's time, real or virtual.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <mutex>

namespace sim {

/// In real time, sleeping sleeps. In virtual time the clock moves only while the main thread sleeps, and jumps from one
/// event to the next: a transfer that another thread has begun ends exactly when its time has come, and the clock waits
/// until that thread rests again, that is until it waits on a condition variable, for a transfer, or has ended. So what
/// happens at which moment does not depend on the machine.
class Timeline {
public:
    using Duration = std::chrono::nanoseconds;

    Timeline();

    void setVirtual(bool value) { isVirtual = value; }
    [[nodiscard]] bool getVirtual() const { return isVirtual; }
    /// Time since the start.
    [[nodiscard]] Duration now();

    /// The calling thread does nothing for that long.
    void pass(Duration duration);

    /// In virtual time, waits until every other thread rests: all that can happen before the clock moves has happened.
    void awaitRest();

    // What the threads other than the main one do, told by the intercepted calls.

    void threadStarts();
    void threadEnds();

    /// A thread's stay in a wait on a condition variable.
    class Waiting {
    public:
        Waiting(Timeline& owner, const void* conditionVariable);
        Waiting(const Waiting&) = delete;
        Waiting& operator=(const Waiting&) = delete;
        ~Waiting();

    private:
        friend class Timeline;
        Timeline& timeline;
        const void* condition;
        bool isWoken = false;
    };
    /// The one that this class waits on itself, which does not count.
    [[nodiscard]] const void* ownConditionVariable() { return changed.native_handle(); }
    /// One thread, or all, that wait on the condition variable are about to run.
    void wake(const void* conditionVariable, bool all);

private:
    struct Transfer {
        Duration end;
        bool isOver = false;
    };

    void advance(std::unique_lock<std::mutex>& lock, Duration until);
    void waitForRest(std::unique_lock<std::mutex>& lock);

    std::chrono::steady_clock::time_point start;
    bool isVirtual = false;

    std::mutex mutex;
    std::condition_variable changed;
    // Guarded by the mutex.
    Duration clock{};
    int busyThreads = 0;
    std::list<Transfer*> transfers;
    std::list<Waiting*> waiters;
};

/// Whether the calling thread is the one that runs `main`.
[[nodiscard]] bool onMainThread();

} // namespace sim
