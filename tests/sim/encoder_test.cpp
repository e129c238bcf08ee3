// Tests for the encoder's event queue.
#include "sim/models/encoder.h"

#include <gtest/gtest.h>
#include <tuple>
#include <vector>

namespace {

/// The type, code and value of each record.
using Records = std::vector<std::tuple<int, int, std::int32_t>>;

Records allOf(sim::Encoder& encoder)
{
    Records records;
    while (const auto event = encoder.next()) {
        records.emplace_back(event->type, event->code, event->value);
    }
    return records;
}

TEST(Encoder, IsEmptyInitially)
{
    sim::Encoder encoder;
    EXPECT_FALSE(encoder.next());
}

TEST(Encoder, ReportsATurnAsARelativeMovementAndAnEndOfReport)
{
    sim::Encoder encoder;
    encoder.turn(-3);
    EXPECT_EQ(allOf(encoder), (Records{{EV_REL, REL_X, -3}, {EV_SYN, SYN_REPORT, 0}}));
}

TEST(Encoder, ReturnsRecordsInOrderOfArrival)
{
    sim::Encoder encoder;
    encoder.turn(1);
    encoder.queue(EV_KEY, KEY_ENTER, 7);
    EXPECT_EQ(encoder.next()->value, 1);
    encoder.turn(2);
    EXPECT_EQ(allOf(encoder),
              (Records{{EV_SYN, SYN_REPORT, 0}, {EV_KEY, KEY_ENTER, 7}, {EV_REL, REL_X, 2}, {EV_SYN, SYN_REPORT, 0}}));
    EXPECT_FALSE(encoder.next());
}

TEST(Encoder, KeepsExtremeValues)
{
    sim::Encoder encoder;
    encoder.queue(0xFFFF, 0xFFFF, INT32_MIN);
    encoder.queue(0, 0, INT32_MAX);
    EXPECT_EQ(allOf(encoder), (Records{{0xFFFF, 0xFFFF, INT32_MIN}, {0, 0, INT32_MAX}}));
}

} // namespace
