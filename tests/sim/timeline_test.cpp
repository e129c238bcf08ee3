// Tests of the device's clock. A clock that waits for the wrong thread shows up as a test that never ends.
#include "sim/preload/timeline.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <gmock/gmock.h>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using sim::Timeline;
using testing::ElementsAre;
using testing::Pair;
using testing::UnorderedElementsAre;

/// Real time in which a clock that does not wait would run away.
constexpr auto aWhile = 30ms;

class VirtualTime : public testing::Test {
protected:
    VirtualTime() { timeline.setVirtual(true); }
    ~VirtualTime() override { join(); }

    /// A thread that the clock knows of from here on.
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

    /// A condition variable as a program waits on it, told to the clock as the intercepted calls tell it.
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
        /// As soon as `wait` has been called that often in all.
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
    std::vector<std::pair<int, Timeline::Duration>> notes;
    std::vector<std::thread> threads;
};

TEST_F(VirtualTime, StandsStillWhileTheMainThreadRuns)
{
    EXPECT_EQ(timeline.now(), 0ns);
    std::this_thread::sleep_for(2ms);
    EXPECT_EQ(timeline.now(), 0ns);
}

TEST_F(VirtualTime, PassesExactlyWhileTheMainThreadSleeps)
{
    timeline.pass(1ms);
    timeline.pass(1ns);
    timeline.pass(0ns);
    EXPECT_EQ(timeline.now(), 1'000'001ns);
}

TEST_F(VirtualTime, TakesNoRealTime)
{
    const auto start = std::chrono::steady_clock::now();
    timeline.pass(std::chrono::hours(24));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::hours(1));
    EXPECT_EQ(timeline.now(), std::chrono::hours(24));
}

TEST_F(VirtualTime, EndsATransferOfAnotherThreadExactlyAtItsTime)
{
    start([this] {
        timeline.pass(6553600ns);
        note(1);
    });
    timeline.pass(6553599ns);
    EXPECT_THAT(notes, ElementsAre());
    timeline.pass(5ms);
    EXPECT_THAT(notes, ElementsAre(Pair(1, 6553600ns)));
}

TEST_F(VirtualTime, EndsATransferWithTheSleepThatEndsAtTheSameTime)
{
    start([this] {
        timeline.pass(2ms);
        note(1);
    });
    timeline.pass(1ms);
    EXPECT_THAT(notes, ElementsAre());
    timeline.pass(1ms);
    EXPECT_THAT(notes, ElementsAre(Pair(1, 2ms)));
}

TEST_F(VirtualTime, EndsSeveralTransfersInTheOrderOfTheirTimes)
{
    for (const int milliseconds : {7, 3, 5}) {
        start([this, milliseconds] {
            timeline.pass(std::chrono::milliseconds(milliseconds));
            note(milliseconds);
        });
    }
    timeline.pass(10ms);
    EXPECT_THAT(notes, ElementsAre(Pair(3, 3ms), Pair(5, 5ms), Pair(7, 7ms)));
    EXPECT_EQ(timeline.now(), 10ms);
}

TEST_F(VirtualTime, EndsTransfersOfTheSameTimeTogether)
{
    for (int i = 0; i < 4; ++i) {
        start([this] {
            timeline.pass(2ms);
            note(0);
        });
    }
    timeline.pass(2ms);
    EXPECT_THAT(notes, ElementsAre(Pair(0, 2ms), Pair(0, 2ms), Pair(0, 2ms), Pair(0, 2ms)));
}

TEST_F(VirtualTime, StartsATransferThatFollowsAnotherWhenThatOneEnds)
{
    start([this] {
        for (int i = 0; i < 3; ++i) {
            timeline.pass(400us);
            note(i);
        }
    });
    timeline.pass(1ms);
    EXPECT_THAT(notes, ElementsAre(Pair(0, 400us), Pair(1, 800us)));
    timeline.pass(1ms);
    EXPECT_THAT(notes, ElementsAre(Pair(0, 400us), Pair(1, 800us), Pair(2, 1200us)));
}

TEST_F(VirtualTime, WaitsForAThreadThatHasBeenStarted)
{
    start([this] {
        std::this_thread::sleep_for(aWhile);
        note(1);
    });
    timeline.pass(5ms);
    EXPECT_THAT(notes, ElementsAre(Pair(1, 0ms)));
}

TEST_F(VirtualTime, WaitsAtTheEndOfATransferUntilItsThreadRestsAgain)
{
    start([this] {
        timeline.pass(2ms);
        std::this_thread::sleep_for(aWhile);
        note(1);
    });
    timeline.pass(5ms);
    EXPECT_THAT(notes, ElementsAre(Pair(1, 2ms)));
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

TEST_F(VirtualTime, WaitsForAWokenThreadUntilItRestsAgain)
{
    Condition condition(timeline);
    start([&] {
        condition.wait();
        std::this_thread::sleep_for(aWhile);
        note(1);
        condition.wait();
        note(2);
    });
    timeline.pass(1ms);
    condition.wakeAll(1);
    timeline.pass(5ms);
    EXPECT_THAT(notes, ElementsAre(Pair(1, 1ms)));
    condition.wakeAll(2);
    timeline.pass(1ms);
    EXPECT_THAT(notes, ElementsAre(Pair(1, 1ms), Pair(2, 6ms)));
}

TEST_F(VirtualTime, LetsAllThreadsComeToRestWithoutMoving)
{
    start([this] {
        std::this_thread::sleep_for(aWhile);
        note(1);
        timeline.pass(1ms);
        note(2);
    });
    timeline.awaitIdle();
    EXPECT_THAT(notes, ElementsAre(Pair(1, 0ms)));
    EXPECT_EQ(timeline.now(), 0ms);
    timeline.pass(1ms);
}

TEST_F(VirtualTime, WaitsForEveryThreadThatIsWokenAtOnce)
{
    Condition condition(timeline);
    for (const int number : {1, 2, 3}) {
        start([&, number] {
            condition.wait();
            std::this_thread::sleep_for(aWhile * number);
            note(number);
        });
    }
    condition.wakeAll(3);
    timeline.pass(5ms);
    EXPECT_THAT(notes, UnorderedElementsAre(Pair(1, 0ms), Pair(2, 0ms), Pair(3, 0ms)));
}

// The counting itself, told step by step by a thread that is none.

class Counting : public VirtualTime {
protected:
    /// Whether the clock stood still until `release`, which happens after a while.
    bool waitsFor(const std::function<void()>& release)
    {
        std::atomic<bool> isReleased = false;
        std::thread other([&] {
            std::this_thread::sleep_for(aWhile);
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

TEST_F(Counting, CountsAThreadThatWakesUpByItself)
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

TEST_F(Counting, LeavesThreadsAloneThatWaitOnAnotherCondition)
{
    timeline.threadStarts();
    const Timeline::Waiting waiting(timeline, &condition);
    timeline.wake(&otherCondition, true);
    timeline.wake(&otherCondition, false);
    timeline.pass(1ms);
    timeline.wake(&condition, true);
    EXPECT_TRUE(waitsForTheEndOfAThread());
}

TEST_F(Counting, FindsTheRightConditionAmongOthers)
{
    timeline.threadStarts();
    timeline.threadStarts();
    const Timeline::Waiting other(timeline, &otherCondition);
    const Timeline::Waiting waiting(timeline, &condition);
    timeline.wake(&condition, false);
    EXPECT_TRUE(waitsForTheEndOfAThread());
    timeline.pass(1ms);
}

TEST_F(Counting, CountsNobodyWhenNobodyWaits)
{
    timeline.wake(&condition, true);
    timeline.wake(&condition, false);
    timeline.pass(1ms);
}

// Real time.

TEST(RealTime, MovesByItself)
{
    Timeline timeline;
    EXPECT_FALSE(timeline.getVirtual());
    const Timeline::Duration before = timeline.now();
    std::this_thread::sleep_for(2ms);
    EXPECT_GE(timeline.now() - before, 2ms);
}

TEST(RealTime, PassesByWaiting)
{
    Timeline timeline;
    const Timeline::Duration before = timeline.now();
    timeline.pass(3ms);
    EXPECT_GE(timeline.now() - before, 3ms);
}

TEST(RealTime, DoesNotWaitForThreadsToRest)
{
    Timeline timeline;
    timeline.threadStarts();
    timeline.awaitIdle();
}

TEST(RealTime, DoesNotWaitForLessThanASleepTakes)
{
    Timeline timeline;
    constexpr int bytes = 10240;
    const Timeline::Duration before = timeline.now();
    for (int i = 0; i < bytes; ++i) {
        timeline.pass(640ns);
    }
    EXPECT_LT(timeline.now() - before, 50us * bytes);
}

} // namespace
