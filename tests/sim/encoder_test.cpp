// Tests of the encoder's event queue.
#include "sim/models/encoder.h"

#include <gmock/gmock.h>
#include <tuple>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::FieldsAre;

struct Record {
    int type;
    int code;
    std::int32_t value;
};

std::vector<Record> allOf(sim::Encoder& encoder)
{
    std::vector<Record> records;
    while (const auto event = encoder.next()) {
        records.push_back({event->type, event->code, event->value});
    }
    return records;
}

TEST(Encoder, HasNothingToTellAtFirst)
{
    sim::Encoder encoder;
    EXPECT_FALSE(encoder.next());
}

TEST(Encoder, TellsATurnAsARelativeMovementAndTheEndOfTheReport)
{
    sim::Encoder encoder;
    encoder.turn(-3);
    EXPECT_THAT(allOf(encoder), ElementsAre(FieldsAre(EV_REL, REL_X, -3), FieldsAre(EV_SYN, SYN_REPORT, 0)));
}

TEST(Encoder, HandsOutRecordsOneByOneInTheOrderTheyCame)
{
    sim::Encoder encoder;
    encoder.turn(1);
    encoder.queue(EV_KEY, KEY_ENTER, 7);
    EXPECT_EQ(encoder.next()->value, 1);
    encoder.turn(2);
    EXPECT_THAT(allOf(encoder), ElementsAre(FieldsAre(EV_SYN, SYN_REPORT, 0), FieldsAre(EV_KEY, KEY_ENTER, 7),
                                            FieldsAre(EV_REL, REL_X, 2), FieldsAre(EV_SYN, SYN_REPORT, 0)));
    EXPECT_FALSE(encoder.next());
}

TEST(Encoder, KeepsExtremeValues)
{
    sim::Encoder encoder;
    encoder.queue(0xFFFF, 0xFFFF, INT32_MIN);
    encoder.queue(0, 0, INT32_MAX);
    EXPECT_THAT(allOf(encoder), ElementsAre(FieldsAre(0xFFFF, 0xFFFF, INT32_MIN), FieldsAre(0, 0, INT32_MAX)));
}

} // namespace
