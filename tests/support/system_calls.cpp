// The stand-in for the board: its log and its devices.
#include "tests/support/system_calls.h"

#include "hw/gpio_registers.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <linux/i2c-dev.h>
#include <linux/input.h>
#include <linux/spi/spidev.h>
#include <stdexcept>
#include <sys/mman.h>
#include <utility>

namespace {

constexpr std::size_t levelWord = 13;

/// The main loop's sleep. From the first frame on another thread drives the lines, so it is no time to look at them.
constexpr unsigned loopSleep = 1000;

volatile std::uint32_t* registersBefore = nullptr;

std::string hexBytes(const std::uint8_t* bytes, std::size_t count)
{
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
        char text[4];
        std::snprintf(text, sizeof text, " %02X", bytes[i]);
        result += text;
    }
    return result;
}

} // namespace

SystemCalls::SystemCalls()
{
    if (current != nullptr) {
        throw std::logic_error("two stand-ins for the board at once");
    }
    lookUpCounts = {{"/dev/sda", 0}, {"/dev/sda1", 0}};
    setLevel(6, true); // the button is not pressed
    current = this;
    registersBefore = gpioRegisters;
    gpioRegisters = gpio.data();
}

SystemCalls::~SystemCalls()
{
    releaseTransfers();
    gpioRegisters = registersBefore;
    current = nullptr;
}

// The log.

std::vector<std::string> SystemCalls::takeLog()
{
    const std::lock_guard lock(mutex);
    return std::exchange(log, {});
}

void SystemCalls::setLogging(bool value)
{
    isLogging = value;
}

void SystemCalls::note(const char* format, ...)
{
    if (!isLogging) {
        return;
    }
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    {
        const std::lock_guard lock(mutex);
        log.emplace_back(text);
    }
    if (onCall) {
        onCall(text);
    }
}

std::string firstDifference(const std::vector<std::string>& actual, const std::vector<std::string>& expected)
{
    const auto [a, e] = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    if (a == actual.end() && e == expected.end()) {
        return {};
    }
    return "entry " + std::to_string(a - actual.begin()) + ": expected '" + (e == expected.end() ? "the end" : *e) +
           "', got '" + (a == actual.end() ? "the end" : *a) + "'";
}

// Devices.

void SystemCalls::removeDevice(const std::string& path)
{
    removedDevices.insert(path);
}

void SystemCalls::refuseIoctl(unsigned long request)
{
    refusedIoctls.insert(request);
}

std::size_t SystemCalls::openDevices() const
{
    const std::lock_guard lock(mutex);
    return devices.size();
}

void SystemCalls::setLevel(int line, bool isHigh)
{
    const std::uint32_t mask = 1U << line;
    gpio[levelWord] = isHigh ? gpio[levelWord] | mask : gpio[levelWord] & ~mask;
}

void SystemCalls::queueEncoderBytes(std::string bytes)
{
    encoderReads.push_back(std::move(bytes));
}

void SystemCalls::queueEncoderEvent(std::uint16_t type, std::uint16_t code, std::int32_t value)
{
    input_event event{};
    event.time.tv_sec = 0x0102030405060708;
    event.time.tv_usec = 999999;
    event.type = type;
    event.code = code;
    event.value = value;
    queueEncoderBytes(std::string(reinterpret_cast<const char*>(&event), sizeof event));
}

bool SystemCalls::isDevice(std::string_view path)
{
    return kindOf(path) != Kind::closed;
}

SystemCalls::Kind SystemCalls::kindOf(std::string_view path)
{
    static constexpr std::pair<std::string_view, Kind> prefixes[] = {
        {"/dev/mem", Kind::memory},
        {"/dev/spidev", Kind::display},
        {"/dev/i2c-", Kind::i2c},
        {"/dev/input/", Kind::encoder},
    };
    for (const auto& [prefix, kind] : prefixes) {
        if (path.starts_with(prefix)) {
            return kind;
        }
    }
    return Kind::closed;
}

const SystemCalls::OpenDevice& SystemCalls::find(int fd) const
{
    static const OpenDevice closed = {"a closed descriptor", Kind::closed};
    const std::lock_guard lock(mutex);
    const auto found = devices.find(fd);
    return found == devices.end() ? closed : found->second;
}

int SystemCalls::openDevice(const char* path, int flags)
{
    note("open %s flags %d", path, flags);
    if (removedDevices.contains(std::string_view(path))) {
        errno = ENOENT;
        return -1;
    }
    const std::lock_guard lock(mutex);
    devices[nextFd] = {path, kindOf(path)};
    hasZero = hasZero || nextFd == 0;
    return std::exchange(nextFd, std::max(nextFd + 1, firstFd));
}

int SystemCalls::closeDevice(int fd)
{
    note("close %s", find(fd).path.c_str());
    const std::lock_guard lock(mutex);
    if (devices.erase(fd) == 0) {
        errno = EBADF;
        return -1;
    }
    return 0;
}

int SystemCalls::control(int fd, unsigned long request, void* argument)
{
    switch (request) {
    case SPI_IOC_WR_MODE:
    case SPI_IOC_WR_BITS_PER_WORD:
        note("ioctl %lX = %u", request, *static_cast<std::uint8_t*>(argument));
        break;
    case SPI_IOC_WR_MAX_SPEED_HZ:
        note("ioctl %lX = %u", request, *static_cast<std::uint32_t*>(argument));
        break;
    case I2C_SLAVE:
        note("address %02lX", reinterpret_cast<unsigned long>(argument));
        break;
    default:
        note("ioctl %lX", request);
        break;
    }
    if (find(fd).kind == Kind::closed || refusedIoctls.contains(request)) {
        errno = EINVAL;
        return -1;
    }
    return 0;
}

void* SystemCalls::map(std::size_t length, int protection, int flags, int fd, off_t offset)
{
    note("mmap %s length %zu protection %d flags %d offset %lX", find(fd).path.c_str(), length, protection, flags,
         static_cast<unsigned long>(offset));
    if (mappingRefused) {
        errno = EPERM;
        return MAP_FAILED;
    }
    return gpio.data();
}

void SystemCalls::wait(unsigned microseconds)
{
    if (microseconds != loopSleep) {
        settleGpio();
    }
    note("wait %u us", microseconds);
}

ssize_t SystemCalls::limited(std::size_t count) const
{
    const ssize_t limit = writeLimit;
    if (limit < 0) {
        errno = EIO;
        return -1;
    }
    return std::min(static_cast<ssize_t>(count), limit);
}

ssize_t SystemCalls::writeDevice(int fd, const std::uint8_t* bytes, std::size_t count)
{
    switch (find(fd).kind) {
    case Kind::display:
        return count == 1 ? sendByte(bytes[0]) : transfer(bytes, count);
    case Kind::i2c:
        note("i2c write%s", hexBytes(bytes, count).c_str());
        return limited(count);
    default:
        note("write of %zu bytes to a device that takes none", count);
        errno = EBADF;
        return -1;
    }
}

ssize_t SystemCalls::readDevice(int fd, void* buffer, std::size_t count)
{
    switch (find(fd).kind) {
    case Kind::encoder: {
        note("encoder read of %zu bytes", count);
        if (encoderReads.empty()) {
            errno = EAGAIN;
            return -1;
        }
        const std::size_t moved = std::min(encoderReads.front().size(), count);
        std::memcpy(buffer, encoderReads.front().data(), moved);
        encoderReads.pop_front();
        return static_cast<ssize_t>(moved);
    }
    case Kind::i2c:
        note("i2c read of %zu bytes", count);
        if (i2cBytes.empty()) {
            errno = EIO;
            return -1;
        }
        *static_cast<std::uint8_t*>(buffer) = i2cBytes.front();
        i2cBytes.pop_front();
        return 1;
    default:
        note("read from a device that gives nothing");
        errno = EBADF;
        return -1;
    }
}
