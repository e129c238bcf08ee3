// Tests for the edges that a transfer or another event causes. Waves are sampled levels: `_` low, `-` high.
#include "sim/wires/wire_recorder.h"

#include "tests/support/scratch_folder.h"
#include "tests/wires/recorded_lines.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using sim::Level;
using sim::Line;
using sim::WireTime;

using Bytes = std::vector<std::uint8_t>;

class WireRecorderTest : public testing::Test {
protected:
    WireRecorderTest()
    {
        sim::VcdWriter(file, *state).begin();
        recorder = std::make_unique<sim::WireRecorder>(file, *state);
    }
    ~WireRecorderTest() override { close(file); }

    void transfer(WireTime start, WireTime duration, const Bytes& bytes)
    {
        recorder->beginSpi(start, duration, bytes);
        recorder->endSpi(start + duration);
    }
    RecordedLines recorded(WireTime until = 1s)
    {
        recorder->observeUntil(until);
        recorder->flush();
        return RecordedLines(folder / "wires.vcd");
    }

    const ScratchFolder folder;
    const int file = open((folder / "wires.vcd").c_str(), O_WRONLY | O_CREAT, 0600);
    const std::unique_ptr<sim::RecordingState> state = std::make_unique<sim::RecordingState>();
    std::unique_ptr<sim::WireRecorder> recorder;
};

// SPI.

TEST_F(WireRecorderTest, TransmitsAByteInMode3WithTheMostSignificantBitFirst)
{
    transfer(100ns, 640ns, {0b1010'0011});
    const RecordedLines lines = recorded();
    EXPECT_EQ(lines.wave(Line::ChipSelect, 80ns, 20ns, 34), "-________________________________-");
    EXPECT_EQ(lines.wave(Line::Clock, 80ns, 20ns, 34), "--__--__--__--__--__--__--__--__--");
    EXPECT_EQ(lines.wave(Line::Mosi, 80ns, 20ns, 34), "__----____----____________--------");
}

TEST_F(WireRecorderTest, TransmitsTheBytesOfATransferWithoutAPause)
{
    transfer(0ns, 1280ns, {0x00, 0xFF});
    const RecordedLines lines = recorded();
    EXPECT_EQ(lines.wave(Line::Clock, 0ns, 20ns, 65),
              "-__--__--__--__--__--__--__--__--__--__--__--__--__--__--__--__--");
    EXPECT_EQ(lines.timesOf(Line::ChipSelect), (std::vector<WireTime>{0ns, 1280ns}));
    EXPECT_EQ(lines.timesOf(Line::Mosi), (std::vector<WireTime>{660ns}));
}

/// Also if the duration is not a multiple of the number of bits.
TEST_F(WireRecorderTest, SpreadsTheBitsEvenlyOverTheDuration)
{
    const Bytes bytes(10240, 0x55);
    const auto bits = static_cast<std::int64_t>(bytes.size()) * 8;
    WireTime start{};
    for (const WireTime duration : {WireTime(6'553'600), WireTime(1'000'000'007), WireTime(3'600'000'000'001)}) {
        transfer(start, duration, bytes);
        const std::vector<WireTime> edges = recorded(start + duration).timesOf(Line::Clock);
        ASSERT_GE(edges.size(), static_cast<std::size_t>(2 * bits));
        for (std::int64_t i = 0; i < 2 * bits; ++i) {
            const double exact =
                static_cast<double>(duration.count()) / static_cast<double>(4 * bits) * static_cast<double>(2 * i + 1);
            const auto index = edges.size() - static_cast<std::size_t>(2 * bits - i);
            ASSERT_NEAR(static_cast<double>((edges[index] - start).count()), exact, 1.01) << duration.count();
        }
        start += duration + 1us;
    }
}

TEST_F(WireRecorderTest, RaisesChipSelectBetweenTransfers)
{
    transfer(0ns, 640ns, {0x5C});
    transfer(1640ns, 640ns, {0x00});
    EXPECT_EQ(recorded().wave(Line::ChipSelect, 0ns, 160ns, 16), "____-------____-");
}

TEST_F(WireRecorderTest, ATransferWithoutBytesHasNoEdges)
{
    transfer(0ns, 0ns, {});
    EXPECT_TRUE(recorded().changes().empty());
}

TEST_F(WireRecorderTest, RecordsATransferUnderWayOnlyUpToTheCurrentTime)
{
    recorder->beginSpi(0ns, 640ns, Bytes{0xFF});
    EXPECT_EQ(recorded(300ns).changes().back().time, 260ns);
    recorder->endSpi(640ns);
    EXPECT_EQ(recorded().changes().back().time, 640ns);
}

TEST_F(WireRecorderTest, RecordsOtherLinesDuringATransferInTheOrderOfTheirTimes)
{
    recorder->beginSpi(0ns, 640ns, Bytes{0xFF});
    recorder->change(205ns, Line::Button, Level::Low);
    recorder->change(405ns, Line::DataCommand, Level::Low);
    recorder->endSpi(640ns);
    const RecordedLines lines = recorded(); // rejects decreasing times
    EXPECT_EQ(lines.timesOf(Line::Button), (std::vector<WireTime>{205ns}));
    EXPECT_EQ(lines.timesOf(Line::DataCommand), (std::vector<WireTime>{405ns}));
    EXPECT_EQ(lines.timesOf(Line::Clock).size(), 16U);
}

/// Decoders read simultaneous changes in the order of the file.
TEST_F(WireRecorderTest, KeepsTheOrderOfChangesAtTheBeginningAndEndOfATransfer)
{
    recorder->change(0ns, Line::DataCommand, Level::Low);
    recorder->beginSpi(0ns, 640ns, Bytes{0x00});
    recorder->change(0ns, Line::Reset, Level::High);
    recorder->change(640ns, Line::Reset, Level::Low);
    recorder->endSpi(640ns);
    recorder->change(640ns, Line::DataCommand, Level::High);
    std::vector<Line> order;
    const RecordedLines lines = recorded();
    for (const sim::Edge& edge : lines.changes()) {
        if (edge.line != Line::Clock) {
            order.push_back(edge.line);
        }
    }
    EXPECT_EQ(order, (std::vector<Line>{Line::DataCommand, Line::ChipSelect, Line::Reset, Line::Reset, Line::ChipSelect,
                                        Line::DataCommand}));
}

// I2C, sampled every 2.5 microseconds: four samples per bit.

struct I2cCase {
    const char* name;
    sim::I2cTransfer transfer;
    /// The samples of SDA: the start, the address with R/W and acknowledge, the bytes, the stop.
    std::string sda;
};

constexpr std::uint8_t address = 0x6C;
constexpr std::uint8_t value = 0xA5;

class I2cSignalTest : public WireRecorderTest, public testing::WithParamInterface<I2cCase> {};

TEST_P(I2cSignalTest, HasTheWaveformOfTheI2cProtocol)
{
    const auto& [name, transfer, sda] = GetParam();
    recorder->beginI2c(10us, transfer);
    const int slots = static_cast<int>(transfer.duration() / 10us);
    ASSERT_EQ(sda.size(), static_cast<std::size_t>(4 * slots));
    std::string scl = "----"; // high until the end of the start condition
    for (int slot = 1; slot < slots; ++slot) {
        scl += "__--";
    }
    const RecordedLines lines = recorded();
    EXPECT_EQ(lines.wave(Line::Scl, 10us, 2500ns, 4 * slots), scl);
    EXPECT_EQ(lines.wave(Line::Sda, 10us, 2500ns, 4 * slots), sda);
    EXPECT_EQ(lines.changes().back().time, 10us + transfer.duration());
    EXPECT_EQ(lines.levelAt(Line::Sda, 1s), Level::High);
}

/// SDA lags SCL by one sample: the level of each bit begins at the second sample of the bit and lasts four samples.
const I2cCase i2cCases[] = {
    {"Write",
     {.address = address, .bytes = {&value, 1}},
     "--__"
     "_----"
     "----"
     "____"
     "----"
     "----"
     "____"
     "____"
     "____"
     "____" // 0x6C, write, acknowledged
     "----"
     "____"
     "----"
     "____"
     "____"
     "----"
     "____"
     "----"
     "____" // 0xA5, acknowledged
     "___"},
    {"Read",
     {.address = address, .isRead = true, .bytes = {&value, 1}},
     "--__"
     "_----"
     "----"
     "____"
     "----"
     "----"
     "____"
     "____"
     "----"
     "____" // 0x6C, read, acknowledged
     "----"
     "____"
     "----"
     "____"
     "____"
     "----"
     "____"
     "----"
     "----" // 0xA5, the last byte is not acknowledged
     "___"},
    {"Refused",
     {.address = address, .isAcknowledged = false, .bytes = {&value, 1}},
     "--__"
     "_----"
     "----"
     "____"
     "----"
     "----"
     "____"
     "____"
     "____"
     "----" // 0x6C, write, not acknowledged
     "___"},
};

INSTANTIATE_TEST_SUITE_P(Transfer, I2cSignalTest, testing::ValuesIn(i2cCases),
                         [](const auto& test) { return test.param.name; });

TEST_F(WireRecorderTest, RecordsBothBusesAtTheSameTime)
{
    const Bytes frame(10240, 0xF0);
    recorder->beginI2c(0ns, {.address = address, .bytes = frame});
    transfer(1us, 6553600ns, frame);
    transfer(7ms, 640ns, {0x55});
    const RecordedLines lines = recorded(); // rejects decreasing times
    EXPECT_EQ(lines.timesOf(Line::Clock).size(), 2U * 8U * (frame.size() + 1));
    EXPECT_EQ(lines.timesOf(Line::Scl).size(), 2U * 9U * (frame.size() + 1) + 2U);
}

// The encoder, sampled every 100 microseconds.

TEST_F(WireRecorderTest, TheFirstContactLeadsInThePositiveDirection)
{
    recorder->turn(200us, 2);
    const RecordedLines lines = recorded();
    EXPECT_EQ(lines.wave(Line::EncoderA, 100us, 100us, 10), "-__--__---");
    EXPECT_EQ(lines.wave(Line::EncoderB, 100us, 100us, 10), "--__--__--");
}

TEST_F(WireRecorderTest, TheSecondContactLeadsInTheNegativeDirection)
{
    recorder->turn(200us, -1);
    const RecordedLines lines = recorded();
    EXPECT_EQ(lines.wave(Line::EncoderA, 100us, 100us, 6), "--__--");
    EXPECT_EQ(lines.wave(Line::EncoderB, 100us, 100us, 6), "-__---");
}

TEST_F(WireRecorderTest, ATurnBeginsAfterThePreviousTurn)
{
    recorder->turn(0us, 1);
    recorder->turn(0us, 0);
    recorder->turn(50us, -1);
    recorder->turn(5ms, 1);
    const RecordedLines lines = recorded();
    EXPECT_EQ(lines.wave(Line::EncoderA, 0us, 100us, 9), "__---__--");
    EXPECT_EQ(lines.wave(Line::EncoderB, 0us, 100us, 9), "-__-__---");
    EXPECT_EQ(lines.levelAt(Line::EncoderA, 5ms), Level::Low);
}

// Levels.

TEST_F(WireRecorderTest, LinesHaveTheirInitialLevelsBeforeTheFirstChange)
{
    const RecordedLines lines = recorded(); // checks the initial levels
    EXPECT_EQ(lines.levelAt(Line::DataCommand, 0ns), Level::Undefined);
    EXPECT_EQ(lines.levelAt(Line::Reset, 0ns), Level::Undefined);
    EXPECT_EQ(lines.levelAt(Line::Clock, 0ns), Level::High) << "mode 3";
    EXPECT_TRUE(lines.changes().empty());
}

TEST_F(WireRecorderTest, RecordsALevelOnlyWhenItChanges)
{
    WireTime now{};
    for (const Level level : {Level::High, Level::Low, Level::Low, Level::High, Level::High}) {
        now += 1ms;
        recorder->change(now, Line::Button, level);
    }
    EXPECT_EQ(recorded().timesOf(Line::Button), (std::vector<WireTime>{2ms, 4ms}));
}

} // namespace
