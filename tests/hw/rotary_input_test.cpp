// Tests of the rotary encoder input.
#include "hw/rotary_input.h"

#include "tests/support/system_calls.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits>
#include <linux/input.h>

namespace {

constexpr std::uint16_t types[] = {EV_SYN, EV_KEY, EV_REL, EV_ABS, EV_MSC, EV_MAX};
constexpr std::uint16_t codes[] = {0, 7, 0xFFFF};

class Encoder : public testing::Test {
protected:
    /// Opens the encoder. Returns the output on standard error.
    std::string open()
    {
        testing::internal::CaptureStderr();
        encoder.open();
        return testing::internal::GetCapturedStderr();
    }

    SystemCalls calls;
    RotaryInput encoder;
};

TEST_F(Encoder, OpensTheDeviceForNonBlockingReads)
{
    EXPECT_EQ(open(), "");
    EXPECT_EQ(calls.takeLog(),
              Log({"open /dev/input/event0 flags " + std::to_string(O_RDONLY | O_NONBLOCK | O_CLOEXEC)}));
}

TEST_F(Encoder, AcceptsDescriptorZero)
{
    calls.nextFd = 0;
    calls.queueStep(1);
    EXPECT_EQ(open(), "");
    EXPECT_EQ(encoder.readStep(), 1);
}

TEST_F(Encoder, ReportsAMissingDeviceAndReturnsZero)
{
    EXPECT_EQ(encoder.readStep(), 0) << "wrong step before the device is opened";
    calls.missingDevices = {"/dev/input/event0"};
    calls.queueStep(1);
    EXPECT_EQ(open(), "Error opening rotary event device\n");
    EXPECT_EQ(encoder.readStep(), 0);
}

TEST_F(Encoder, ReadsOnceAndReturnsZeroWithoutAPendingEvent)
{
    open();
    calls.takeLog();
    EXPECT_EQ(encoder.readStep(), 0);
    EXPECT_EQ(calls.takeLog(), Log({"encoder read of 24 bytes"}));
}

TEST_F(Encoder, ReturnsTheEventValueForAnyTypeAndCode)
{
    using Limits = std::numeric_limits<std::int32_t>;
    open();
    for (const std::uint16_t type : types) {
        for (const std::uint16_t code : codes) {
            for (const std::int32_t value : {-2, -1, 0, 1, 3, Limits::min(), Limits::max()}) {
                calls.queueEncoderEvent(type, code, value);
                EXPECT_EQ(encoder.readStep(), value) << "type " << type << ", code " << code;
            }
        }
    }
}

TEST_F(Encoder, ReturnsOneQueuedEventPerCallInOrder)
{
    open();
    for (const std::int32_t step : {1, -1, 2}) {
        calls.queueStep(step);
    }
    for (const std::int32_t step : {1, -1, 2, 0}) {
        EXPECT_EQ(encoder.readStep(), step);
    }
}

TEST_F(Encoder, AShortReadReturnsZero)
{
    open();
    for (const std::size_t length : {0U, 1U, 23U}) {
        calls.queueEncoderBytes(std::string(length, '\1'));
        EXPECT_EQ(encoder.readStep(), 0) << length;
    }
}

} // namespace
