// What the linker puts in place of the system's calls.
#include "benchmarks/board.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_close(int fd);
ssize_t __real_read(int fd, void* buffer, size_t count);
int __real_ioctl(int fd, unsigned long request, ...);
void* __real_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset);
int __real_usleep(useconds_t microseconds);
FILE* __real_popen(const char* command, const char* mode);
int __real_pclose(FILE* pipe);
}

namespace {

/// Never open, so that a use of it that slips past this file fails.
constexpr int memoryFd = 900000;

/// The GPIO block; its register 13 holds the levels, all high: no button is pressed.
constinit std::array<std::uint32_t, 1024> gpioBlock = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFFFFFFFF};

constinit int encoderFd = -1;
constinit int displayFd = -1;
constinit bool isReal = false;

/// Of the commands that run; the output is that of the one started last.
constinit std::array<bool, 1024> isCommand = {};
constinit int lastCommand = -1;
constinit std::string_view outputPattern = {};
constinit std::size_t outputLeft = 0;
constinit bool outputEnds = true;

bool isBelow(const char* path, std::string_view folder)
{
    return std::string_view(path).starts_with(folder);
}

/// The reading end of a pipe into which nobody writes.
int openEncoder()
{
    std::array<int, 2> ends{};
    encoderFd = pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC) == 0 ? ends[0] : -1;
    return encoderFd;
}

int openDevice(const char* path)
{
    if (isBelow(path, "/dev/mem")) {
        return memoryFd;
    }
    if (isBelow(path, "/dev/input/")) {
        return openEncoder();
    }
    if (isBelow(path, "/dev/spidev")) {
        return displayFd = __real_open("/dev/null", O_WRONLY | O_CLOEXEC);
    }
    errno = ENOENT;
    return -1;
}

int failsFor(int error)
{
    errno = error;
    return -1;
}

bool isRunningCommand(int fd)
{
    return fd >= 0 && static_cast<std::size_t>(fd) < isCommand.size() && isCommand[static_cast<std::size_t>(fd)];
}

/// Each read begins at the head of the pattern.
ssize_t readCommand(int fd, void* buffer, std::size_t count)
{
    if (fd != lastCommand || (outputLeft == 0 && !outputEnds)) {
        return failsFor(EAGAIN);
    }
    const std::size_t length = std::min({count, outputLeft, outputPattern.size()});
    outputPattern.copy(static_cast<char*>(buffer), length);
    outputLeft -= length;
    return static_cast<ssize_t>(length);
}

std::FILE* fileHolding(const char* text)
{
    std::FILE* file = std::tmpfile();
    std::fputs(text, file);
    std::rewind(file);
    return file;
}

} // namespace

namespace board {

constinit Calls calls;
constinit bool hasDrive = false;

void setOutput(std::string_view pattern, std::size_t size, bool ends)
{
    outputPattern = pattern;
    outputLeft = size;
    outputEnds = ends;
}

RealTime::RealTime()
{
    isReal = true;
}

RealTime::~RealTime()
{
    isReal = false;
}

} // namespace board

extern "C" {

int __wrap_open(const char* path, int flags, ...)
{
    ++board::calls.others;
    if (isBelow(path, "/dev/") && !isBelow(path, "/dev/null")) {
        return openDevice(path);
    }
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return __real_open(path, flags, mode);
}

int __wrap_close(int fd)
{
    ++board::calls.others;
    return fd == memoryFd ? 0 : __real_close(fd);
}

ssize_t __wrap_read(int fd, void* buffer, size_t count)
{
    if (fd == encoderFd) {
        ++board::calls.encoderReads;
        return isReal ? __real_read(fd, buffer, count) : failsFor(EAGAIN);
    }
    ++board::calls.others;
    return isRunningCommand(fd) ? readCommand(fd, buffer, count) : __real_read(fd, buffer, count);
}

int __wrap_ioctl(int fd, unsigned long request, ...)
{
    ++board::calls.others;
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return fd == displayFd ? 0 : __real_ioctl(fd, request, argument);
}

void* __wrap_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset)
{
    ++board::calls.others;
    return fd == memoryFd ? gpioBlock.data() : __real_mmap(address, length, protection, flags, fd, offset);
}

int __wrap_usleep(useconds_t microseconds)
{
    ++board::calls.sleeps;
    return isReal ? __real_usleep(microseconds) : 0;
}

FILE* __wrap_popen(const char* line, const char* mode)
{
    ++board::calls.others;
    if (!isBelow(line, "/usr/sbin/")) {
        return __real_popen(line, mode);
    }
    std::FILE* command = std::tmpfile();
    lastCommand = fileno(command);
    isCommand.at(static_cast<std::size_t>(lastCommand)) = true;
    return command;
}

int __wrap_pclose(FILE* pipe)
{
    ++board::calls.others;
    const int fd = fileno(pipe);
    if (!isRunningCommand(fd)) {
        return __real_pclose(pipe);
    }
    isCommand[static_cast<std::size_t>(fd)] = false;
    return std::fclose(pipe);
}

// The standard library's own calls are not renamed; it finds these before the system's.

int stat(const char* path, struct stat* result) noexcept
{
    static const auto systemStat = reinterpret_cast<int (*)(const char*, struct stat*)>(dlsym(RTLD_NEXT, "stat"));
    ++board::calls.others;
    if (isBelow(path, "/dev/sda")) {
        return board::hasDrive ? systemStat("/dev/null", result) : failsFor(ENOENT);
    }
    return systemStat(path, result);
}

FILE* fopen64(const char* path, const char* mode)
{
    static const auto systemOpen = reinterpret_cast<FILE* (*)(const char*, const char*)>(dlsym(RTLD_NEXT, "fopen64"));
    ++board::calls.others;
    return isBelow(path, "/tmp/fw/version") ? fileHolding("1.0\n") : systemOpen(path, mode);
}

} // extern "C"
