// Tests for the device's clock. If the clock waits for a thread that is not busy, the test hangs.
#include "sim/preload/timeline.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using sim::Timeline;

/// How long a busy thread delays the clock, in real time. If the clock does not wait, the test checks the result before
/// the delay has passed, and fails.
constexpr auto delay = 30ms;

using Notes = std::vector<std::pair<int, Timeline::Duration>>;

class VirtualTime : public testing::Test {
protected:
    ~VirtualTime() override { join(); }

    /// Starts a thread and reports its start and its end to the clock.
    void start(std::function<void()> body)
    {
        timeline.threadStarts();
        threads.emplace_back([this, run = std::move(body)] {
            run();
            timeline.threadEnds();
        });
    }
    void join()
    {
        for (std::thread& thread : threads) {
            thread.join();
        }
        threads.clear();
    }
    void note(int number)
    {
        const Timeline::Duration now = timeline.now();
        const std::lock_guard lock(mutex);
        notes.emplace_back(number, now);
    }

    /// A condition variable that reports waits and wake-ups to the clock, as the preloaded library does.
    class Condition {
    public:
        explicit Condition(Timeline& owner) : timeline(owner) {}

        void wait()
        {
            std::unique_lock lock(mutex);
            const std::uint64_t seen = posts;
            ++waits;
            while (posts == seen) {
                const Timeline::Waiting waiting(timeline, this);
                changed.wait(lock);
            }
        }
        /// Waits until `wait` has been called the given number of times in total, then wakes all threads.
        void wakeAll(int expectedWaits)
        {
            while (waits < expectedWaits) {
                std::this_thread::yield();
            }
            {
                const std::lock_guard lock(mutex);
                ++posts;
            }
            timeline.wake(this, true);
            changed.notify_all();
        }

    private:
        Timeline& timeline;
        std::mutex mutex;
        std::condition_variable changed;
        std::uint64_t posts = 0;
        std::atomic<int> waits = 0;
    };

    Timeline timeline;
    std::mutex mutex;
    Notes notes;
    std::vector<std::thread> threads;
};

TEST_F(VirtualTime, StopsWhileTheMainThreadRuns)
{
    EXPECT_EQ(timeline.now(), 0ns);
    std::this_thread::sleep_for(2ms);
    EXPECT_EQ(timeline.now(), 0ns);
}

TEST_F(VirtualTime, AdvancesExactlyByTheSleepsOfTheMainThread)
{
    timeline.pass(1ms);
    timeline.pass(1ns);
    timeline.pass(0ns);
    EXPECT_EQ(timeline.now(), 1'000'001ns);
}

TEST_F(VirtualTime, AdvancesWithoutSleepingInRealTime)
{
    const auto start = std::chrono::steady_clock::now();
    timeline.pass(std::chrono::hours(24));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::hours(1));
    EXPECT_EQ(timeline.now(), std::chrono::hours(24));
}

TEST_F(VirtualTime, EndsATransferOnAnotherThreadExactlyAtItsEndTime)
{
    start([this] {
        timeline.pass(6553600ns);
        note(1);
    });
    timeline.pass(6553599ns);
    EXPECT_TRUE(notes.empty());
    timeline.pass(5ms);
    EXPECT_EQ(notes, (Notes{{1, 6553600ns}}));
}

TEST_F(VirtualTime, EndsATransferBeforeASleepThatEndsAtTheSameTime)
{
    start([this] {
        timeline.pass(2ms);
        note(1);
    });
    timeline.pass(1ms);
    EXPECT_TRUE(notes.empty());
    timeline.pass(1ms);
    EXPECT_EQ(notes, (Notes{{1, 2ms}}));
}

TEST_F(VirtualTime, EndsSeveralTransfersInTheOrderOfTheirEndTimes)
{
    for (const int milliseconds : {7, 3, 5}) {
        start([this, milliseconds] {
            timeline.pass(std::chrono::milliseconds(milliseconds));
            note(milliseconds);
        });
    }
    timeline.pass(10ms);
    EXPECT_EQ(notes, (Notes{{3, 3ms}, {5, 5ms}, {7, 7ms}}));
    EXPECT_EQ(timeline.now(), 10ms);
}

TEST_F(VirtualTime, EndsTransfersWithTheSameEndTimeTogether)
{
    for (int i = 0; i < 4; ++i) {
        start([this] {
            timeline.pass(2ms);
            note(0);
        });
    }
    timeline.pass(2ms);
    EXPECT_EQ(notes, (Notes{{0, 2ms}, {0, 2ms}, {0, 2ms}, {0, 2ms}}));
}

TEST_F(VirtualTime, StartsTheNextTransferOfAThreadWhenThePreviousOneEnds)
{
    start([this] {
        for (int i = 0; i < 3; ++i) {
            timeline.pass(400us);
            note(i);
        }
    });
    timeline.pass(1ms);
    EXPECT_EQ(notes, (Notes{{0, 400us}, {1, 800us}}));
    timeline.pass(1ms);
    EXPECT_EQ(notes, (Notes{{0, 400us}, {1, 800us}, {2, 1200us}}));
}

TEST_F(VirtualTime, InterleavesTheTransfersOfTwoThreadsByTheirEndTimes)
{
    start([this] {
        timeline.pass(500us);
        note(1);
    });
    timeline.awaitIdle();
    start([this] {
        for (int i = 2; i < 5; ++i) {
            timeline.pass(200us);
            note(i);
        }
    });
    timeline.pass(1ms);
    EXPECT_EQ(notes, (Notes{{2, 200us}, {3, 400us}, {1, 500us}, {4, 600us}}));
}

TEST_F(VirtualTime, DoesNotAdvanceForAThreadWhileTheMainThreadRuns)
{
    start([this] {
        timeline.pass(1us);
        note(1);
    });
    timeline.awaitIdle();
    EXPECT_EQ(timeline.now(), 0ns);
    EXPECT_TRUE(notes.empty());
    timeline.pass(1us);
    EXPECT_EQ(notes, (Notes{{1, 1us}}));
}

TEST_F(VirtualTime, WaitsForAStartedThread)
{
    start([this] {
        std::this_thread::sleep_for(delay);
        note(1);
    });
    timeline.pass(5ms);
    EXPECT_EQ(notes, (Notes{{1, 0ms}}));
}

TEST_F(VirtualTime, WaitsAtTheEndOfATransferUntilItsThreadIsIdle)
{
    start([this] {
        timeline.pass(2ms);
        std::this_thread::sleep_for(delay);
        note(1);
    });
    timeline.pass(5ms);
    EXPECT_EQ(notes, (Notes{{1, 2ms}}));
}

TEST_F(VirtualTime, DoesNotWaitForAThreadThatWaitsOnACondition)
{
    Condition condition(timeline);
    start([&] { condition.wait(); });
    timeline.pass(5ms);
    EXPECT_EQ(timeline.now(), 5ms);
    condition.wakeAll(1);
    join();
}

TEST_F(VirtualTime, WaitsForAWokenThreadUntilItIsIdle)
{
    Condition condition(timeline);
    start([&] {
        condition.wait();
        std::this_thread::sleep_for(delay);
        note(1);
        condition.wait();
        note(2);
    });
    timeline.pass(1ms);
    condition.wakeAll(1);
    timeline.pass(5ms);
    EXPECT_EQ(notes, (Notes{{1, 1ms}}));
    condition.wakeAll(2);
    timeline.pass(1ms);
    EXPECT_EQ(notes, (Notes{{1, 1ms}, {2, 6ms}}));
}

TEST_F(VirtualTime, AwaitIdleWaitsForBusyThreadsWithoutAdvancing)
{
    start([this] {
        std::this_thread::sleep_for(delay);
        note(1);
        timeline.pass(1ms);
        note(2);
    });
    timeline.awaitIdle();
    EXPECT_EQ(notes, (Notes{{1, 0ms}}));
    EXPECT_EQ(timeline.now(), 0ms);
    timeline.pass(1ms);
}

TEST_F(VirtualTime, WaitsForAllThreadsThatAreWokenTogether)
{
    Condition condition(timeline);
    for (const int number : {1, 2, 3}) {
        start([&, number] {
            condition.wait();
            std::this_thread::sleep_for(delay * number);
            note(number);
        });
    }
    condition.wakeAll(3);
    timeline.pass(5ms);
    std::sort(notes.begin(), notes.end());
    EXPECT_EQ(notes, (Notes{{1, 0ms}, {2, 0ms}, {3, 0ms}}));
}

// The count of busy threads. These tests report starts, waits and ends of threads that do not exist.

class Counting : public VirtualTime {
protected:
    /// Returns true if the clock waits for `release`, which another thread calls after the delay.
    bool waitsFor(const std::function<void()>& release)
    {
        std::atomic<bool> isReleased = false;
        std::thread other([&] {
            std::this_thread::sleep_for(delay);
            isReleased = true;
            release();
        });
        timeline.pass(1ms);
        const bool hasWaited = isReleased;
        other.join();
        return hasWaited;
    }
    bool waitsForTheEndOfAThread()
    {
        return waitsFor([this] { timeline.threadEnds(); });
    }

    const int condition = 0;
    const int otherCondition = 0;
};

TEST_F(Counting, CountsAThreadFromItsStartToItsEnd)
{
    timeline.threadStarts();
    timeline.threadStarts();
    timeline.threadEnds();
    EXPECT_TRUE(waitsForTheEndOfAThread());
    timeline.pass(1ms);
}

TEST_F(Counting, CountsAWokenThreadOnce)
{
    timeline.threadStarts();
    {
        const Timeline::Waiting waiting(timeline, &condition);
        timeline.pass(1ms);
        timeline.wake(&condition, true);
        timeline.wake(&condition, true);
    }
    EXPECT_TRUE(waitsForTheEndOfAThread());
    timeline.pass(1ms);
}

TEST_F(Counting, CountsAWokenThreadBeforeItRuns)
{
    timeline.threadStarts();
    const Timeline::Waiting waiting(timeline, &condition);
    timeline.wake(&condition, false);
    EXPECT_TRUE(waitsForTheEndOfAThread());
}

TEST_F(Counting, CountsAThreadAfterASpuriousWakeup)
{
    timeline.threadStarts();
    {
        const Timeline::Waiting waiting(timeline, &condition);
    }
    timeline.wake(&condition, true);
    EXPECT_TRUE(waitsForTheEndOfAThread());
    timeline.pass(1ms);
}

TEST_F(Counting, CountsOneOfTwoThreadsWhenOneIsWoken)
{
    timeline.threadStarts();
    timeline.threadStarts();
    const Timeline::Waiting one(timeline, &condition);
    const Timeline::Waiting two(timeline, &condition);
    timeline.wake(&condition, false);
    EXPECT_TRUE(waitsForTheEndOfAThread());
    timeline.pass(1ms);
    timeline.wake(&condition, false);
    EXPECT_TRUE(waitsForTheEndOfAThread());
    timeline.pass(1ms);
}

TEST_F(Counting, IgnoresThreadsThatWaitOnAnotherCondition)
{
    timeline.threadStarts();
    const Timeline::Waiting waiting(timeline, &condition);
    timeline.wake(&otherCondition, true);
    timeline.wake(&otherCondition, false);
    timeline.pass(1ms);
    timeline.wake(&condition, true);
    EXPECT_TRUE(waitsForTheEndOfAThread());
}

TEST_F(Counting, WakesOnlyThreadsThatWaitOnTheCondition)
{
    timeline.threadStarts();
    timeline.threadStarts();
    const Timeline::Waiting other(timeline, &otherCondition);
    const Timeline::Waiting waiting(timeline, &condition);
    timeline.wake(&condition, false);
    EXPECT_TRUE(waitsForTheEndOfAThread());
    timeline.pass(1ms);
}

TEST_F(Counting, CountsNoThreadWhenNoneWaits)
{
    timeline.wake(&condition, true);
    timeline.wake(&condition, false);
    timeline.pass(1ms);
}

} // namespace
