// Decodes the emulator's trace into the events on the board's wires, and passes them to the device models.
#pragma once

#include "sim/models/led_controller.h"
#include "sim/models/screen.h"
#include "sim/models/st75256.h"
#include "sim/models/violations.h"
#include "sim/wires/wire_recorder.h"

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// Decodes the trace events memory_region_ops_write, memory_region_ops_read, i2c_event and i2c_send. Writes from
/// outside the board's processors (the test's button presses) are only counted and recorded.
class Bus {
public:
    Bus() : display(violationList), leds(violationList) {}

    /// Sets the initial values of the function select registers. A store to such a register is an event only for the
    /// lines whose function changes.
    void setFunctionSelects(const std::array<std::uint32_t, 6>& registers) { selects = registers; }
    /// Records the lines; null to stop. The trace contains no times of single bits: an SPI transfer begins at its
    /// first event, or 1 microsecond after the end of the previous transfer if that is later, and takes the time that
    /// follows from the clock; an I2C write begins at its last event. Later events are delayed if necessary, so that
    /// their order stays the same. The trace contains neither reads on the I2C bus nor turns of the encoder.
    void recordWires(sim::WireRecorder* recorder) { wires = recorder; }
    /// Decodes one line of the trace: "PROCESS@SECONDS.MICROSECONDS:EVENT", or only "EVENT".
    void take(std::string_view line);

    /// The events in order, in these forms: "line 25 high", "line 5 output", "GPIO register 88" (a store to any GPIO
    /// register except GPFSELn, GPSET0 and GPCLR0, with its decimal offset), "command 30" and "data 9F" (one byte),
    /// "frame" (10240 data bytes), "command, 2 bytes" and "data, 512 bytes" (any other transfer) and
    /// "i2c 6C: 2F 00". Level changes of the chip-select and data/command lines are not included.
    [[nodiscard]] const std::vector<std::string>& events() const { return log; }
    /// The screen after each complete frame that arrived while the display was lit.
    [[nodiscard]] const std::vector<sim::Screen>& screens() const { return shown; }
    [[nodiscard]] const std::vector<std::string>& violations() const { return violationList.list(); }
    [[nodiscard]] std::array<std::uint8_t, sim::LedController::outputCount> ledOutputs() const
    {
        return leds.outputs();
    }
    [[nodiscard]] const std::set<std::uint32_t>& clockDividers() const { return dividers; }
    [[nodiscard]] const std::set<int>& spiModes() const { return modes; }
    /// Bytes written to the SD card so far.
    [[nodiscard]] std::uint64_t cardBytes() const { return bytesToCard; }
    /// How often the program read the pin levels; each poll of the button is one read.
    [[nodiscard]] int buttonPolls() const { return polls; }
    /// How often the test set or cleared a line.
    [[nodiscard]] int testWrites() const { return writes; }
    /// The polls of the button since the test last set or cleared a line.
    [[nodiscard]] int pollsSinceTestWrite() const { return polls - pollsAtTestWrite; }

private:
    void store(std::uint32_t address, std::uint32_t value);
    void read(std::uint32_t address);
    void takeTestWrite(std::uint32_t address, std::uint32_t value);
    void select(std::size_t index, std::uint32_t value);
    void drive(std::uint32_t lines, bool level);
    void controlSpi(std::uint32_t value);
    void endTransfer();
    [[nodiscard]] std::string_view takeTime(std::string_view line);
    void recordOutput(int line);
    void recordChange(sim::Line line, bool level);
    void recordTransfer();
    void recordI2c(std::uint8_t address);
    void takeI2c(std::string_view event, std::string_view line);

    sim::Violations violationList;
    sim::St75256 display;
    sim::LedController leds;

    std::array<std::uint32_t, 6> selects{};
    std::uint32_t driven = 0;
    std::uint32_t levels = 0;
    std::uint32_t spiControl = 0;
    std::vector<std::uint8_t> transfer;
    std::vector<std::uint8_t> i2cBytes;
    std::uint64_t bytesToCard = 0;
    int polls = 0;
    int writes = 0;
    int pollsAtTestWrite = 0;

    sim::WireRecorder* wires = nullptr;
    /// The time of the first event in the trace.
    std::optional<sim::WireTime> origin;
    /// The time of the last event, or the end of the last transfer if that is later.
    sim::WireTime time{};
    sim::WireTime transferStart{};
    sim::WireTime busFree{};
    std::vector<sim::Edge> changesDuringTransfer;
    std::uint32_t divider = 0;

    std::vector<std::string> log;
    std::vector<sim::Screen> shown;
    std::set<std::uint32_t> dividers;
    std::set<int> modes;
};
