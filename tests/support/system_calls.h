// A test double of the system calls, for tests, fuzzing and benchmarks of everything that uses devices, files or
// commands.
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

/// Answers the system calls on the device's fixed paths as long as it exists; there is at most one. All other calls go
/// to the system. system_calls.cmake puts it below a program.
///
/// The log has one line per call: those of DisplayBus and ScriptedCommands, and
///
///     open /dev/spidev0.0 flags 1      ioctl 40016B01 = 3         close /dev/spidev0.0
///     wait 20000 us                    mmap length 4096 ...       encoder read of 24 bytes
///     address 6C                       i2c write 2F 00            i2c read of 1 bytes
class SystemCalls : private CallLog, public DisplayBus, public ScriptedCommands {
public:
    SystemCalls();
    ~SystemCalls();
    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;

    Log takeLog() { return take(); }
    using CallLog::note;
    /// Off: no call allocates memory, and transfers are counted but not kept.
    void setLogging(bool value) { isOn = value; }

    // Devices. All exist and work; the encoder and the I2C bus have nothing to read.

    std::set<std::string, std::less<>> missingDevices;
    std::set<unsigned long> failingIoctls;
    bool mappingFails = false;
    /// The largest number of bytes that a write to a device takes; if negative, it fails.
    std::atomic<ssize_t> writeLimit = 1 << 30;
    /// The descriptor of the next device that is opened.
    int nextFd = firstFd;

    void queueEncoderBytes(std::string bytes) { encoderReads.push_back(std::move(bytes)); }
    void queueEncoderEvent(std::uint16_t type, std::uint16_t code, std::int32_t value);
    void queueStep(std::int32_t value) { queueEncoderEvent(2, 8, value); }
    void queueI2cByte(std::uint8_t value) { i2cBytes.push_back(value); }

    /// What the product mapped before `main`.
    struct StartupMapping {
        int count = 0;
        off_t physicalBase = 0;
    };
    [[nodiscard]] static StartupMapping startupMapping();

    // Files. A drive or version file exists only where the test places one.

    void placeFile(const std::string& path, const std::string& realPath) { placedFiles[path] = realPath; }
    void removeFile(const std::string& path) { placedFiles.erase(path); }

    // The system calls. Each sets `errno` on failure.

    /// Null between two tests and before `main`.
    static SystemCalls* current;

    [[nodiscard]] static bool isDevice(std::string_view path);
    /// Whether the descriptor is, or was, that of a device.
    [[nodiscard]] static bool owns(int fd);
    /// Also before `main` and between two tests, when only /dev/mem can be opened.
    static int openAnyDevice(const char* path, int flags);
    int openDevice(const char* path, int flags);
    int closeDevice(int fd);
    int control(int fd, unsigned long request, void* argument);
    ssize_t writeDevice(int fd, const std::uint8_t* bytes, std::size_t count);
    ssize_t readDevice(int fd, void* buffer, std::size_t count);
    void* map(std::size_t length, int protection, int flags, int fd, off_t offset);
    void wait(unsigned microseconds);
    /// The file to use in place of `path`: `path` itself if it is not the device's, null if it does not exist.
    const char* resolve(const char* path) const;

private:
    [[nodiscard]] const std::string& pathOf(int fd) const;
    ssize_t limited(std::size_t count) const;

    /// Far above the limit of a process, so that a descriptor that bypasses the double is invalid.
    static constexpr int firstFd = 900000;

    /// Guards `devices`, which the product's threads use too.
    mutable std::mutex mutex;
    /// The paths of the open ones.
    std::map<int, std::string> devices;
    bool hasOpenedZero = false;
    std::deque<std::string> encoderReads;
    std::deque<std::uint8_t> i2cBytes;
    std::map<std::string, std::string, std::less<>> placedFiles;
};
