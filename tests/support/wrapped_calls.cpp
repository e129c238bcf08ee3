// Wrappers for the C library's functions for descriptors, sleeps and processes (ld(1), --wrap). Each wrapper passes
// intercepted calls to the test double, if an instance exists, and all other calls to the C library. Without an
// instance, /dev/mem is simulated and no other device can be opened.
#include "tests/support/system_calls.h"

#include <cerrno>
#include <cstdarg>

extern "C" {
int __real_close(int fd);
ssize_t __real_read(int fd, void* buffer, size_t count);
ssize_t __real_write(int fd, const void* bytes, size_t count);
int __real_ioctl(int fd, unsigned long request, ...);
void* __real_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset);
int __real_usleep(useconds_t microseconds);
FILE* __real_popen(const char* command, const char* mode);
int __real_pclose(FILE* pipe);
}

namespace {

// /dev/mem before `main`: the product maps the GPIO registers during static initialisation.
constexpr int startupFd = 899999;
constinit std::uint32_t startupBlock[1024] = {};
constinit SystemCalls::StartupMapping startup;

/// Returns null if `fd` does not belong to a simulated device.
SystemCalls* ownerOf(int fd)
{
    return SystemCalls::owns(fd) ? SystemCalls::current : nullptr;
}

} // namespace

constinit SystemCalls* SystemCalls::current = nullptr;

SystemCalls::StartupMapping SystemCalls::startupMapping()
{
    return startup;
}

int SystemCalls::openAnyDevice(const char* path, int flags)
{
    if (current != nullptr) {
        return current->openDevice(path, flags);
    }
    if (std::string_view(path) == "/dev/mem") {
        return startupFd;
    }
    errno = ENOENT;
    return -1;
}

extern "C" {

int __wrap_close(int fd)
{
    if (fd == startupFd) {
        return 0;
    }
    SystemCalls* const owner = ownerOf(fd);
    return owner != nullptr ? owner->closeDevice(fd) : __real_close(fd);
}

ssize_t __wrap_read(int fd, void* buffer, size_t count)
{
    if (SystemCalls::current != nullptr) {
        if (const auto result = SystemCalls::current->readCommand(fd, buffer, count)) {
            return *result;
        }
    }
    SystemCalls* const owner = ownerOf(fd);
    return owner != nullptr ? owner->readDevice(fd, buffer, count) : __real_read(fd, buffer, count);
}

ssize_t __wrap_write(int fd, const void* bytes, size_t count)
{
    SystemCalls* const owner = ownerOf(fd);
    return owner != nullptr ? owner->writeDevice(fd, static_cast<const std::uint8_t*>(bytes), count)
                            : __real_write(fd, bytes, count);
}

int __wrap_ioctl(int fd, unsigned long request, ...)
{
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    SystemCalls* const owner = ownerOf(fd);
    return owner != nullptr ? owner->control(fd, request, argument) : __real_ioctl(fd, request, argument);
}

void* __wrap_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset)
{
    if (fd == startupFd) {
        startup.physicalBase = offset;
        ++startup.count;
        return startupBlock;
    }
    SystemCalls* const owner = ownerOf(fd);
    return owner != nullptr ? owner->map(length, protection, flags, fd, offset)
                            : __real_mmap(address, length, protection, flags, fd, offset);
}

int __wrap_usleep(useconds_t microseconds)
{
    if (SystemCalls::current == nullptr) {
        return __real_usleep(microseconds);
    }
    SystemCalls::current->wait(microseconds);
    return 0;
}

FILE* __wrap_popen(const char* command, const char* mode)
{
    return SystemCalls::current != nullptr ? SystemCalls::current->start(command, mode) : __real_popen(command, mode);
}

int __wrap_pclose(FILE* pipe)
{
    return SystemCalls::current != nullptr ? SystemCalls::current->finish(pipe) : __real_pclose(pipe);
}

} // extern "C"
