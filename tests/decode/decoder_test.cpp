// Tests for decoding the buses and the front panel, including captures that are disturbed or incomplete.
#include "sim/decode/decoder.h"

#include "tests/decode/capture.h"
#include "tests/sim/comparisons.h"

namespace {

using sim::Level;
using sim::Line;
using namespace std::chrono_literals;

const std::string beginsLate =
    "the capture does not contain the reset of the display, which is assumed to be initialised";

const Bytes stripes = {0x00, 0x01, 0x02, 0x03};
const Bytes ramp = {0x03, 0x02, 0x01, 0x00};

/// A short session: the display is initialised and shows two frames.
Capture session()
{
    return Capture().light().wait(1ms).frame(stripes).wait(20ms).frame(ramp).wait(1ms);
}

/// A time 500 µs before the first frame of the session.
std::chrono::nanoseconds beginOfFrames()
{
    return Capture().light().wait(500us).now();
}

sim::Decoder::Setup setupWithout(const std::vector<Line>& lines)
{
    sim::Decoder::Setup setup;
    for (const Line line : lines) {
        setup.isPresent[line] = false;
    }
    return setup;
}

TEST(Decoder, ReportsEachScreenThatTheDisplayShows)
{
    const Decoded decoded(session().edges());
    EXPECT_EQ(decoded.screens, (Lines{"0000", "0123", "3210"}));
    EXPECT_EQ(decoded.violations, Lines{});
    EXPECT_EQ(decoded.notes, Lines{});
}

TEST(Decoder, NamesCommandsByExtensionPage)
{
    const Decoded decoded(Capture()
                              .reset()
                              .command(0x30)
                              .command(0xF0, {0x11})
                              .command(0x31)
                              .command(0xF0, {1, 2, 3, 4})
                              .command(0x40)
                              .edges());
    EXPECT_EQ(decoded.events, (Lines{"reset is not driven", "reset high", "reset low", "reset high",
                                     "30              extension command 1", "F0 11           display mode",
                                     "31              extension command 2", "F0 01 02 03 04  frame rate",
                                     "40              internal power supply"}));
}

TEST(Decoder, SummarisesLongData)
{
    const Decoded decoded(Capture().light().command(0x15, {0, 99}).frame(Bytes(100, 0x00)).edges());
    EXPECT_EQ(decoded.events.back(), "5C              write display memory: 100 bytes in 64.00 µs");
}

TEST(Decoder, MeasuresFramesOnlyWhileTheDisplayIsLit)
{
    const Decoded decoded(
        Capture().light().command(0xAE).frame(stripes).command(0xAF).frame(stripes).wait(5ms).frame(ramp).edges());
    const sim::DisplayDecoder& display = decoded.decoder.display();
    EXPECT_EQ(display.frames().count(), 2U);
    EXPECT_EQ(display.frames().mean(), 4 * 640ns);
    EXPECT_EQ(display.redraws().count(), 1U);
    EXPECT_EQ(display.redraws().mean(), 5ms + 2 * 640ns + 3 * 1us + 3 * 640ns + 1us);
}

TEST(Decoder, MeasuresTheClockWithinBytes)
{
    const Decoded decoded(session().edges());
    const sim::Spread& period = decoded.decoder.spi().clockPeriod();
    EXPECT_EQ(period.shortest(), 80ns);
    EXPECT_EQ(period.longest(), 80ns);
    EXPECT_EQ(decoded.decoder.spi().clockHigh().mean(), 40ns);
}

TEST(Decoder, MeasuresTransfersAndTheGapsBetweenThem)
{
    const Decoded decoded(Capture().reset().transfer({0x30}).wait(99us).transfer({0x94, 0x94}).edges());
    const sim::BusTiming& timing = decoded.decoder.display().timing();
    EXPECT_EQ(timing.transfers().count(), 2U);
    EXPECT_EQ(timing.byteCount(), 3U);
    EXPECT_EQ(timing.transfers().sum(), 3 * 640ns);
    EXPECT_EQ(timing.idleGaps().mean(), 100us);
}

TEST(Decoder, ReportsViolationsDetectedByTheModelAndTheirTimes)
{
    Capture capture = Capture().light();
    const auto begin = capture.low(Line::DataCommand).wait(1us).now();
    const Decoded decoded(capture.transfer({0x99}).edges());
    EXPECT_EQ(decoded.violations, Lines{"unknown command: 0x99 on page 1"});
    EXPECT_EQ(decoded.violationTimes.front(), begin + 640ns);
}

TEST(Decoder, ReportsProtocolViolations)
{
    const struct {
        const char* violation;
        Edges edges;
    } cases[] = {
        {"the controller was used before its reset", Capture().high(Line::Reset).command(0x30).edges()},
        {"the controller was used during its reset", Capture().low(Line::Reset).command(0x30).edges()},
        {"a frame is short: 2 of 4 bytes", Capture().light().frame({1, 2}).command(0x30).edges()},
        {"an I2C write to an unused address", Capture().i2c({0x70, 0x00}, false).edges()},
        {"an I2C read from an unused address", Capture().i2c({0x71}, false).edges()},
        {"an empty I2C write", Capture().i2c({0xD8}).edges()},
        {"LED controller register 48 does not exist", Capture().i2c({0xD8, 0x30, 0x01}).edges()},
    };
    for (const auto& [violation, edges] : cases) {
        EXPECT_EQ(Decoded(edges).violations, Lines{violation}) << violation;
    }
}

TEST(Decoder, ReportsAChangeOfDataCommandDuringATransfer)
{
    Capture capture = Capture().light().high(Line::DataCommand);
    const auto middle = capture.now() + 1us;
    Edges edges = capture.transfer(Bytes(4, 0)).edges();
    edges.push_back({middle, Line::DataCommand, Level::Low});
    const Decoded decoded(edges);
    EXPECT_EQ(decoded.violations.front(), "the data/command line changed during a transfer");
    EXPECT_EQ(decoded.violationTimes.front(), middle);
}

TEST(Decoder, ReportsBitsThatDoNotFillAByte)
{
    Capture capture = Capture().light().low(Line::DataCommand).wait(1us).low(Line::ChipSelect);
    for (int bit = 0; bit < 11; ++bit) {
        capture.wait(40ns).low(Line::Clock).wait(40ns).high(Line::Clock);
    }
    const Decoded decoded(capture.wait(40ns).high(Line::ChipSelect).wait(1us).edges());
    EXPECT_EQ(decoded.violations.front(), "a transfer of 1 byte and 3 bits");
}

TEST(Decoder, ReportsATransferThatIsTooLongToDecodeCompletely)
{
    const Decoded decoded(Capture().light().data(Bytes(65537, 0)).edges());
    EXPECT_EQ(decoded.violations.front(), "a transfer of 65537 bytes, of which 65536 are decoded");
}

// The LED controller.

TEST(Decoder, LogsTheMessagesToTheLedController)
{
    const Decoded decoded(Capture()
                              .i2c({0xD8, 0x00, 0x01})
                              .i2c({0xD8, 0x20, 0x10})
                              .i2c({0xD8, 0x0D, 0xFF})
                              .i2c({0xD8, 0x13, 0x00})
                              .edges());
    EXPECT_EQ(decoded.events,
              (Lines{"reset is not driven", "I2C 6C write 00 01", "I2C 6C write 20 10", "I2C 6C write 0D FF",
                     "I2C 6C write 13 00", "LEDs: RGB #000000 #000000 #000000 #000000, bar 255 0 0 0 0 0"}));
    EXPECT_EQ(decoded.violations, Lines{});
    EXPECT_EQ(decoded.decoder.leds().acknowledged(), 4U);
    EXPECT_EQ(decoded.decoder.i2c().clockPeriod().mean(), 10us);
}

TEST(Decoder, NotesThatTheLedControllerDoesNotAcknowledge)
{
    const Decoded decoded(Capture().i2c({0xD8}, false).edges());
    EXPECT_EQ(decoded.events.back(), "I2C 6C write, not acknowledged");
    EXPECT_EQ(decoded.notes, Lines{"the LED controller did not acknowledge its address"});
    EXPECT_EQ(decoded.violations, Lines{});
}

TEST(Decoder, LogsMessagesToOtherI2cDevices)
{
    const Decoded decoded(Capture().i2c({0x34, 0x01, 0x02}).i2c({0x35, 0x03}).edges());
    EXPECT_EQ(decoded.events, (Lines{"reset is not driven", "I2C 1A write 01 02", "I2C 1A read 03"}));
    EXPECT_EQ(decoded.violations, Lines{});
}

TEST(Decoder, AcceptsARepeatedStart)
{
    Capture capture = Capture().low(Line::Sda).wait(5us).low(Line::Scl);
    const auto send = [&](const Bytes& bytes) {
        for (const std::uint8_t byte : bytes) {
            for (int i = 0; i < 9; ++i) {
                const bool isHigh = i < 8 && (byte >> (7 - i) & 1) != 0;
                capture.wait(2us).set(Line::Sda, isHigh ? Level::High : Level::Low);
                capture.wait(3us).high(Line::Scl).wait(5us).low(Line::Scl);
            }
        }
    };
    send({0xD8, 0x00});
    capture.wait(2us).high(Line::Sda).wait(3us).high(Line::Scl).wait(3us).low(Line::Sda).wait(3us).low(Line::Scl);
    send({0xD9, 0x01});
    capture.wait(2us).low(Line::Sda).wait(3us).high(Line::Scl).wait(3us).high(Line::Sda).wait(5us);
    const Decoded decoded(capture.edges());
    EXPECT_EQ(decoded.events, (Lines{"reset is not driven", "I2C 6C write 00", "I2C 6C read 01"}));
    EXPECT_EQ(decoded.violations, Lines{});
}

// The front panel.

TEST(Decoder, LogsTheButtonAndTheEncoder)
{
    Capture capture = Capture().low(Line::Button).wait(1ms).high(Line::Button).wait(1ms);
    const auto turn = [&](Line first, Line second) {
        capture.low(first).wait(1ms).low(second).wait(1ms).high(first).wait(1ms).high(second).wait(1ms);
    };
    turn(Line::EncoderA, Line::EncoderB);
    turn(Line::EncoderB, Line::EncoderA);
    capture.low(Line::EncoderA).wait(1ms).high(Line::EncoderA).wait(1ms);
    EXPECT_EQ(Decoded(capture.edges()).events,
              (Lines{"reset is not driven", "button pressed", "button released", "encoder +1", "encoder -1"}));
}

// Missing channels.

TEST(Decoder, WithoutAChannelDecodesTheRest)
{
    const Edges edges = session().i2c({0xD8, 0x00, 0x01}).edges();
    const struct {
        std::vector<Line> missing;
        Lines screens;
        std::uint64_t transfers;
        std::uint64_t messages;
    } cases[] = {
        {{}, {"0000", "0123", "3210"}, 21, 1},
        {{Line::ChipSelect}, {"0000", "0123", "3210"}, 21, 1},
        {{Line::Clock}, {}, 0, 1},
        {{Line::Mosi}, {}, 21, 1},
        {{Line::DataCommand}, {}, 21, 1},
        {{Line::Reset}, {"0123", "3210"}, 21, 1},
        {{Line::Scl}, {"0000", "0123", "3210"}, 21, 0},
        {{Line::Sda}, {"0000", "0123", "3210"}, 21, 0},
        {{Line::Button, Line::EncoderA, Line::EncoderB}, {"0000", "0123", "3210"}, 21, 1},
    };
    for (const auto& test : cases) {
        Edges rest = edges;
        std::string name;
        for (const Line line : test.missing) {
            rest = without(rest, line);
            name += std::string(nameOf(line)) + " ";
        }
        const Decoded decoded(rest, setupWithout(test.missing));
        EXPECT_EQ(decoded.screens, test.screens) << name;
        EXPECT_EQ(decoded.violations, Lines{}) << name;
        EXPECT_EQ(decoded.decoder.display().timing().transfers().count(), test.transfers) << name;
        EXPECT_EQ(decoded.decoder.leds().acknowledged(), test.messages) << name;
    }
}

TEST(Decoder, WithoutResetNotesThatTheDisplayIsAssumedToBeInitialised)
{
    const Decoded decoded(without(session().edges(), Line::Reset), setupWithout({Line::Reset}));
    EXPECT_EQ(decoded.notes, Lines{beginsLate});
}

TEST(Decoder, WithoutChipSelectPausesSeparateTheTransfers)
{
    Capture capture = Capture().light();
    capture.command(0x5C).high(Line::DataCommand).wait(1us);
    for (int bit = 0; bit < 3; ++bit) { // an incomplete byte
        capture.wait(40ns).low(Line::Clock).wait(40ns).high(Line::Clock);
    }
    const Edges edges = capture.wait(100us).data(stripes).edges();
    const Decoded decoded(without(edges, Line::ChipSelect), setupWithout({Line::ChipSelect}));
    EXPECT_EQ(decoded.violations, Lines{"a transfer of 0 bytes and 3 bits"});
    EXPECT_EQ(decoded.screens, (Lines{"0000", "0123"}));
}

// Captures that begin late or end early.

TEST(Decoder, ACaptureMayBeginAfterTheReset)
{
    const Bytes bytes(10240, 0x01);
    const Edges edges = Capture().bringUp().wait(1ms).frame(bytes).edges();
    const auto begin = Capture().bringUp().wait(500us).now();
    const Decoded decoded(part(edges, begin, 10s));
    EXPECT_EQ(decoded.notes, Lines{beginsLate});
    EXPECT_EQ(decoded.violations, Lines{});
    EXPECT_EQ(decoded.screens, Lines{"1111"});
}

TEST(Decoder, ACaptureMayBeginWithinATransfer)
{
    const Bytes bytes(10240, 0x01);
    const Edges edges = Capture().bringUp().wait(1ms).frame(bytes).wait(1ms).frame(bytes).edges();
    const auto begin = Capture().bringUp().wait(1ms).command(0x5C).wait(3ms).now();
    const Decoded decoded(part(edges, begin, 10s));
    ASSERT_EQ(decoded.notes.size(), 2U);
    EXPECT_TRUE(decoded.notes[0].starts_with("the capture begins within a transfer, ")) << decoded.notes[0];
    EXPECT_EQ(decoded.notes[1], beginsLate);
    EXPECT_EQ(decoded.violations, Lines{});
    EXPECT_EQ(decoded.screens, Lines{"1111"});
}

TEST(Decoder, IgnoresTransfersBeforeTheFirstUnambiguousCommand)
{
    const Bytes bytes(10240, 0x02);
    const auto begin = Capture().bringUp().command(0x5C).now() - 500ns;
    const Edges edges = Capture().bringUp().frame(bytes).frame(bytes).edges();
    const Decoded decoded(part(edges, begin, 10s));
    EXPECT_EQ(decoded.notes,
              (Lines{beginsLate, "ignored: 1 transfer before the first extension command or memory write"}));
    EXPECT_EQ(decoded.violations, Lines{});
    EXPECT_EQ(decoded.screens, Lines{"2222"});
}

TEST(Decoder, ACaptureThatBeginsNearOrWithinAFrameCausesNoViolations)
{
    const Edges edges = session().edges();
    const auto begin = beginOfFrames() - 100us;
    for (auto cut = begin; cut < begin + 700us; cut += 1037ns) {
        EXPECT_EQ(Decoded(part(edges, cut, begin + 1ms)).violations, Lines{}) << cut.count();
    }
}

TEST(Decoder, ACaptureMayEndWithinATransfer)
{
    const Edges edges = session().edges();
    const auto begin = beginOfFrames();
    for (auto cut = begin; cut < begin + 600us; cut += 37ns) {
        const Decoded decoded(part(edges, 0s, cut));
        EXPECT_EQ(decoded.violations, Lines{}) << cut.count();
    }
    const Decoded decoded(part(edges, 0s, begin + 500us + 4us + 1us));
    ASSERT_EQ(decoded.notes.size(), 1U);
    EXPECT_TRUE(decoded.notes[0].starts_with("the capture ends within a transfer, ")) << decoded.notes[0];
}

TEST(Decoder, ACaptureMayEndWithinAnI2cMessage)
{
    const Edges edges = Capture().i2c({0xD8, 0x00, 0x01}).edges();
    const Decoded decoded(part(edges, 0s, 100us));
    EXPECT_EQ(decoded.notes, Lines{"the capture ends within an I2C message"});
    EXPECT_EQ(decoded.violations, Lines{});
}

TEST(Decoder, AfterPowerOffTheDisplayNeedsAnotherReset)
{
    Capture capture = session().i2c({0xD8, 0x00, 0x01});
    capture.set(Line::Reset, Level::Undefined).set(Line::DataCommand, Level::Undefined).wait(1ms);
    const Decoded decoded(capture.command(0x30).edges());
    EXPECT_EQ(decoded.notes, Lines{"the power is switched off: the reset line is not driven any more"});
    EXPECT_EQ(decoded.violations, Lines{"the controller was used before its reset"});
}

TEST(Decoder, ATransferInterruptedByPowerOffIsNoViolation)
{
    Capture capture = session().low(Line::ChipSelect).wait(40ns).low(Line::Clock).wait(40ns).high(Line::Clock);
    capture.wait(1ms).high(Line::ChipSelect).set(Line::Reset, Level::Undefined).wait(1ms);
    const Decoded decoded(capture.edges());
    EXPECT_EQ(decoded.violations, Lines{});
    EXPECT_EQ(decoded.notes.front(), "the power is switched off within a transfer, which is ignored: 0 bytes");
}

// Sampling, disturbances and wrong signals.

TEST(Decoder, SamplingAtFourOrMoreTimesTheClockFrequencyDoesNotChangeTheEvents)
{
    for (const auto period : {1ns, 4ns, 10ns, 20ns}) {
        const Decoded exact(session().i2c({0xD8, 0x00, 0x01}).edges());
        const Decoded decoded(sampled(session().i2c({0xD8, 0x00, 0x01}).edges(), period));
        EXPECT_EQ(decoded.events, exact.events) << period.count();
        EXPECT_EQ(decoded.violations, Lines{}) << period.count();
        ASSERT_EQ(decoded.screenTimes.size(), exact.screenTimes.size()) << period.count();
        for (std::size_t i = 0; i < exact.screenTimes.size(); ++i) {
            EXPECT_GE(decoded.screenTimes[i], exact.screenTimes[i]);
            EXPECT_LT(decoded.screenTimes[i], exact.screenTimes[i] + period);
        }
    }
}

TEST(Decoder, IgnoresGlitches)
{
    for (const Line line : {Line::Clock, Line::ChipSelect, Line::Mosi, Line::DataCommand, Line::Scl, Line::Sda}) {
        const Edges edges = session().i2c({0xD8, 0x00, 0x01}).edges();
        const Decoded decoded(withGlitches(edges, line, 18ns, 10ns));
        EXPECT_EQ(decoded.events, Decoded(edges).events) << nameOf(line);
        EXPECT_EQ(decoded.violations, Lines{}) << nameOf(line);
        EXPECT_GT(decoded.decoder.filter().glitches(line), 0U) << nameOf(line);
    }
}

TEST(Decoder, ToleratesJitter)
{
    const Edges edges = session().i2c({0xD8, 0x00, 0x01}).edges();
    const Decoded decoded(jittered(edges, 9ns));
    EXPECT_EQ(decoded.screens, (Lines{"0000", "0123", "3210"}));
    EXPECT_EQ(decoded.violations, Lines{});
}

TEST(Decoder, LostSamplesCauseViolationsButDecodingContinues)
{
    const Capture whole = session();
    const auto begin = Capture().light().now();
    Edges edges = part(whole.edges(), 0s, begin + 1ms + 2us);
    const Edges rest = part(whole.edges(), begin + 1ms + 5us, 10s);
    edges.insert(edges.end(), rest.begin(), rest.end());
    const Decoded decoded(edges);
    EXPECT_FALSE(decoded.violations.empty());
    EXPECT_EQ(decoded.screens.back(), "3210");
}

TEST(Decoder, ReportsOnceThatTheClockIdlesLow)
{
    Capture capture = Capture().reset();
    for (int i = 0; i < 2; ++i) { // command 30 in mode 0
        capture.low(Line::Clock).low(Line::DataCommand).wait(1us).low(Line::ChipSelect);
        for (int bit = 0; bit < 8; ++bit) {
            capture.set(Line::Mosi, (0x30 >> (7 - bit) & 1) != 0 ? Level::High : Level::Low);
            capture.wait(40ns).high(Line::Clock).wait(40ns).low(Line::Clock);
        }
        capture.wait(40ns).high(Line::ChipSelect).wait(1us);
    }
    EXPECT_EQ(Decoded(capture.edges()).violations, Lines{"the clock idles low: SPI mode 0 instead of mode 3"});
}

TEST(Decoder, ReportsDataThatChangeAtTheSamplingEdge)
{
    Capture capture = Capture().reset();
    for (const std::uint8_t command : Bytes{0x30, 0x94, 0x0C, 0xA6, 0xAF}) { // in mode 2
        capture.low(Line::DataCommand).wait(1us).low(Line::ChipSelect).wait(10ns);
        for (int bit = 0; bit < 8; ++bit) {
            capture.set(Line::Mosi, (command >> (7 - bit) & 1) != 0 ? Level::High : Level::Low);
            capture.wait(40ns).low(Line::Clock).wait(40ns).high(Line::Clock);
        }
        capture.wait(40ns).high(Line::ChipSelect).wait(1us);
    }
    EXPECT_EQ(Decoded(capture.edges()).violations,
              Lines{"the data change at the sampling edge of the clock: SPI mode 2 instead of mode 3"});
}

TEST(Decoder, NotesTransfersWithoutClockEdges)
{
    const Decoded decoded(Capture().light().low(Line::ChipSelect).wait(1us).high(Line::ChipSelect).wait(1us).edges());
    EXPECT_EQ(decoded.notes, Lines{"a transfer without clock edges"});
    EXPECT_EQ(decoded.violations, Lines{});
}

} // namespace
