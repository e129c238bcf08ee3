// Tests of reading the encoder's events.
#include "hw/rotary_input.h"

#include "tests/support/system_calls.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <initializer_list>
#include <limits>
#include <linux/input.h>

namespace {

using testing::ElementsAre;

constexpr std::uint16_t anyType[] = {EV_SYN, EV_KEY, EV_REL, EV_ABS, EV_MSC, EV_MAX};

class Encoder : public testing::Test {
protected:
    SystemCalls calls;
    RotaryInput encoder;
};

TEST_F(Encoder, IsOpenedForReadingWithoutBlocking)
{
    encoder.open();
    EXPECT_THAT(calls.takeLog(),
                ElementsAre("open /dev/input/event0 flags " + std::to_string(O_RDONLY | O_NONBLOCK | O_CLOEXEC)));
}

TEST_F(Encoder, WorksOnDescriptorZeroToo)
{
    calls.giveDescriptorZero();
    calls.queueStep(1);
    testing::internal::CaptureStderr();
    encoder.open();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(encoder.readStep(), 1);
}

TEST_F(Encoder, ThatIsMissingIsReportedAndNeverTurns)
{
    calls.removeDevice("/dev/input/event0");
    calls.queueStep(1);

    testing::internal::CaptureStderr();
    encoder.open();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error opening rotary event device\n");
    EXPECT_EQ(encoder.readStep(), 0);
}

TEST_F(Encoder, WithNoEventPendingGivesZeroAtOnce)
{
    encoder.open();
    calls.takeLog();

    EXPECT_EQ(encoder.readStep(), 0);
    EXPECT_THAT(calls.takeLog(), ElementsAre("encoder read of 24 bytes"));
}

TEST_F(Encoder, GivesTheValueOfAnEvent)
{
    encoder.open();
    for (const std::int32_t value :
         {-2, -1, 1, 3, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
        calls.queueStep(value);
        EXPECT_EQ(encoder.readStep(), value);
    }
}

TEST_F(Encoder, GivesZeroForAnEventOfAnyTypeWithValueZero)
{
    encoder.open();
    for (const std::uint16_t type : anyType) {
        calls.queueEncoderEvent(type, 0, 0);
        EXPECT_EQ(encoder.readStep(), 0) << type;
    }
}

TEST_F(Encoder, LooksAtNeitherTypeNorCode)
{
    encoder.open();
    for (const std::uint16_t type : anyType) {
        for (const std::uint16_t code : std::initializer_list<std::uint16_t>{0, 7, 0xFFFF}) {
            calls.queueEncoderEvent(type, code, -5);
            EXPECT_EQ(encoder.readStep(), -5) << type << ' ' << code;
        }
    }
}

TEST_F(Encoder, GivesThreeQueuedEventsOneACallInOrder)
{
    encoder.open();
    calls.queueStep(1);
    calls.queueStep(-1);
    calls.queueStep(2);
    EXPECT_EQ(encoder.readStep(), 1);
    EXPECT_EQ(encoder.readStep(), -1);
    EXPECT_EQ(encoder.readStep(), 2);
    EXPECT_EQ(encoder.readStep(), 0);
}

TEST_F(Encoder, GivesZeroForAShortRead)
{
    encoder.open();
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{23}}) {
        calls.queueEncoderBytes(std::string(length, '\1'));
        EXPECT_EQ(encoder.readStep(), 0) << length;
    }
}

TEST_F(Encoder, GivesZeroWhenItWasNeverOpened)
{
    EXPECT_EQ(encoder.readStep(), 0);
}

} // namespace
