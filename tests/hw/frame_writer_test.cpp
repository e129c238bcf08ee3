// Tests of the frame thread; they also run under the thread sanitizer.
//
// Nothing here looks at a clock: a transfer is held inside its write until the test lets it go. Something that waits
// where it must not shows up as a test that never ends.
#include "hw/frame_writer.h"

#include "tests/support/system_calls.h"

#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <optional>
#include <random>
#include <thread>
#include <unistd.h>

namespace {

using testing::ElementsAre;

/// The number is told by every four bytes of the frame, so that a frame of two is recognised.
Frame numberedFrame(std::uint32_t number)
{
    Frame frame;
    for (std::size_t i = 0; i < frame.size(); i += sizeof number) {
        std::memcpy(&frame[i], &number, sizeof number);
    }
    return frame;
}

class Writer : public testing::Test {
protected:
    Writer()
    {
        calls.takeLog();
        writer.emplace(spi, SystemCalls::dcLine);
    }

    /// The numbers of the frames sent, each of which must have gone out whole and as data behind the write command.
    [[nodiscard]] std::vector<std::uint32_t> sentNumbers() const
    {
        std::vector<std::uint32_t> numbers;
        for (const Transfer& transfer : calls.transfers()) {
            std::uint32_t number = 0;
            EXPECT_EQ(transfer.bytes.size(), sizeof(Frame));
            std::memcpy(&number, transfer.bytes.data(), sizeof number);
            const Frame whole = numberedFrame(number);
            EXPECT_TRUE(std::equal(whole.begin(), whole.end(), transfer.bytes.begin(), transfer.bytes.end()))
                << "a torn frame " << number;
            EXPECT_EQ(transfer.commandBefore, 0x5C);
            EXPECT_TRUE(transfer.commandWasCommand);
            EXPECT_TRUE(transfer.isData);
            EXPECT_TRUE(transfer.wasStill);
            numbers.push_back(number);
        }
        return numbers;
    }

    /// Posts the frame and returns when its transfer has begun, held.
    void postHeld(std::uint32_t number)
    {
        calls.holdTransfers();
        writer->post(numberedFrame(number));
        calls.waitUntilBegun(1);
    }

    SystemCalls calls;
    int spi = calls.openDevice("/dev/spidev0.0", O_WRONLY);
    std::optional<FrameWriter> writer;
};

TEST_F(Writer, SendsTheCommandWithTheLineLowAndTheFrameWithTheLineHigh)
{
    writer->post(numberedFrame(1));
    writer.reset();
    EXPECT_THAT(calls.takeLog(), ElementsAre("command 5C", "transfer of 10240 bytes"));
    EXPECT_THAT(sentNumbers(), ElementsAre(1));
}

TEST_F(Writer, SendsNothingWithoutAFrame)
{
    writer.reset();
    EXPECT_THAT(calls.takeLog(), testing::IsEmpty());
}

TEST_F(Writer, SendsFramesInTheirOrder)
{
    for (std::uint32_t number = 1; number <= 5; ++number) {
        writer->post(numberedFrame(number));
        calls.waitUntilEnded(number);
    }
    writer.reset();
    EXPECT_THAT(sentNumbers(), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(Writer, SendsAFrameOnlyOnce)
{
    writer->post(numberedFrame(1));
    calls.waitUntilEnded(1);
    writer.reset();
    EXPECT_THAT(sentNumbers(), ElementsAre(1));
}

TEST_F(Writer, SendsTheSameFrameAgainWhenItIsPostedAgain)
{
    writer->post(numberedFrame(1));
    calls.waitUntilEnded(1);
    writer->post(numberedFrame(1));
    writer.reset();
    EXPECT_THAT(sentNumbers(), ElementsAre(1, 1));
}

TEST_F(Writer, NeverBlocksAPostWhileATransferIsBlockedAndKeepsTheNewestFrame)
{
    postHeld(1);
    for (std::uint32_t number = 2; number <= 1000; ++number) {
        writer->post(numberedFrame(number));
    }
    calls.releaseTransfers();
    writer.reset();
    EXPECT_THAT(sentNumbers(), ElementsAre(1, 1000));
}

TEST_F(Writer, LeavesTheLineAndTheBytesAloneDuringATransfer)
{
    postHeld(1);
    writer->post(numberedFrame(2));
    calls.releaseOneTransfer();
    calls.waitUntilBegun(2);
    writer->post(numberedFrame(3));
    calls.releaseTransfers();
    writer.reset();
    EXPECT_THAT(sentNumbers(), ElementsAre(1, 2, 3));
    EXPECT_THAT(calls.takeLog(), ElementsAre("command 5C", "transfer of 10240 bytes", "command 5C",
                                             "transfer of 10240 bytes", "command 5C", "transfer of 10240 bytes"));
}

TEST_F(Writer, TakesACopyOfTheFrame)
{
    postHeld(1);
    Frame frame = numberedFrame(2);
    writer->post(frame);
    frame = numberedFrame(3);
    calls.releaseTransfers();
    writer.reset();
    EXPECT_THAT(sentNumbers(), ElementsAre(1, 2));
}

TEST_F(Writer, LetsTheRunningTransferAndTheLastFrameOutWhenItIsDestroyed)
{
    postHeld(1);
    writer->post(numberedFrame(2));
    std::vector<std::uint32_t> sentAtTheEnd;
    std::thread destroyer([&] {
        writer.reset();
        sentAtTheEnd = sentNumbers();
    });
    calls.releaseOneTransfer();
    calls.waitUntilBegun(2);
    calls.releaseOneTransfer();
    destroyer.join();
    EXPECT_THAT(sentAtTheEnd, ElementsAre(1, 2));
}

TEST_F(Writer, SendsAFramePostedJustBeforeItIsDestroyed)
{
    writer.reset();
    for (std::uint32_t number = 1; number <= 200; ++number) {
        FrameWriter brief(spi, SystemCalls::dcLine);
        brief.post(numberedFrame(number));
    }
    EXPECT_EQ(sentNumbers().size(), 200U);
}

TEST_F(Writer, CanBeDestroyedAtAnyTimeWithoutAFrame)
{
    for (int i = 0; i < 200; ++i) {
        const FrameWriter brief(spi, SystemCalls::dcLine);
    }
    EXPECT_THAT(sentNumbers(), testing::IsEmpty());
}

TEST_F(Writer, GoesOnAfterWritesThatFailOrAreShort)
{
    writer->post(numberedFrame(1));
    calls.waitUntilEnded(1);
    writer.reset();
    std::uint32_t number = 1;
    for (const ssize_t moved : {-1, 0, 5000}) {
        calls.limitWrites(moved);
        FrameWriter failing(spi, SystemCalls::dcLine);
        failing.post(numberedFrame(++number));
    }
    EXPECT_THAT(sentNumbers(), ElementsAre(1, 2, 3, 4));
}

TEST_F(Writer, SendsWholeFramesInOrderAndTheLastOneUnderManyPosts)
{
    constexpr std::uint32_t count = 20000;
    std::mt19937 random(7);
    calls.holdTransfers();
    std::thread releaser([&] { // lets transfers go one by one, in fits and starts
        std::mt19937 pauses(8);
        for (std::uint32_t i = 0; i < count; ++i) {
            calls.releaseOneTransfer();
            for (auto n = pauses() % 16; n > 0; --n) {
                std::this_thread::yield();
            }
        }
        calls.releaseTransfers();
    });
    for (std::uint32_t number = 1; number <= count; ++number) {
        writer->post(numberedFrame(number));
        if (random() % 8 == 0) {
            std::this_thread::yield();
        }
    }
    releaser.join();
    calls.releaseTransfers();
    writer.reset();

    const std::vector<std::uint32_t> numbers = sentNumbers();
    EXPECT_EQ(numbers.back(), count);
    EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end(), std::greater_equal()), numbers.end())
        << "an older frame went out behind a newer one, or one went out twice";
}

} // namespace
