// A stand-in for the board below the system calls, for the unit tests of everything that talks to hardware or scripts.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

/// What one `read` of a scripted command's output gives.
struct ScriptedRead {
    std::string bytes;
    /// Not 0: the read fails with it. EAGAIN is "nothing more for now". Without bytes and error the output has ended.
    int error = 0;
};

/// What really runs, and what is read, when the product starts a command.
struct ScriptedCommand {
    /// A harmless shell line; its exit code is the command's.
    std::string shellLine = "exit 0";
    /// Answers the reads one after another; when they are used up the output has ended. Reads the real pipe if empty.
    std::deque<ScriptedRead> reads;
    /// When given, no process is started: this is what its end would have been, as waitpid tells it. Needs `reads`.
    std::optional<int> waitStatus = std::nullopt;
};

/// One write of more than one byte to the display.
struct Transfer {
    std::vector<std::uint8_t> bytes;
    /// The byte sent just before, which tells the controller what comes.
    std::uint8_t commandBefore = 0;
    bool commandWasCommand = false;
    /// The data/command line had been driven high for it.
    bool isData = false;
    /// Neither that line nor the bytes were touched until the transfer's end.
    bool wasStill = false;
};

/// Answers the product's system calls for the board's fixed paths while it lives; there is at most one. Everything
/// else goes to the system. How calls reach it is described in system_calls.cmake.
///
/// Its log tells in order what reached the board, one line each:
///
///     open /dev/spidev0.0 flags 1      ioctl 40016B01 = 3         close /dev/spidev0.0
///     line 25 high                     wait 20000 us              mmap length 4096 ...
///     command 5C                       data 9F                    transfer of 10240 bytes
///     address 6C                       i2c write 2F 00            i2c read 01
///     encoder read of 24 bytes         run exit 3                 exit status taken
///
/// A byte to the display is a "command" or "data" only when the data/command line was driven for it; otherwise the
/// line says "undriven". Operations may be called while a thread of the product is inside a call.
class SystemCalls {
public:
    static constexpr int dcLine = 7;

    SystemCalls();
    ~SystemCalls();
    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;

    // The log.

    std::vector<std::string> takeLog();
    /// Off: nothing is logged, transfers are counted but not kept, and no call allocates.
    void setLogging(bool value);
    /// Called before each logged call is answered, with its line of the log, on the caller's thread.
    std::function<void(const std::string&)> onCall;

    // Devices. All are there, work, and have nothing to say.

    /// The path cannot be opened.
    void removeDevice(const std::string& path);
    void refuseIoctl(unsigned long request);
    /// The next device that is opened gets descriptor 0, as when the program was started without a standard input.
    void giveDescriptorZero() { nextFd = 0; }
    void refuseMapping() { mappingRefused = true; }
    /// Writes to devices move at most this many bytes; below 0 they fail.
    void limitWrites(ssize_t value) { writeLimit = value; }
    [[nodiscard]] std::size_t openDevices() const;

    /// The 32-bit words of the GPIO block; the product's register pointer points here.
    std::array<std::uint32_t, 1024> gpio{};
    void setLevel(int line, bool isHigh);

    /// The encoder's next read gives these bytes.
    void queueEncoderBytes(std::string bytes);
    void queueEncoderEvent(std::uint16_t type, std::uint16_t code, std::int32_t value);
    void queueStep(std::int32_t value) { queueEncoderEvent(2, 8, value); }

    /// The bus's next read gives this byte; with none queued it fails.
    void queueI2cByte(std::uint8_t value) { i2cBytes.push_back(value); }

    // Transfers to the display.

    /// Every transfer that begins from now on stays inside its write until it is released.
    void holdTransfers();
    void releaseOneTransfer();
    void releaseTransfers();
    void waitUntilBegun(std::size_t transferCount);
    void waitUntilEnded(std::size_t transferCount);
    [[nodiscard]] std::vector<Transfer> transfers() const;

    // Files and commands.

    /// The product finds `realPath` where it looks for `path`. Paths of drives and version files that are not placed
    /// do not exist.
    void placeFile(const std::string& path, const std::string& realPath) { placedFiles[path] = realPath; }
    void removeFile(const std::string& path) { placedFiles.erase(path); }
    /// How often a drive's path was looked for.
    [[nodiscard]] std::size_t lookUps(const std::string& path) const;

    /// Used for the next start of `commandLine`. A command that is not scripted runs as it is, except the device's own
    /// scripts, which fail the test.
    void script(const std::string& commandLine, ScriptedCommand command);
    void failCommandStart() { commandStartFails = true; }
    void failExitStatus() { exitStatusFails = true; }
    /// Of the command started last; its descriptor is -1 before the first.
    [[nodiscard]] int commandDescriptor() const { return commandFd; }
    [[nodiscard]] std::size_t commandReads() const { return readsOfCommand; }

    /// What the product mapped before `main`: how often, and from which physical address.
    struct StartupMapping {
        int count = 0;
        off_t physicalBase = 0;
    };
    [[nodiscard]] static StartupMapping startupMapping();

    // The calls, as path_calls.cpp and wrapped_calls.cpp pass them on. Each sets `errno` on failure.

    /// Null between two tests and before `main`.
    static SystemCalls* current;

    [[nodiscard]] static bool isDevice(std::string_view path);
    /// Also of a descriptor that was closed.
    [[nodiscard]] static bool owns(int fd)
    {
        return fd >= firstFd || (fd == 0 && current != nullptr && current->hasZero);
    }
    /// Also before `main` and between two tests, when only /dev/mem can be opened.
    static int openAnyDevice(const char* path, int flags);
    int openDevice(const char* path, int flags);
    int closeDevice(int fd);
    int control(int fd, unsigned long request, void* argument);
    ssize_t writeDevice(int fd, const std::uint8_t* bytes, std::size_t count);
    ssize_t readDevice(int fd, void* buffer, std::size_t count);
    void* map(std::size_t length, int protection, int flags, int fd, off_t offset);
    void wait(unsigned microseconds);
    std::FILE* start(const char* commandLine, const char* mode);
    int finish(std::FILE* pipe);
    /// Tells whether the read is the command's own, and if so gives its result.
    bool readCommand(int fd, void* buffer, std::size_t count, ssize_t& result);
    /// The file to use in place of `path`: `path` itself when it is none of the device's, null when it does not exist.
    const char* resolve(const char* path);

private:
    enum class Kind { memory, display, i2c, encoder, closed };

    struct OpenDevice {
        std::string path;
        Kind kind;
    };

    [[nodiscard]] static Kind kindOf(std::string_view path);
    [[nodiscard]] const OpenDevice& find(int fd) const;
    ssize_t limited(std::size_t count) const;
    ssize_t readScripted(void* buffer, std::size_t count);
    void note(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void settleGpio();
    void noteStores(std::uint32_t mask, bool isHigh);
    ssize_t sendByte(std::uint8_t byte);
    ssize_t transfer(const std::uint8_t* bytes, std::size_t count);

    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> log;
    bool isLogging = true;

    std::map<int, OpenDevice> devices;
    std::set<std::string, std::less<>> removedDevices;
    std::set<unsigned long> refusedIoctls;
    bool mappingRefused = false;
    std::atomic<ssize_t> writeLimit = 1 << 30;
    int nextFd = firstFd;
    bool hasZero = false;
    /// Far above what a process may open, so that a number that slips past the fake is a bad descriptor.
    static constexpr int firstFd = 900000;

    /// Levels of the outputs, from the stores to the set and clear registers.
    std::uint32_t outputs = 0;
    bool dcDriven = false;
    bool lastByteWasCommand = false;
    std::uint8_t lastByte = 0;

    std::deque<std::string> encoderReads;
    std::deque<std::uint8_t> i2cBytes;

    bool transfersHeld = false;
    std::size_t transferPermits = 0;
    std::size_t transfersBegun = 0;
    std::size_t transfersEnded = 0;
    std::vector<Transfer> sentTransfers;

    std::map<std::string, std::string, std::less<>> placedFiles;
    std::map<std::string, std::size_t, std::less<>> lookUpCounts;

    std::map<std::string, ScriptedCommand> scriptedCommands;
    bool commandStartFails = false;
    bool exitStatusFails = false;
    std::FILE* commandPipe = nullptr;
    int commandFd = -1;
    bool commandIsScripted = false;
    std::optional<int> commandWaitStatus;
    std::deque<ScriptedRead> commandOutput;
    /// How much of the first of them has been read.
    std::size_t outputOffset = 0;
    std::size_t readsOfCommand = 0;
};

/// Empty when both are equal; otherwise where they part, and how.
[[nodiscard]] std::string firstDifference(const std::vector<std::string>& actual,
                                          const std::vector<std::string>& expected);
