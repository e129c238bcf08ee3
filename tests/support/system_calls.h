// A test double of the system calls, for tests, fuzzing and benchmarks of code that uses devices, files or commands.
#pragma once

#include "tests/support/call_log.h"
#include "tests/support/display_bus.h"
#include "tests/support/scripted_commands.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <sys/types.h>

/// While an instance exists, it intercepts sleeps, starts of commands, and accesses to the device's fixed paths. All
/// other calls go to the system. At most one instance may exist. system_calls.cmake links the test double to a program.
///
/// The log has the lines that DisplayBus and ScriptedCommands describe, and lines such as
///
///     open /dev/spidev0.0 flags 524289    ioctl 40016B01 = 3               close /dev/spidev0.0
///     wait 20000 us                       mmap /dev/mem length 4096 ...    encoder read of 24 bytes
///     address 6C                          i2c write 2F 00                  i2c read of 1 bytes
class SystemCalls : private CallLog, public DisplayBus, public ScriptedCommands {
public:
    SystemCalls();
    ~SystemCalls();
    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;

    Log takeLog() { return take(); }
    using CallLog::note;
    /// If false, transfers and reads do not allocate, and transfers are counted but not recorded.
    void setLogging(bool value) { isOn = value; }

    // Devices. By default, all exist and work; reads from the encoder and the I2C bus fail until input is queued.

    std::set<std::string, std::less<>> missingDevices;
    std::set<unsigned long> failingIoctls;
    bool mappingFails = false;
    /// The largest number of bytes that a write to a device accepts. If negative, writes fail.
    std::atomic<ssize_t> writeLimit = 1 << 30;
    /// The descriptor of the next device that is opened.
    int nextFd = firstFd;

    void queueEncoderBytes(std::string bytes) { encoderReads.push_back(std::move(bytes)); }
    void queueEncoderEvent(std::uint16_t type, std::uint16_t code, std::int32_t value);
    void queueStep(std::int32_t value) { queueEncoderEvent(2, 8, value); }
    void queueI2cByte(std::uint8_t value) { i2cBytes.push_back(value); }

    /// The mapping that the product made before `main`.
    struct StartupMapping {
        int count = 0;
        off_t physicalBase = 0;
    };
    [[nodiscard]] static StartupMapping startupMapping();

    // Files. A drive or version file exists only if the test has placed it.

    void placeFile(const std::string& path, const std::string& realPath) { placedFiles[path] = realPath; }
    void removeFile(const std::string& path) { placedFiles.erase(path); }

    // The system calls. Each sets `errno` on failure.

    /// The existing instance; null if there is none.
    static SystemCalls* current;

    [[nodiscard]] static bool isDevice(std::string_view path);
    /// Returns whether the descriptor refers, or referred, to a simulated device.
    [[nodiscard]] static bool owns(int fd);
    /// Without an instance, only /dev/mem can be opened.
    static int openAnyDevice(const char* path, int flags);
    int openDevice(const char* path, int flags);
    int closeDevice(int fd);
    int control(int fd, unsigned long request, void* argument);
    ssize_t writeDevice(int fd, const std::uint8_t* bytes, std::size_t count);
    ssize_t readDevice(int fd, void* buffer, std::size_t count);
    void* map(std::size_t length, int protection, int flags, int fd, off_t offset);
    void wait(unsigned microseconds);
    /// Returns the file to use in place of `path`: null if `path` does not exist on the device, `path` itself if the
    /// double does not intercept it.
    const char* resolve(const char* path) const;

private:
    [[nodiscard]] const std::string& pathOf(int fd) const;
    ssize_t limited(std::size_t count) const;

    /// Far above the descriptors that a test opens, so calls that bypass the double fail.
    static constexpr int firstFd = 900000;

    /// Guards `devices`, which is also used by the product's threads.
    mutable std::mutex mutex;
    /// Open descriptors and their paths.
    std::map<int, std::string> devices;
    bool hasOpenedZero = false;
    std::deque<std::string> encoderReads;
    std::deque<std::uint8_t> i2cBytes;
    std::map<std::string, std::string, std::less<>> placedFiles;
};
