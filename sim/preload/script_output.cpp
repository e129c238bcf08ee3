// Starts scripts and passes their lines on.
#include "sim/preload/script_output.h"

#include "sim/preload/real_calls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace sim {

namespace {

constexpr std::string_view scriptFolder = "/usr/sbin/";
constexpr const char* stepsFile = "/script-steps";
constexpr auto scriptTimeout = std::chrono::minutes(5);

} // namespace

ScriptOutput::ScriptOutput(std::string deviceRoot, std::function<void()> callWhileWaiting)
    : root(std::move(deviceRoot)), whileWaiting(std::move(callWhileWaiting))
{}

ScriptOutput::~ScriptOutput()
{
    if (steps >= 0) {
        REAL(close)(steps);
    }
}

bool ScriptOutput::setPace(std::uint64_t iterations)
{
    pace = iterations;
    if (pace == 0 || steps >= 0) {
        return true;
    }
    const std::string path = root + stepsFile;
    if (mkfifo(path.c_str(), 0600) != 0 && errno != EEXIST) {
        return false;
    }
    // Also opened for writing, so that scripts can open the FIFO at any time.
    steps = REAL(open)(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    return steps >= 0;
}

std::FILE* ScriptOutput::start(const std::string& shellCommand, const char* mode, const std::string& commandLine,
                               std::uint64_t iteration)
{
    unread.clear();
    isOver = false;
    dueAt = iteration + pace;
    discardSteps();
    source = REAL(popen)(shellCommand.c_str(), mode);
    reader = source == nullptr || pace == 0 ? source : insertPipe(mode);
    command = reader == nullptr ? std::string() : commandLine.substr(scriptFolder.size());
    return reader;
}

/// Creates the second pipe, and returns the stream from which the program reads it. If there are too many open files,
/// waits for the script to end, and returns null with errno EMFILE.
std::FILE* ScriptOutput::insertPipe(const char* mode)
{
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        REAL(pclose)(std::exchange(source, nullptr));
        errno = EMFILE;
        return nullptr;
    }
    for (const int fd : {fileno(source), ends[1]}) {
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    sink = ends[1];
    return fdopen(ends[0], mode);
}

int ScriptOutput::end()
{
    if (reader != source) {
        std::fclose(reader);
    }
    closeSink();
    reader = nullptr;
    command.clear();
    return REAL(pclose)(std::exchange(source, nullptr));
}

void ScriptOutput::pass(std::uint64_t iteration)
{
    if (sink < 0 || iteration < dueAt) {
        return;
    }
    awaitStep();
    if (unread.empty()) {
        return closeSink();
    }
    const std::size_t size = pieceSize();
    if (REAL(write)(sink, unread.data(), size) < 0) {
        return; // the pipe is full: tries again in the next iteration
    }
    unread.erase(0, size);
    dueAt = iteration + pace;
    releaseScript();
}

void ScriptOutput::awaitStep()
{
    while (sink >= 0 && pieceSize() == 0 && !isOver) {
        constexpr int sliceMs = 100;
        pollfd entry = {fileno(source), POLLIN, 0};
        if (poll(&entry, 1, sliceMs) > 0) {
            readMore();
        } else {
            whileWaiting();
        }
    }
}

/// The number of bytes to pass next: the first line in `unread`, or its first part if it is longer than the largest
/// atomic write; 0 if the line is incomplete. After the end of the output, the incomplete last line is passed too, and
/// the result is meaningless if `unread` is empty.
std::size_t ScriptOutput::pieceSize() const
{
    const std::size_t end = unread.find('\n');
    const bool isComplete = end != std::string::npos || isOver || unread.size() >= PIPE_BUF;
    return isComplete ? std::min({end, unread.size() - 1, std::size_t{PIPE_BUF - 1}}) + 1 : 0;
}

void ScriptOutput::readMore()
{
    std::array<char, 4096> bytes{};
    const ssize_t count = REAL(read)(fileno(source), bytes.data(), bytes.size());
    if (count > 0) {
        unread.append(bytes.data(), static_cast<std::size_t>(count));
    } else {
        isOver = count == 0 || errno != EINTR;
    }
}

void ScriptOutput::closeSink()
{
    if (sink >= 0) {
        REAL(close)(std::exchange(sink, -1));
    }
}

void ScriptOutput::discardSteps() const
{
    std::array<char, 64> bytes{};
    while (steps >= 0 && REAL(read)(steps, bytes.data(), bytes.size()) > 0) {
    }
}

/// Discards earlier steps first, because a script does not have to wait after every line.
void ScriptOutput::releaseScript() const
{
    discardSteps();
    [[maybe_unused]] const ssize_t written = REAL(write)(steps, "\n", 1);
}

bool ScriptOutput::awaitBytes(int byteCount) const
{
    if (reader == nullptr) {
        return true;
    }
    const auto deadline = std::chrono::steady_clock::now() + scriptTimeout;
    while (std::chrono::steady_clock::now() < deadline) {
        constexpr int sliceMs = 1;
        pollfd entry = {fileno(source), 0, 0}; // without requested events, poll reports only that the output was closed
        poll(&entry, 1, sliceMs);
        int available = 0;
        ioctl(fileno(source), FIONREAD, &available);
        if ((entry.revents & POLLHUP) != 0 || (byteCount > 0 && available >= byteCount)) {
            return true;
        }
    }
    return false;
}

} // namespace sim
