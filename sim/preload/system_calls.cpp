// The C library functions that the preloaded library overrides. The simulation handles all sleeps and thread functions,
// and calls that concern the device's hardware, files or scripts. All other calls go to the C library.
#include "sim/preload/board.h"
#include "sim/preload/controller_link.h"
#include "sim/preload/real_calls.h"
#include "sim/protocol/injected_faults.h"
#include "sim/protocol/preload.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <pthread.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Never destroyed, because the program's threads may outlive static destruction.
struct Simulation {
    sim::Board board;
    sim::ControllerLink link;

    Simulation(const char* root, int socket) : board(root), link(board, socket) {}
};

/// Null until the library is set up, and in processes that the controller did not start.
Simulation* simulation = nullptr;

/// Returns -1 if the variable is not set.
int descriptorIn(const char* variable)
{
    const char* const number = std::getenv(variable);
    return number == nullptr ? -1 : static_cast<int>(std::strtol(number, nullptr, 10));
}

/// Runs before the program's static initialisation, which maps the GPIO block.
__attribute__((constructor)) void setUp()
{
    const char* root = std::getenv(sim::rootVariable);
    if (root == nullptr || std::getenv(sim::socketVariable) == nullptr) {
        return;
    }
    const int fd = descriptorIn(sim::socketVariable);
    fcntl(fd, F_SETFD, FD_CLOEXEC);
    REAL(close)(descriptorIn(sim::libraryVariable)); // no longer needed: the library is loaded
    // The scripts run without the library.
    unsetenv("LD_PRELOAD");
    unsetenv(sim::socketVariable);
    unsetenv(sim::libraryVariable);
    auto* created = new Simulation(root, fd);
    created->link.waitForStart();
    simulation = created;
}

bool isDevice(int fd)
{
    return simulation != nullptr && simulation->board.endpointOf(fd) != sim::Endpoint::None;
}

/// Returns the path in the device's folder that replaces `path`, stored in `buffer`, or `path` itself.
const char* redirected(const char* path, std::string& buffer)
{
    if (simulation != nullptr && path != nullptr) {
        if (auto other = simulation->board.redirect(path)) {
            buffer = std::move(*other);
            return buffer.c_str();
        }
    }
    return path;
}

std::string shellQuoted(const std::string& text)
{
    std::string quoted = "'";
    for (const char character : text) {
        quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return quoted + "'";
}

/// Whether a mode argument follows the flags.
bool isModeGiven(int flags)
{
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; // O_TMPFILE includes O_DIRECTORY
}

int openPath(const char* path, int flags, mode_t mode)
{
    if (simulation != nullptr) {
        const sim::Endpoint endpoint = sim::Board::endpointAt(path);
        if (endpoint != sim::Endpoint::None) {
            return simulation->board.open(endpoint, flags);
        }
    }
    std::string buffer;
    return REAL(open)(redirected(path, buffer), flags, mode);
}

std::FILE* openFile(const char* path, const char* mode)
{
    std::string buffer;
    return REAL(fopen)(redirected(path, buffer), mode);
}

int queryStatus(const char* path, struct stat* result)
{
    if (simulation != nullptr && std::string_view(path).starts_with("/dev/sda") && simulation->board.redirect(path) &&
        simulation->board.hasInjectedFault(sim::fault::forbiddenDrive)) {
        errno = EACCES;
        return -1;
    }
    std::string buffer;
    return REAL(stat)(redirected(path, buffer), result);
}

/// The function that a new thread calls, and its argument.
struct ThreadStart {
    void* (*routine)(void*);
    void* argument;
};

void* runThread(void* argument)
{
    const std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(argument));
    void* result = start->routine(start->argument);
    simulation->board.timeline.threadEnds();
    return result;
}

} // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library's headers use reserved names.
extern "C" {

/// The symbol that sim::librarySymbol names.
extern const int tonecrate_simulated_device;
const int tonecrate_simulated_device = 1;

int open(const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = isModeGiven(flags) ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return openPath(path, flags, mode);
}

int open64(const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = isModeGiven(flags) ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return openPath(path, flags, mode);
}

int close(int fd)
{
    if (isDevice(fd)) {
        simulation->board.close(fd);
    }
    return REAL(close)(fd);
}

ssize_t read(int fd, void* buffer, size_t size)
{
    if (isDevice(fd)) {
        return simulation->board.read(fd, {static_cast<std::uint8_t*>(buffer), size});
    }
    return REAL(read)(fd, buffer, size);
}

ssize_t write(int fd, const void* buffer, size_t size)
{
    if (isDevice(fd)) {
        return simulation->board.write(fd, {static_cast<const std::uint8_t*>(buffer), size});
    }
    return REAL(write)(fd, buffer, size);
}

int ioctl(int fd, unsigned long request, ...)
{
    std::va_list arguments;
    va_start(arguments, request);
    const auto argument = va_arg(arguments, unsigned long);
    va_end(arguments);
    if (isDevice(fd)) {
        return simulation->board.control(fd, request, argument);
    }
    return REAL(ioctl)(fd, request, argument);
}

void* mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset)
{
    if (isDevice(fd)) {
        return simulation->board.mapRegisters(offset);
    }
    return REAL(mmap)(address, length, protection, flags, fd, offset);
}

void* mmap64(void* address, size_t length, int protection, int flags, int fd, off_t offset)
{
    return mmap(address, length, protection, flags, fd, offset);
}

int stat(const char* path, struct stat* result)
{
    return queryStatus(path, result);
}

int stat64(const char* path, struct stat64* result)
{
    static_assert(sizeof(struct stat) == sizeof(struct stat64), "stat and stat64 must have the same layout");
    return queryStatus(path, reinterpret_cast<struct stat*>(result));
}

std::FILE* fopen(const char* path, const char* mode)
{
    return openFile(path, mode);
}

std::FILE* fopen64(const char* path, const char* mode)
{
    return openFile(path, mode);
}

std::FILE* popen(const char* command, const char* mode)
{
    constexpr const char* scripts = "/usr/sbin/";
    if (simulation == nullptr || std::strncmp(command, scripts, std::strlen(scripts)) != 0) {
        return REAL(popen)(command, mode);
    }
    simulation->board.note(std::string("run ") + command);
    if (simulation->board.hasInjectedFault(sim::fault::noProcesses)) {
        errno = EAGAIN;
        return nullptr;
    }
    return simulation->link.script.start(shellQuoted(simulation->board.getRoot()) + command, mode, command,
                                         simulation->link.getIteration());
}

int pclose(std::FILE* pipe)
{
    if (simulation != nullptr && simulation->link.script.isScript(pipe)) {
        return simulation->link.script.end();
    }
    return REAL(pclose)(pipe);
}

int usleep(useconds_t microseconds)
{
    if (simulation == nullptr) {
        return REAL(usleep)(microseconds);
    }
    if (sim::onMainThread()) {
        simulation->link.sleep(microseconds);
    } else {
        simulation->board.timeline.pass(std::chrono::microseconds(microseconds));
    }
    return 0;
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*), void* argument)
{
    if (simulation == nullptr) {
        return REAL(pthread_create)(thread, attributes, routine, argument);
    }
    auto start = std::make_unique<ThreadStart>(ThreadStart{routine, argument});
    simulation->board.timeline.threadStarts();
    const int error = REAL(pthread_create)(thread, attributes, runThread, start.get());
    if (error != 0) {
        simulation->board.timeline.threadEnds();
        return error;
    }
    [[maybe_unused]] auto* ownedByThread = start.release();
    return 0;
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex)
{
    if (simulation == nullptr || sim::onMainThread() || simulation->board.timeline.owns(condition)) {
        return REAL(pthread_cond_wait)(condition, mutex);
    }
    const sim::Timeline::Waiting waiting(simulation->board.timeline, condition);
    return REAL(pthread_cond_wait)(condition, mutex);
}

int pthread_cond_signal(pthread_cond_t* condition)
{
    if (simulation != nullptr && !simulation->board.timeline.owns(condition)) {
        simulation->board.timeline.wake(condition, false);
    }
    return REAL(pthread_cond_signal)(condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition)
{
    if (simulation != nullptr && !simulation->board.timeline.owns(condition)) {
        simulation->board.timeline.wake(condition, true);
    }
    return REAL(pthread_cond_broadcast)(condition);
}

} // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
