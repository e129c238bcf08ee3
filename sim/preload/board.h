// The simulated board: the hardware models and their wiring, accessed through file descriptors.
#pragma once

#include "sim/models/encoder.h"
#include "sim/models/gpio_block.h"
#include "sim/models/led_controller.h"
#include "sim/models/st75256.h"
#include "sim/models/violations.h"
#include "sim/preload/timeline.h"
#include "sim/wires/wire_recorder.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace sim {

enum class Endpoint : std::uint8_t { None, Memory, Spi, I2c, Encoder };

/// Thread-safe. `open`, `mapRegisters`, `write`, `read` and `control` return the same values as the system calls that
/// they replace, and set errno on failure.
class Board {
public:
    /// `deviceRoot` is the folder with the device's files.
    explicit Board(std::string deviceRoot);
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    Timeline timeline;

    // For the program.

    [[nodiscard]] const std::string& getRoot() const { return root; }
    /// The path in the device's folder that replaces `path`, if the board simulates `path`.
    [[nodiscard]] std::optional<std::string> redirect(std::string_view path) const;
    /// The endpoint at `path`, such as Spi at /dev/spidev0.0; None if `path` is not the path of an endpoint.
    [[nodiscard]] static Endpoint endpointAt(std::string_view path);
    [[nodiscard]] Endpoint endpointOf(int fd) const;

    /// `flags` are the flags of the system call.
    int open(Endpoint endpoint, int flags);
    void close(int fd);
    void* mapRegisters(off_t physicalBase);
    ssize_t write(int fd, std::span<const std::uint8_t> bytes);
    ssize_t read(int fd, std::span<std::uint8_t> bytes);
    int control(int fd, unsigned long request, unsigned long argument);
    /// Processes the program's latest stores to the GPIO registers.
    void sync();
    /// Adds an event to the traffic log.
    void note(const std::string& event);
    [[nodiscard]] bool hasInjectedFault(std::string_view fault) const;

    // For the controller.

    /// Injects the fault, or removes it if `on` is false. `fault` is a name from injected_faults.h, such as "absent
    /// spi".
    void setInjectedFault(const std::string& fault, bool on);
    /// Overrides the transfer time of a frame (10240 bytes), and of shorter transfers in proportion; 0 restores the
    /// times that follow from the bus speed.
    void setFrameTime(Timeline::Duration duration);
    /// Makes the I2C transfer with this number fail; 0 for none. Transfers, including device selections, are counted
    /// from 1.
    void refuseI2cTransfer(int number);
    void setButton(bool pressed);
    void turn(std::int32_t steps);
    void queueEvent(std::uint16_t type, std::uint16_t code, std::int32_t value);
    /// Continues a recording of the lines; see WireRecorder. Call it before the program starts.
    void recordWires(int file, RecordingState& state);
    /// Records the lines up to the current time.
    void observeWires();

    [[nodiscard]] Screen screen();
    [[nodiscard]] std::uint64_t frameCount();
    [[nodiscard]] DisplayRegisters displayRegisters();
    [[nodiscard]] std::array<std::uint8_t, LedController::outputCount> leds();
    [[nodiscard]] std::vector<std::string> violationList();
    /// If `on` is false, stops the traffic log, so that a long run does not exhaust the memory.
    void keepTraffic(bool on);
    /// The traffic log, oldest event first: writes to the buses, bus settings, lines that become outputs, changes of
    /// their levels, and the events that `note` has added. The level of the data/command line is part of each SPI
    /// transfer ("D" or "C"); its changes are not logged. Each line starts with the time in microseconds. Consecutive
    /// equal events share one line, with the time of the first event, and the number of events at the end.
    [[nodiscard]] std::vector<std::string> traffic();

private:
    struct LogEntry {
        std::string event;
        std::uint64_t count;
        Timeline::Duration time;
    };

    /// A bus carries out one transfer after another.
    struct Bus {
        /// The minimum time between two transfers.
        Timeline::Duration gap;
        /// When the gap after the last transfer ends.
        Timeline::Duration busyUntil{};
    };
    using Lock = std::unique_lock<std::mutex>;

    void wire();
    void log(const std::string& event);
    void recordOutput(int line, bool level);
    void await(Lock& lock, const Bus& bus);
    void occupy(Lock& lock, Bus& bus, Timeline::Duration duration);
    int controlSpi(unsigned long request, unsigned long argument);
    int controlI2c(unsigned long request, unsigned long argument);
    ssize_t writeSpi(std::span<const std::uint8_t> bytes);
    [[nodiscard]] bool refusesI2cTransfer();
    int transferI2c(Lock& lock, I2cTransfer transfer);
    ssize_t writeI2c(std::span<const std::uint8_t> bytes);
    ssize_t readI2c(std::span<std::uint8_t> bytes);
    ssize_t readEncoder(std::span<std::uint8_t> bytes);
    [[nodiscard]] Timeline::Duration transferTime(std::size_t byteCount) const;
    [[nodiscard]] Timeline::Duration timeOnTheBus(std::size_t byteCount) const;

    static constexpr int descriptorCount = 1024;

    const std::string root;
    std::array<std::atomic<Endpoint>, descriptorCount> endpoints{};

    mutable std::mutex mutex;
    // Guarded by the mutex; only the program accesses `registers` without it.
    alignas(GpioBlock::pageBytes) std::array<volatile std::uint32_t, GpioBlock::pageBytes / 4> registers{};
    Violations violations;
    GpioBlock gpio{registers.data(), violations};
    St75256 display{violations};
    LedController ledController{violations};
    Encoder encoder;
    std::set<std::string, std::less<>> injectedFaults;
    std::uint32_t spiSpeedHz = 500000;
    unsigned long i2cAddress = 0;
    int i2cTransfers = 0;
    Timeline::Duration frameTime{};
    int refusedI2cTransfer = 0;
    /// Chip select is high during the gap. The gap is shorter than on the device, where the kernel needs several
    /// microseconds.
    Bus spiBus = {.gap = std::chrono::microseconds(1)};
    Bus i2cBus = {.gap = {}};
    bool keepsTraffic = true;
    std::vector<LogEntry> entries;
    std::optional<WireRecorder> wires;
};

} // namespace sim
