// The simulated device's time.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <mutex>
#include <optional>

namespace sim {

/// The clock advances only while the main thread is in `pass`, during a sleep or a transfer, and no other thread is
/// busy. A thread is busy unless it is in `pass` or waits on a condition variable. The clock jumps from one event to
/// the next: the end of a transfer or a sleep of any thread. So the order and the times of all events are independent
/// of the speed of the machine.
class Timeline {
public:
    using Duration = std::chrono::nanoseconds;

    /// The simulated time since construction.
    [[nodiscard]] Duration now();

    /// Blocks the calling thread for `duration` of simulated time.
    void pass(Duration duration);

    /// Waits until no other thread is busy, so that all events up to the current time are complete.
    void awaitIdle();

    // Called by the functions that override C library functions, to count the busy threads other than the main thread.

    void threadStarts();
    void threadEnds();

    /// Exists while a thread waits on a condition variable.
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
        /// A woken thread counts as busy immediately, before it runs.
        bool isWoken = false;
    };
    /// Whether the condition variable is a member of this class. A thread that waits on a member must not create a
    /// `Waiting`.
    [[nodiscard]] bool owns(const void* conditionVariable);
    /// Marks one thread that waits on the condition variable, or all of them, as busy.
    void wake(const void* conditionVariable, bool all);

private:
    struct Transfer {
        Duration end;
        bool isOver = false;
    };

    void advance(std::unique_lock<std::mutex>& lock, Duration until);
    void waitForIdle(std::unique_lock<std::mutex>& lock);
    [[nodiscard]] bool canAdvanceTo(Duration time) const;
    void endBusy(std::unique_lock<std::mutex>& lock);

    std::mutex mutex;
    std::condition_variable becameIdle;
    std::condition_variable transferEnded;
    // Guarded by the mutex.
    Duration clock{};
    /// The time to which the main thread is advancing the clock; none while that thread runs.
    std::optional<Duration> target;
    int busyThreads = 0;
    std::list<Transfer*> transfers;
    std::list<Waiting*> waiters;
};

/// Returns true on the thread that runs `main`.
[[nodiscard]] bool onMainThread();

} // namespace sim
