// Connects the hardware models and implements the operations on the endpoints.
#include "sim/preload/board.h"

#include "sim/preload/real_calls.h"
#include "sim/protocol/injected_faults.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/spi/spidev.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

namespace sim {

namespace {

constexpr int buttonLine = 6;
constexpr int dataCommandLine = 7;
constexpr int resetLine = 25;
constexpr off_t gpioBase = 0xFE200000;

/// spidev's module parameter bufsiz: longer transfers fail.
constexpr std::size_t spiBufferSize = 10240;
constexpr std::size_t frameBytes = 10240;

struct Device {
    std::string_view path;
    Endpoint endpoint;
    const char* absence;
};

constexpr Device devices[] = {
    {"/dev/mem", Endpoint::Memory, fault::absentMemory},
    {"/dev/spidev0.0", Endpoint::Spi, fault::absentDisplay},
    {"/dev/i2c-22", Endpoint::I2c, fault::absentLeds},
    {"/dev/input/event0", Endpoint::Encoder, fault::absentEncoder},
};

ssize_t fail(int error)
{
    errno = error;
    return -1;
}

std::string hexBytes(std::span<const std::uint8_t> bytes)
{
    constexpr std::size_t shown = 32;
    if (bytes.size() > shown) {
        return "[" + std::to_string(bytes.size()) + " bytes]";
    }
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += text.empty() ? "" : " ";
        text += digits[byte >> 4U];
        text += digits[byte & 0xFU];
    }
    return text;
}

} // namespace

Board::Board(std::string deviceRoot) : root(std::move(deviceRoot))
{
    wire();
}

void Board::wire()
{
    gpio.onSelect([this](int line) {
        log("gpio " + std::to_string(line) + " output");
        recordOutput(line, gpio.level(line));
    });
    gpio.onOutput([this](int line, bool level) {
        recordOutput(line, level);
        if (line == dataCommandLine) {
            display.setDataCommandLine(level); // not logged here: each SPI transfer is logged with this level
            return;
        }
        log("gpio " + std::to_string(line) + (level ? " high" : " low"));
        if (line == resetLine) {
            display.setResetLine(level);
        }
    });
}

void Board::recordOutput(int line, bool level)
{
    if (wires && (line == dataCommandLine || line == resetLine)) {
        wires->change(timeline.now(), line == resetLine ? Line::Reset : Line::DataCommand,
                      level ? Level::High : Level::Low);
    }
}

std::optional<std::string> Board::redirect(std::string_view path) const
{
    const bool isSimulated = path == "/dev/sda" || path == "/dev/sda1" || path.starts_with("/tmp/fw/") ||
                             (path.starts_with("/usr/sbin/") && path.ends_with(".sh"));
    return isSimulated ? std::optional(root + std::string(path)) : std::nullopt;
}

Endpoint Board::endpointAt(std::string_view path)
{
    for (const Device& device : devices) {
        if (device.path == path) {
            return device.endpoint;
        }
    }
    return Endpoint::None;
}

Endpoint Board::endpointOf(int fd) const
{
    return fd >= 0 && fd < descriptorCount ? endpoints[static_cast<std::size_t>(fd)].load() : Endpoint::None;
}

int Board::open(Endpoint endpoint, int flags)
{
    sync();
    for (const Device& device : devices) {
        if (device.endpoint == endpoint && hasInjectedFault(device.absence)) {
            return static_cast<int>(fail(endpoint == Endpoint::Memory ? EACCES : ENOENT));
        }
    }
    const int fd = REAL(open)("/dev/null", O_RDWR | (flags & O_CLOEXEC));
    if (fd >= 0 && fd < descriptorCount) {
        endpoints[static_cast<std::size_t>(fd)] = endpoint;
    }
    return fd;
}

void Board::close(int fd)
{
    if (endpoints[static_cast<std::size_t>(fd)].exchange(Endpoint::None) == Endpoint::Spi) {
        note("spi close");
    }
}

void* Board::mapRegisters(off_t physicalBase)
{
    if (hasInjectedFault(fault::mappingFails)) {
        fail(EPERM);
        return MAP_FAILED;
    }
    if (physicalBase != gpioBase) {
        const std::lock_guard lock(mutex);
        violations.add("a mapping of memory that is not the GPIO block");
    }
    return const_cast<std::uint32_t*>(registers.data());
}

void Board::sync()
{
    const std::lock_guard lock(mutex);
    gpio.sync();
}

ssize_t Board::write(int fd, std::span<const std::uint8_t> bytes)
{
    switch (endpointOf(fd)) {
    case Endpoint::Spi:
        return writeSpi(bytes);
    case Endpoint::I2c:
        return writeI2c(bytes);
    default:
        return fail(EBADF);
    }
}

Timeline::Duration Board::transferTime(std::size_t byteCount) const
{
    constexpr Timeline::Duration hang = std::chrono::seconds(1);
    return injectedFaults.contains(fault::hangingDisplay) ? hang : timeOnTheBus(byteCount);
}

Timeline::Duration Board::timeOnTheBus(std::size_t byteCount) const
{
    const auto bytes = static_cast<std::int64_t>(byteCount);
    if (frameTime.count() != 0) {
        return frameTime * bytes / static_cast<std::int64_t>(frameBytes);
    }
    return std::chrono::nanoseconds(std::chrono::seconds(8)) * bytes / spiSpeedHz;
}

/// Waits until the bus is free.
void Board::await(Lock& lock, const Bus& bus)
{
    for (auto now = timeline.now(); now < bus.busyUntil; now = timeline.now()) {
        const auto wait = bus.busyUntil - now;
        lock.unlock();
        timeline.pass(wait);
        lock.lock();
        gpio.sync();
    }
}

/// Waits while a transfer of this duration occupies the bus.
void Board::occupy(Lock& lock, Bus& bus, Timeline::Duration duration)
{
    bus.busyUntil = timeline.now() + duration + bus.gap;
    lock.unlock();
    timeline.pass(duration);
    lock.lock();
    gpio.sync();
}

ssize_t Board::writeSpi(std::span<const std::uint8_t> bytes)
{
    Lock lock(mutex);
    gpio.sync();
    const bool fails = injectedFaults.contains(fault::failingDisplay);
    const bool isTooLong = bytes.size() > spiBufferSize;
    if (!fails && !isTooLong) {
        await(lock, spiBus);
    }
    log((gpio.level(dataCommandLine) ? "spi D " : "spi C ") + hexBytes(bytes));
    if (fails || isTooLong) {
        return fail(fails ? EIO : EMSGSIZE);
    }
    // Like the kernel, copies the bytes before the transfer begins.
    std::vector<std::uint8_t> copy(bytes.begin(), bytes.end());
    if (injectedFaults.contains(fault::shortTransfers) && copy.size() > 1) {
        copy.resize(copy.size() / 2);
    }
    const Timeline::Duration duration = transferTime(copy.size());
    if (wires) {
        wires->beginSpi(timeline.now(), duration, copy);
    }
    display.beginTransfer();
    occupy(lock, spiBus, duration);
    display.endTransfer(copy);
    if (wires) {
        wires->endSpi(timeline.now());
    }
    return static_cast<ssize_t>(copy.size());
}

/// Counts a transfer, and returns whether it must fail.
bool Board::refusesI2cTransfer()
{
    return ++i2cTransfers == refusedI2cTransfer;
}

/// Carries out a transfer with the selected device. Returns 0 or an error number.
int Board::transferI2c(Lock& lock, I2cTransfer transfer)
{
    const bool isRefused = refusesI2cTransfer() || injectedFaults.contains(fault::failingLeds);
    const bool isUsed = i2cAddress == LedController::address;
    if (!isRefused && !isUsed) {
        violations.add(transfer.isRead ? "an I2C read from an unused address" : "an I2C write to an unused address");
    }
    transfer.address = static_cast<std::uint8_t>(i2cAddress);
    transfer.isAcknowledged = !isRefused && isUsed;
    await(lock, i2cBus);
    if (wires) {
        wires->beginI2c(timeline.now(), transfer);
    }
    occupy(lock, i2cBus, transfer.duration());
    return isRefused ? ETIMEDOUT : isUsed ? 0 : EREMOTEIO;
}

ssize_t Board::writeI2c(std::span<const std::uint8_t> bytes)
{
    Lock lock(mutex);
    gpio.sync();
    log("i2c write " + hexBytes(bytes));
    if (const int error = transferI2c(lock, {.bytes = bytes}); error != 0) {
        return fail(error);
    }
    ledController.write(bytes);
    return static_cast<ssize_t>(bytes.size());
}

ssize_t Board::read(int fd, std::span<std::uint8_t> bytes)
{
    switch (endpointOf(fd)) {
    case Endpoint::I2c:
        return readI2c(bytes);
    case Endpoint::Encoder:
        return readEncoder(bytes);
    default:
        return fail(EIO);
    }
}

ssize_t Board::readI2c(std::span<std::uint8_t> bytes)
{
    Lock lock(mutex);
    const std::uint8_t value = ledController.read();
    if (const int error = transferI2c(lock, {.isRead = true, .bytes = {&value, 1}}); error != 0) {
        return fail(error);
    }
    if (bytes.empty()) {
        return fail(EIO);
    }
    bytes[0] = value;
    return 1;
}

ssize_t Board::readEncoder(std::span<std::uint8_t> bytes)
{
    const std::lock_guard lock(mutex);
    if (injectedFaults.contains(fault::failingEncoder)) {
        return fail(EIO);
    }
    if (injectedFaults.contains(fault::endedEncoder)) {
        return 0;
    }
    if (bytes.size() < sizeof(input_event)) {
        return fail(EINVAL);
    }
    const auto event = encoder.next();
    if (!event) {
        return fail(EAGAIN);
    }
    std::memcpy(bytes.data(), &*event, sizeof *event);
    return sizeof *event;
}

int Board::control(int fd, unsigned long request, unsigned long argument)
{
    const std::lock_guard lock(mutex);
    gpio.sync();
    switch (endpointOf(fd)) {
    case Endpoint::Spi:
        return controlSpi(request, argument);
    case Endpoint::I2c:
        return controlI2c(request, argument);
    default:
        return static_cast<int>(fail(ENOTTY));
    }
}

int Board::controlSpi(unsigned long request, unsigned long argument)
{
    const struct {
        unsigned long request;
        const char* name;
        const char* refusal;
        std::size_t size;
    } settings[] = {
        {SPI_IOC_WR_MODE, "mode", fault::refusedMode, 1},
        {SPI_IOC_WR_BITS_PER_WORD, "bits", fault::refusedBits, 1},
        {SPI_IOC_WR_MAX_SPEED_HZ, "speed", fault::refusedSpeed, 4},
    };
    for (const auto& setting : settings) {
        if (setting.request != request) {
            continue;
        }
        if (injectedFaults.contains(setting.refusal)) {
            return static_cast<int>(fail(EINVAL));
        }
        std::uint32_t value = 0; // memcpy sets the low bytes: all supported machines are little-endian
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the request determines whether this is a number or a pointer
        std::memcpy(&value, reinterpret_cast<const void*>(argument), setting.size);
        if (request == SPI_IOC_WR_MAX_SPEED_HZ) {
            if (value == 0) {
                return static_cast<int>(fail(EINVAL));
            }
            spiSpeedHz = value;
        }
        log(std::string("spi ") + setting.name + " " + std::to_string(value));
        return 0;
    }
    return static_cast<int>(fail(ENOTTY));
}

int Board::controlI2c(unsigned long request, unsigned long argument)
{
    if (request != I2C_SLAVE) {
        return static_cast<int>(fail(ENOTTY));
    }
    const auto address = static_cast<std::uint8_t>(argument);
    log("i2c slave " + hexBytes({&address, 1}));
    if (refusesI2cTransfer()) {
        return static_cast<int>(fail(EBUSY));
    }
    i2cAddress = argument & 0x7F;
    return 0;
}

void Board::log(const std::string& event)
{
    if (!keepsTraffic) {
        return;
    }
    if (!entries.empty() && entries.back().event == event) {
        ++entries.back().count;
        return;
    }
    entries.push_back({event, 1, timeline.now()});
}

void Board::note(const std::string& event)
{
    const std::lock_guard lock(mutex);
    gpio.sync();
    log(event);
}

bool Board::hasInjectedFault(std::string_view fault) const
{
    const std::lock_guard lock(mutex);
    return injectedFaults.contains(fault);
}

void Board::setInjectedFault(const std::string& fault, bool on)
{
    const std::lock_guard lock(mutex);
    if (on) {
        injectedFaults.insert(fault);
    } else {
        injectedFaults.erase(fault);
    }
}

void Board::setFrameTime(Timeline::Duration duration)
{
    const std::lock_guard lock(mutex);
    frameTime = duration;
}

void Board::refuseI2cTransfer(int number)
{
    const std::lock_guard lock(mutex);
    refusedI2cTransfer = number;
}

void Board::setButton(bool pressed)
{
    const std::lock_guard lock(mutex);
    gpio.setInput(buttonLine, !pressed);
    if (wires) {
        wires->change(timeline.now(), Line::Button, pressed ? Level::Low : Level::High);
    }
}

void Board::turn(std::int32_t steps)
{
    const std::lock_guard lock(mutex);
    encoder.turn(steps);
    if (wires) {
        wires->turn(timeline.now(), steps);
    }
}

void Board::queueEvent(std::uint16_t type, std::uint16_t code, std::int32_t value)
{
    const std::lock_guard lock(mutex);
    encoder.queue(type, code, value);
}

void Board::recordWires(int file, RecordingState& state)
{
    const std::lock_guard lock(mutex);
    wires.emplace(file, state);
}

void Board::observeWires()
{
    const std::lock_guard lock(mutex);
    if (wires) {
        wires->observeUntil(timeline.now());
    }
}

Screen Board::screen()
{
    const std::lock_guard lock(mutex);
    return display.screen();
}

std::uint64_t Board::frameCount()
{
    const std::lock_guard lock(mutex);
    return display.frameCount();
}

DisplayRegisters Board::displayRegisters()
{
    const std::lock_guard lock(mutex);
    return display.registers();
}

std::array<std::uint8_t, LedController::outputCount> Board::leds()
{
    const std::lock_guard lock(mutex);
    return ledController.outputs();
}

std::vector<std::string> Board::violationList()
{
    const std::lock_guard lock(mutex);
    return violations.list();
}

void Board::keepTraffic(bool on)
{
    const std::lock_guard lock(mutex);
    keepsTraffic = on;
}

std::vector<std::string> Board::traffic()
{
    const std::lock_guard lock(mutex);
    std::vector<std::string> lines;
    for (const LogEntry& entry : entries) {
        std::ostringstream line;
        line << std::chrono::duration_cast<std::chrono::microseconds>(entry.time).count() << ' ' << entry.event;
        if (entry.count > 1) {
            line << " x" << entry.count;
        }
        lines.push_back(line.str());
    }
    return lines;
}

} // namespace sim
