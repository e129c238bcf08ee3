// Tests for the assignment of channels to lines.
#include "sim/decode/channels.h"

#include "sim/decode/capture_error.h"
#include "tests/sim/comparisons.h"

namespace {

using sim::ChannelMap;
using sim::Line;
using sim::VcdWire;

const std::vector<VcdWire> analyser = {{"D0", "libsigrok", 0, 0}, {"D1", "libsigrok", 1, 0}, {"D2", "libsigrok", 2, 0}};
const std::vector<VcdWire> named = {
    {"CLK", "top", 0, 0}, {"mosi", "top", 1, 0}, {"mosi", "other", 2, 0}, {"bus[3]", "top", 3, 3}};

std::string wireOf(const std::vector<VcdWire>& wires, const ChannelMap& requested, Line line)
{
    const VcdWire* wire = findChannels(wires, requested, "file")[line];
    return wire == nullptr ? "none" : wire->scope + "." + wire->name;
}

std::string findingError(const std::vector<VcdWire>& wires, const ChannelMap& requested)
{
    return thrownMessage<sim::CaptureError>([&] { (void)findChannels(wires, requested, "file"); });
}

TEST(Channels, ALineHasTheFirstChannelWithItsName)
{
    EXPECT_EQ(wireOf(named, {}, Line::Mosi), "top.mosi");
    EXPECT_EQ(wireOf(named, {}, Line::Clock), "top.CLK");
    EXPECT_EQ(wireOf(named, {}, Line::Reset), "none");
}

TEST(Channels, ARequestSelectsTheNamedWire)
{
    EXPECT_EQ(wireOf(analyser, {{Line::Clock, "d1"}}, Line::Clock), "libsigrok.D1");
    EXPECT_EQ(wireOf(named, {{Line::Mosi, "other.mosi"}}, Line::Mosi), "other.mosi");
    EXPECT_EQ(wireOf(named, {{Line::Reset, "bus[3]"}}, Line::Reset), "top.bus[3]");
}

TEST(Channels, RejectsUnknownDuplicateAndMissingChannels)
{
    EXPECT_EQ(findingError(analyser, {{Line::Clock, "D9"}}),
              "file: there is no channel D9; the channels are D0, D1, D2");
    EXPECT_EQ(findingError(analyser, {{Line::Clock, "D1"}, {Line::Mosi, "D1"}}),
              "file: clk and mosi have the same channel D1");
    EXPECT_EQ(findingError({}, {}), "file: no channel has the name of a line (cs, clk, mosi, dc, reset, scl, sda, "
                                    "button, encoder_a, encoder_b); the file has no channels");
}

TEST(Channels, ParsesAndPrintsLists)
{
    const ChannelMap channels = sim::parseChannels("clk=D0,mosi=top.bus[3],encoder_a=A=1");
    EXPECT_EQ(channels, (ChannelMap{{Line::Clock, "D0"}, {Line::Mosi, "top.bus[3]"}, {Line::EncoderA, "A=1"}}));
    EXPECT_EQ(print(channels), "clk=D0,mosi=top.bus[3],encoder_a=A=1");
}

TEST(Channels, RejectsWrongLists)
{
    const struct {
        const char* list;
        const char* message;
    } cases[] = {
        {"clk", "expected LINE=CHANNEL, but found \"clk\""},
        {"clk=", "expected LINE=CHANNEL, but found \"clk=\""},
        {"clk=D0,,mosi=D1", "expected LINE=CHANNEL, but found \"\""},
        {"sck=D0", "unknown line \"sck\"; the lines are cs, clk, mosi, dc, reset, scl, sda, button, encoder_a, "
                   "encoder_b"},
        {"clk=D0,clk=D1", "two channels for clk"},
    };
    for (const auto& wrong : cases) {
        EXPECT_EQ(thrownMessage<std::invalid_argument>([&] { (void)sim::parseChannels(wrong.list); }), wrong.message)
            << wrong.list;
    }
}

} // namespace
