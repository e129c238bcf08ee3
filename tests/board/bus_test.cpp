// Tests the decoding of the emulator's trace.
#include "tests/board/bus.h"

#include "sim/wires/recording_file.h"
#include "tests/support/scratch_folder.h"
#include "tests/wires/recorded_lines.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using namespace std::chrono_literals;
using sim::Line;
using Times = std::vector<sim::WireTime>;
using Lines = std::vector<std::string>;

std::string hex(std::uint32_t value)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%x", value);
    return text.data();
}

class BusTest : public testing::Test {
protected:
    // Passes a register access, in the emulator's trace format, to `bus`. `cpu` is -1 for an access by the test.
    void access(const std::string& kind, int cpu, std::uint32_t address, std::uint32_t value)
    {
        bus.take("memory_region_ops_" + kind + " cpu " + std::to_string(cpu) + " mr 0x7f36533f9690 addr " +
                 hex(address) + " value " + hex(value) + " size 4 name 'device'");
    }
    void store(std::uint32_t address, std::uint32_t value) { access("write", 0, address, value); }
    void setLines(std::uint32_t lines) { store(0xFE20001C, lines); }
    void clearLines(std::uint32_t lines) { store(0xFE200028, lines); }

    void transfer(const std::vector<std::uint8_t>& bytes)
    {
        store(0xFE204000, 0x8C); // mode 3, active
        for (const std::uint8_t byte : bytes) {
            store(0xFE204004, byte);
        }
        store(0xFE204000, 0x0C);
    }

    Bus bus;
};

constexpr std::uint32_t dataCommand = 1U << 7;
constexpr std::uint32_t chipSelect = 1U << 8;
constexpr std::uint32_t reset = 1U << 25;

TEST_F(BusTest, ReportsOnlyChangedLineFunctions)
{
    bus.setFunctionSelects({0x900, 0, 0x4, 0, 0, 0});
    store(0xFE200000, 0x8900);
    store(0xFE200008, 0x8004);
    store(0xFE200008, 0x0004);
    EXPECT_EQ(bus.events(), (Lines{"line 5 output", "line 25 output", "line 25 input"}));
}

TEST_F(BusTest, ReportsALineOnlyWhenItsLevelChanges)
{
    setLines(reset);
    setLines(reset);
    clearLines(reset | 1U << 5);
    clearLines(reset);
    EXPECT_EQ(bus.events(), (Lines{"line 25 high", "line 5 low", "line 25 low"}));
}

TEST_F(BusTest, ReportsNeitherChipSelectNorTheTestsWrites)
{
    setLines(chipSelect);
    access("write", -1, 0xFE20001C, 1U << 6);
    EXPECT_TRUE(bus.events().empty());
}

TEST_F(BusTest, ReportsStoresToOtherGpioRegisters)
{
    store(0xFE200058, 1);
    store(0xFE201000, 1); // not a GPIO register
    EXPECT_EQ(bus.events(), (Lines{"GPIO register 88"}));
}

TEST_F(BusTest, DistinguishesCommandsFromDataByTheDataCommandLine)
{
    clearLines(dataCommand);
    transfer({0xAE});
    setLines(dataCommand);
    transfer({0x0B});
    transfer(std::vector<std::uint8_t>(512));
    transfer(std::vector<std::uint8_t>(10240));
    EXPECT_EQ(bus.events(), (Lines{"command AE", "data 0B", "data, 512 bytes", "frame"}));
    EXPECT_EQ(bus.spiModes(), std::set<int>{3});
}

TEST_F(BusTest, CollectsTheClockDividers)
{
    store(0xFE204008, 46);
    store(0xFE204008, 46);
    store(0xFE204008, 2);
    EXPECT_EQ(bus.clockDividers(), (std::set<std::uint32_t>{2, 46}));
}

TEST_F(BusTest, ADataCommandChangeDuringATransferIsAViolation)
{
    clearLines(dataCommand);
    store(0xFE204000, 0x8C);
    setLines(dataCommand);
    EXPECT_EQ(bus.violations(), (Lines{"the data/command line changed during a transfer"}));
}

TEST_F(BusTest, CountsTheBytesWrittenToTheCard)
{
    store(0xFE300020, 0x12345678);
    store(0xFE300020, 0);
    store(0xFE300024, 1);
    EXPECT_EQ(bus.cardBytes(), 8U);
    EXPECT_TRUE(bus.events().empty());
}

TEST_F(BusTest, ReportsI2cWritesWithTheirAddress)
{
    for (const char* line : {"i2c_event start(addr:0x6c)", "i2c_send send(addr:0x6c) data:0x2f",
                             "i2c_send send(addr:0x6c) data:0x00", "i2c_event finish(addr:0x6c)"}) {
        bus.take(line);
    }
    EXPECT_EQ(bus.events(), (Lines{"i2c 6C: 2F 00"}));
}

TEST_F(BusTest, IgnoresEmptyI2cTransfers)
{
    bus.take("i2c_event start(addr:0x6c)");
    bus.take("i2c_event finish(addr:0x6c)");
    EXPECT_TRUE(bus.events().empty());
}

TEST_F(BusTest, CountsOnlyTheProgramsReadsOfTheLevelRegister)
{
    access("read", 2, 0xFE200034, 0x40);
    access("read", 2, 0xFE200030, 0x40);
    access("read", -1, 0xFE200034, 0x40);
    access("read", 0, 0xFE200034, 0x00);
    EXPECT_EQ(bus.buttonPolls(), 2);
}

TEST_F(BusTest, CountsPollsSinceTheTestsLastWrite)
{
    access("read", 2, 0xFE200034, 0x40);
    access("write", -1, 0xFE200028, 0x40);
    access("read", 2, 0xFE200034, 0x00);
    access("read", 2, 0xFE200034, 0x00);
    EXPECT_EQ(bus.testWrites(), 1);
    EXPECT_EQ(bus.pollsSinceTestWrite(), 2);
}

TEST_F(BusTest, IgnoresUnknownTraceLines)
{
    bus.take("");
    bus.take("usb_dwc2_io_write something");
    bus.take("memory_region_ops_write");
    EXPECT_TRUE(bus.events().empty());
    EXPECT_TRUE(bus.violations().empty());
}

// The recording of the lines.

class BusRecordingTest : public BusTest {
protected:
    BusRecordingTest()
    {
        bus.recordWires(&recorder);
        takeAt(0, "i2c_event start(addr:0x6c)"); // the first event defines the time 0
        store(0xFE204008, 450);                  // 1.25 MHz: 800 ns per bit
    }

    /// `line` is an event; empty to only advance the time.
    void takeAt(int microseconds, const std::string& line)
    {
        std::array<char, 32> stamp{};
        std::snprintf(stamp.data(), stamp.size(), "4711@1790000000.%06d:", microseconds);
        bus.take(stamp.data() + line);
    }
    RecordedLines recorded()
    {
        recorder.observeUntil(1s);
        recording.finish();
        return RecordedLines(folder / "wires.vcd");
    }

    const ScratchFolder folder;
    sim::RecordingFile recording{folder / "wires.vcd", sim::RecordingState::noLimit};
    sim::WireRecorder recorder{recording.descriptor(), recording.getState()};
};

TEST_F(BusRecordingTest, ATransferBeginsAtItsFirstEventAndLastsForItsClockCycles)
{
    takeAt(100, "");
    transfer({0xF0});
    const RecordedLines lines = recorded();
    EXPECT_EQ(lines.timesOf(Line::ChipSelect), (Times{100us, 100us + 6400ns}));
    EXPECT_EQ(lines.timesOf(Line::Clock).front(), 100us + 200ns);
    EXPECT_EQ(lines.timesOf(Line::Mosi), (Times{100us + 200ns, 100us + 3400ns}));
}

TEST_F(BusRecordingTest, DelaysEventsAfterATransferUntilItsComputedEnd)
{
    takeAt(100, "");
    transfer({0x30});
    takeAt(101, "");
    setLines(dataCommand);
    transfer({0x30});
    const RecordedLines lines = recorded();
    EXPECT_EQ(lines.timesOf(Line::DataCommand), (Times{106400ns}));
    EXPECT_EQ(lines.timesOf(Line::ChipSelect), (Times{100us, 106400ns, 107400ns, 113800ns}));
}

TEST_F(BusRecordingTest, ALineChangeDuringATransferKeepsItsTime)
{
    takeAt(100, "");
    store(0xFE204000, 0x8C);
    store(0xFE204004, 0xAE);
    takeAt(102, "");
    setLines(dataCommand);
    takeAt(103, "");
    store(0xFE204000, 0x0C);
    EXPECT_EQ(recorded().timesOf(Line::DataCommand), (Times{102us}));
}

TEST_F(BusRecordingTest, AnI2cWriteIsRecordedFromItsLastEventOn)
{
    takeAt(50, "i2c_send send(addr:0x6c) data:0x00");
    takeAt(60, "i2c_event finish(addr:0x6c)");
    const RecordedLines lines = recorded();
    EXPECT_EQ(lines.changes().front().time, 65us) << "the start condition";
    EXPECT_EQ(lines.changes().back().time, 60us + 200us) << "the stop condition";
}

TEST_F(BusRecordingTest, RecordsTheTestsButtonPresses)
{
    takeAt(10, "");
    access("write", -1, 0xFE200028, 1U << 6);
    takeAt(20, "");
    access("write", -1, 0xFE20001C, 1U << 6);
    EXPECT_EQ(recorded().timesOf(Line::Button), (Times{10us, 20us}));
}

TEST_F(BusRecordingTest, ResetAndDataCommandAreUndefinedUntilTheyAreOutputs)
{
    takeAt(10, "");
    store(0xFE200008, 1U << 15);
    const RecordedLines lines = recorded();
    EXPECT_EQ(lines.timesOf(Line::Reset), (Times{10us}));
    EXPECT_EQ(lines.levelAt(Line::Reset, 10us), sim::Level::Low);
    EXPECT_EQ(lines.levelAt(Line::DataCommand, 1s), sim::Level::Undefined);
}

} // namespace
