// Tests of the thread that sends frames. They also run with ThreadSanitizer.
//
// No test depends on time: where a test needs a transfer in progress, the transfer blocks in its write until the test
// releases it. If a call wrongly waits for this transfer, the test hangs.
#include "hw/frame_writer.h"

#include "tests/support/system_calls.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <thread>

namespace {

using Numbers = std::vector<std::uint32_t>;

/// Returns a frame in which every four bytes contain the number, so that a mixture of two frames is detected.
std::unique_ptr<Frame> numberedFrame(std::uint32_t number)
{
    auto frame = std::make_unique<Frame>();
    for (std::size_t i = 0; i < frame->size(); i += sizeof number) {
        std::memcpy(&(*frame)[i], &number, sizeof number);
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

    void post(std::uint32_t number)
    {
        auto frame = numberedFrame(number);
        writer->post(frame);
        EXPECT_NE(frame, nullptr) << "post did not return a buffer";
    }
    /// Posts the first frame and waits until its transfer has begun. The transfer blocks until it is released.
    void postHeld(std::uint32_t number)
    {
        calls.holdTransfers();
        post(number);
        calls.waitUntilBegun(1);
    }

    /// Returns the numbers of the sent frames. Checks that each frame was sent intact, as data, after the write
    /// command.
    [[nodiscard]] Numbers sentNumbers() const
    {
        Numbers numbers;
        for (const Transfer& transfer : calls.transfers()) {
            std::uint32_t number = 0;
            EXPECT_EQ(transfer.bytes.size(), sizeof(Frame));
            std::memcpy(&number, transfer.bytes.data(), sizeof number);
            const auto whole = numberedFrame(number);
            EXPECT_TRUE(std::equal(whole->begin(), whole->end(), transfer.bytes.begin(), transfer.bytes.end()))
                << "frame " << number << " is mixed with another frame";
            EXPECT_EQ(transfer.precedingByte, 0x5C);
            EXPECT_TRUE(transfer.precedingByteWasCommand);
            EXPECT_TRUE(transfer.isData);
            EXPECT_TRUE(transfer.wasUndisturbed);
            numbers.push_back(number);
        }
        return numbers;
    }

    SystemCalls calls;
    int spi = calls.openDevice("/dev/spidev0.0", O_WRONLY);
    std::optional<FrameWriter> writer;
};

TEST_F(Writer, SendsOneCommandAndOneTransferPerFrame)
{
    post(1);
    writer.reset();
    EXPECT_EQ(calls.takeLog(), Log({"command 5C", "transfer of 10240 bytes"}));
    EXPECT_EQ(sentNumbers(), Numbers({1}));
}

TEST_F(Writer, SendsNothingIfNoFrameWasPosted)
{
    writer.reset();
    EXPECT_EQ(calls.takeLog(), Log());
}

TEST_F(Writer, SendsEachFrameOnceAndInOrder)
{
    for (std::uint32_t number = 1; number <= 5; ++number) {
        post(number);
        calls.waitUntilEnded(number);
    }
    writer.reset();
    EXPECT_EQ(sentNumbers(), Numbers({1, 2, 3, 4, 5}));
}

TEST_F(Writer, SendsIdenticalFramesEachTimeTheyArePosted)
{
    post(1);
    calls.waitUntilEnded(1);
    post(1);
    writer.reset();
    EXPECT_EQ(sentNumbers(), Numbers({1, 1}));
}

TEST_F(Writer, PostDuringATransferReplacesTheQueuedFrameWithoutBlocking)
{
    postHeld(1);
    for (std::uint32_t number = 2; number <= 1000; ++number) {
        post(number);
    }
    calls.releaseTransfers();
    writer.reset();
    EXPECT_EQ(sentNumbers(), Numbers({1, 1000}));
}

TEST_F(Writer, WritingToTheReturnedBufferDoesNotChangePostedFrames)
{
    postHeld(1);
    auto frame = numberedFrame(2);
    writer->post(frame);
    frame->fill(0xEE);
    calls.releaseOneTransfer();
    calls.waitUntilBegun(2);
    frame->fill(0xDD);
    calls.releaseTransfers();
    writer.reset();
    EXPECT_EQ(sentNumbers(), Numbers({1, 2}));
}

TEST_F(Writer, ChangesNeitherTheDataCommandLineNorTheBytesDuringATransfer)
{
    postHeld(1);
    post(2);
    calls.releaseOneTransfer();
    calls.waitUntilBegun(2);
    post(3);
    calls.releaseTransfers();
    writer.reset();
    EXPECT_EQ(sentNumbers(), Numbers({1, 2, 3}));
}

TEST_F(Writer, TheDestructorWaitsForTheRunningTransferAndSendsTheLastFrame)
{
    postHeld(1);
    post(2);
    Numbers sentBeforeTheEnd;
    std::thread destroyer([&] {
        writer.reset();
        sentBeforeTheEnd = sentNumbers();
    });
    calls.releaseOneTransfer();
    calls.waitUntilBegun(2);
    calls.releaseOneTransfer();
    destroyer.join();
    EXPECT_EQ(sentBeforeTheEnd, Numbers({1, 2}));
}

TEST_F(Writer, SendsAFramePostedJustBeforeDestruction)
{
    Numbers expected;
    for (std::uint32_t number = 1; number <= 200; ++number) {
        post(number);
        writer.emplace(spi, SystemCalls::dcLine);
        expected.push_back(number);
    }
    EXPECT_EQ(sentNumbers(), expected);
}

TEST_F(Writer, ContinuesAfterFailedAndShortWrites)
{
    std::uint32_t number = 0;
    for (const ssize_t limit : {-1, 0, 5000, 10240}) {
        calls.writeLimit = limit;
        post(++number);
        calls.waitUntilEnded(number);
    }
    EXPECT_EQ(sentNumbers(), Numbers({1, 2, 3, 4}));
}

TEST_F(Writer, UnderLoadSendsIntactFramesInOrderIncludingTheLast)
{
    constexpr std::uint32_t count = 20000;
    std::mt19937 random(7);
    calls.holdTransfers();
    std::thread releaser([&] { // releases transfers at irregular intervals
        std::mt19937 pauses(8);
        for (std::uint32_t i = 0; i < count; ++i) {
            calls.releaseOneTransfer();
            for (auto n = pauses() % 16; n > 0; --n) {
                std::this_thread::yield();
            }
        }
    });
    for (std::uint32_t number = 1; number <= count; ++number) {
        post(number);
        if (random() % 8 == 0) {
            std::this_thread::yield();
        }
    }
    releaser.join();
    calls.releaseTransfers();
    writer.reset();

    const Numbers numbers = sentNumbers();
    EXPECT_EQ(numbers.back(), count);
    EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end(), std::greater_equal()), numbers.end())
        << "an older frame was sent after a newer one, or a frame was sent twice";
}

} // namespace
