// Tests for the diagnosis of captures that cannot be decoded.
#include "sim/decode/diagnosis.h"

#include "tests/decode/capture.h"
#include "tests/sim/comparisons.h"

namespace {

using sim::ChannelMap;
using sim::Level;
using sim::Line;
using namespace std::chrono_literals;

const ChannelMap ownNames = [] {
    ChannelMap channels;
    for (std::size_t i = 0; i < sim::lineCount; ++i) {
        channels[static_cast<Line>(i)] = sim::lineNames[i];
    }
    return channels;
}();

/// LED messages, a short initialisation of the display, and 20 frames.
Edges recording()
{
    Capture capture;
    capture.i2c({0xD8, 0x2F, 0x00}).i2c({0xD8, 0x00, 0x01}).i2c({0xD8, 0x14, 0x10}).light();
    for (std::uint8_t i = 0; i < 20; ++i) {
        capture.wait(20ms).frame({i, 0x03, static_cast<std::uint8_t>(3 * i), 0xAA});
    }
    return capture.wait(1ms).edges();
}

std::string diagnosisOf(const Edges& edges, const ChannelMap& channels = ownNames)
{
    sim::Decoder::Setup setup;
    for (std::size_t i = 0; i < sim::lineCount; ++i) {
        setup.isPresent[static_cast<Line>(i)] = channels.contains(static_cast<Line>(i));
    }
    const Decoded decoded(edges, setup);
    return diagnose(edges, setup, decoded.decoder, channels).value_or("");
}

TEST(Diagnosis, FindsNothingWrongWithACaptureThatDecodes)
{
    EXPECT_EQ(diagnosisOf(recording()), "");
    EXPECT_EQ(diagnosisOf(sampled(recording(), 20ns)), "");
    EXPECT_EQ(diagnosisOf(Capture().light().frame({1, 2, 3, 4}).edges()), "");
}

TEST(Diagnosis, NamesTwoChannelsThatAreSwapped)
{
    constexpr Line lines[] = {Line::ChipSelect, Line::Clock, Line::Mosi, Line::DataCommand,
                              Line::Reset,      Line::Scl,   Line::Sda};
    for (const Line a : lines) {
        for (const Line b : lines) {
            if (a >= b) {
                continue;
            }
            const std::string first(nameOf(a));
            const std::string second(nameOf(b));
            EXPECT_EQ(diagnosisOf(swapped(recording(), a, b)), first + " and " + second +
                                                                   " are swapped: decode with --channels " + first +
                                                                   "=" + second + "," + second + "=" + first);
        }
    }
}

TEST(Diagnosis, NamesABusLineThatIsSwappedWithTheButton)
{
    EXPECT_EQ(diagnosisOf(swapped(recording(), Line::Clock, Line::Button)),
              "clk and button are swapped: decode with --channels clk=button,button=clk");
}

TEST(Diagnosis, SuggestsTheCompleteChannelsOption)
{
    ChannelMap channels = ownNames;
    channels[Line::Clock] = "D1";
    channels[Line::Mosi] = "D0";
    channels[Line::Reset] = "D4";
    EXPECT_EQ(diagnosisOf(swapped(recording(), Line::Clock, Line::Mosi), channels),
              "clk and mosi are swapped: decode with --channels clk=D0,mosi=D1,reset=D4");
    channels = ownNames;
    channels[Line::Clock] = "mosi";
    channels[Line::Mosi] = "clk";
    EXPECT_EQ(diagnosisOf(swapped(recording(), Line::Clock, Line::Mosi), channels),
              "clk and mosi are swapped: decode without --channels");
}

TEST(Diagnosis, NamesTheSpiModeThatFits)
{
    EXPECT_EQ(diagnosisOf(inverted(recording(), Line::Clock)),
              "the data are valid at the falling edges of the clock: SPI mode 1 instead of mode 3, or clk is inverted");
}

TEST(Diagnosis, NamesALineThatIsInverted)
{
    for (const Line line : {Line::ChipSelect, Line::Mosi, Line::DataCommand, Line::Reset, Line::Scl, Line::Sda}) {
        EXPECT_EQ(diagnosisOf(inverted(recording(), line)), std::string(nameOf(line)) + " is inverted") << nameOf(line);
    }
}

TEST(Diagnosis, NamesTheSamplingRateThatIsNeeded)
{
    const struct {
        std::chrono::nanoseconds period;
        const char* rate;
    } cases[] = {
        {42ns, "23.81 MHz"},  {62ns, "16.13 MHz"},  {83ns, "12.05 MHz"},
        {100ns, "10.00 MHz"}, {250ns, "4.000 MHz"}, {1us, "1.000 MHz"},
    };
    for (const auto& [period, rate] : cases) {
        EXPECT_EQ(diagnosisOf(sampled(recording(), period)), "undersampled: the sampling rate is " + std::string(rate) +
                                                                 "; the clock of 12.50 MHz needs at least 50.00 MHz")
            << period.count();
    }
}

TEST(Diagnosis, ReportsBusesWithoutEdges)
{
    EXPECT_EQ(diagnosisOf(Capture().wait(1s).edges()), "no edges on clk");
    EXPECT_EQ(diagnosisOf({}), "no edges on clk");
    ChannelMap leds = {{Line::Scl, "scl"}, {Line::Sda, "sda"}};
    EXPECT_EQ(diagnosisOf(without(without(Capture().edges(), Line::Clock), Line::ChipSelect), leds),
              "no edges on scl and sda");
}

TEST(Diagnosis, ReportsAnI2cBusWithoutMessages)
{
    const Edges edges = {{1ms, Line::Scl, Level::High}, {2ms, Line::Scl, Level::Low}};
    EXPECT_EQ(diagnosisOf(edges, {{Line::Scl, "scl"}, {Line::Sda, "sda"}}), "no messages on scl and sda");
}

TEST(Diagnosis, AcceptsACaptureWithOnlyLedMessages)
{
    EXPECT_EQ(diagnosisOf(Capture().i2c({0xD8, 0x00, 0x01}).edges()), "");
}

TEST(Diagnosis, ExplainsNothingIfOnlyTheEndOfTheCaptureIsWrong)
{
    Edges edges = recording();
    Capture noise = Capture().wait(1h);
    for (int i = 0; i < 200; ++i) {
        noise.transfer({0x99, 0x98});
    }
    const Edges& more = noise.edges();
    edges.insert(edges.end(), more.begin() + sim::lineCount, more.end());
    EXPECT_EQ(diagnosisOf(edges), "");
}

} // namespace
