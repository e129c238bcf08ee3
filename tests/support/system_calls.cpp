// Simulated devices for the intercepted system calls.
#include "tests/support/system_calls.h"

#include "hw/gpio_registers.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <linux/i2c-dev.h>
#include <linux/input.h>
#include <linux/spi/spidev.h>
#include <stdexcept>
#include <sys/mman.h>
#include <utility>

namespace {

/// The main loop's sleep, in microseconds. The lines are not sampled during this sleep, because the frame writer thread
/// may be driving them.
constexpr unsigned loopSleep = 1000;

volatile std::uint32_t* registersBefore = nullptr;

std::string hexBytes(const std::uint8_t* bytes, std::size_t count)
{
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
        std::array<char, 4> text{};
        std::snprintf(text.data(), text.size(), " %02X", bytes[i]);
        result += text.data();
    }
    return result;
}

template <typename Result>
Result failure(int error, Result result)
{
    errno = error;
    return result;
}

} // namespace

SystemCalls::SystemCalls() : DisplayBus(static_cast<CallLog&>(*this)), ScriptedCommands(static_cast<CallLog&>(*this))
{
    if (current != nullptr) {
        throw std::logic_error("a SystemCalls instance already exists");
    }
    setLevel(6, true); // the button is not pressed
    current = this;
    registersBefore = std::exchange(gpioRegisters, gpio.data());
}

SystemCalls::~SystemCalls()
{
    releaseTransfers();
    gpioRegisters = registersBefore;
    current = nullptr;
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
    constexpr std::string_view devicePaths[] = {"/dev/mem", "/dev/spidev", "/dev/i2c-", "/dev/input/"};
    return std::any_of(std::begin(devicePaths), std::end(devicePaths),
                       [&](std::string_view device) { return path.starts_with(device); });
}

bool SystemCalls::owns(int fd)
{
    return fd >= firstFd || (fd == 0 && current != nullptr && current->hasOpenedZero);
}

const std::string& SystemCalls::pathOf(int fd) const
{
    static const std::string closed = "a closed descriptor";
    const std::lock_guard lock(mutex);
    const auto found = devices.find(fd);
    return found == devices.end() ? closed : found->second;
}

int SystemCalls::openDevice(const char* path, int flags)
{
    note("open %s flags %d", path, flags);
    if (missingDevices.contains(std::string_view(path))) {
        return failure(ENOENT, -1);
    }
    const std::lock_guard lock(mutex);
    devices[nextFd] = path;
    hasOpenedZero = hasOpenedZero || nextFd == 0;
    return std::exchange(nextFd, std::max(nextFd + 1, firstFd));
}

int SystemCalls::closeDevice(int fd)
{
    note("close %s", pathOf(fd).c_str());
    const std::lock_guard lock(mutex);
    return devices.erase(fd) == 1 ? 0 : failure(EBADF, -1);
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
    return !isDevice(pathOf(fd)) || failingIoctls.contains(request) ? failure(EINVAL, -1) : 0;
}

void* SystemCalls::map(std::size_t length, int protection, int flags, int fd, off_t offset)
{
    note("mmap %s length %zu protection %d flags %d offset %lX", pathOf(fd).c_str(), length, protection, flags,
         static_cast<unsigned long>(offset));
    return mappingFails ? failure(EPERM, MAP_FAILED) : gpio.data();
}

void SystemCalls::wait(unsigned microseconds)
{
    if (microseconds != loopSleep) {
        collectDrivenLines();
    }
    note("wait %u us", microseconds);
}

ssize_t SystemCalls::limited(std::size_t count) const
{
    const ssize_t limit = writeLimit;
    return limit < 0 ? failure<ssize_t>(EIO, -1) : std::min(static_cast<ssize_t>(count), limit);
}

ssize_t SystemCalls::writeDevice(int fd, const std::uint8_t* bytes, std::size_t count)
{
    const std::string& path = pathOf(fd);
    if (path.starts_with("/dev/i2c-")) {
        note("i2c write%s", hexBytes(bytes, count).c_str());
    } else if (!path.starts_with("/dev/spidev")) {
        note("write of %zu bytes to %s", count, path.c_str());
        return failure<ssize_t>(EBADF, -1);
    } else if (count == 1) {
        sendByte(bytes[0]);
    } else {
        transfer(bytes, count);
    }
    return limited(count);
}

ssize_t SystemCalls::readDevice(int fd, void* buffer, std::size_t count)
{
    const std::string& path = pathOf(fd);
    if (path.starts_with("/dev/input/")) {
        note("encoder read of %zu bytes", count);
        if (encoderReads.empty()) {
            return failure<ssize_t>(EAGAIN, -1);
        }
        const std::size_t moved = encoderReads.front().copy(static_cast<char*>(buffer), count);
        encoderReads.pop_front();
        return static_cast<ssize_t>(moved);
    }
    if (path.starts_with("/dev/i2c-")) {
        note("i2c read of %zu bytes", count);
        if (i2cBytes.empty()) {
            return failure<ssize_t>(EIO, -1);
        }
        *static_cast<std::uint8_t*>(buffer) = i2cBytes.front();
        i2cBytes.pop_front();
        return 1;
    }
    note("read from %s", path.c_str());
    return failure<ssize_t>(EBADF, -1);
}

const char* SystemCalls::resolve(const char* path) const
{
    const std::string_view name(path);
    if (!name.starts_with("/dev/sd") && !name.starts_with("/tmp/fw/")) {
        return path;
    }
    const auto found = placedFiles.find(name);
    return found == placedFiles.end() ? nullptr : found->second.c_str();
}
