// Reads a descriptor, and runs sigrok-cli.
#include "sim/decode/capture_file.h"

#include "sim/decode/capture_error.h"
#include "sim/session/signals.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace sim {

namespace fs = std::filesystem;

namespace {

/// The exit status of the child process if it cannot execute sigrok-cli.
constexpr int notFound = 127;

/// The first character of a VCD file that is not white space begins a keyword.
bool isVcd(const std::vector<char>& text)
{
    const auto first = std::find_if(text.begin(), text.end(), [](char character) {
        return character != ' ' && character != '\t' && character != '\r' && character != '\n';
    });
    return first != text.end() && *first == '$';
}

[[noreturn]] void runSigrok(const char* file, int output, int messages)
{
    dup2(output, STDOUT_FILENO);
    dup2(messages, STDERR_FILENO);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        std::signal(signal, SIG_DFL);
    }
    execlp("sigrok-cli", "sigrok-cli", "-i", file, "-O", "vcd", nullptr);
    _exit(notFound);
}

} // namespace

CaptureFile::CaptureFile(const fs::path& path) : fileName(path == "-" ? "standard input" : path.string())
{
    // Without O_NONBLOCK, opening a FIFO would wait for its writer, and could not be interrupted reliably.
    descriptor = path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct stat status = {};
    if (descriptor < 0 || fstat(descriptor, &status) != 0) {
        fail(std::strerror(errno));
    }
    const bool isRegular = S_ISREG(status.st_mode);
    fileSize = isRegular ? static_cast<std::uint64_t>(status.st_size) : 0;
    constexpr std::size_t recognisedBytes = 4096;
    start.resize(recognisedBytes);
    start.resize(readDescriptor(start));
    if (start.empty()) {
        throw CaptureError(fileName + ": the capture is empty");
    }
    if (isVcd(start)) {
        return;
    }
    if (!isRegular || path == "-") {
        throw CaptureError(fileName + ":1: not a VCD file; sigrok-cli can convert other formats only from a file");
    }
    convert(path);
}

CaptureFile::~CaptureFile()
{
    if (converter > 0) {
        kill(converter, SIGKILL);
        waitpid(converter, nullptr, 0);
    }
    for (const int fd : {descriptor, messages}) {
        if (fd >= 0) {
            close(fd);
        }
    }
}

void CaptureFile::convert(const fs::path& path)
{
    std::array<int, 2> pipeEnds{};
    messages = memfd_create("messages", MFD_CLOEXEC);
    if (messages < 0 || pipe2(pipeEnds.data(), O_CLOEXEC) != 0) {
        fail(std::strerror(errno));
    }
    const std::string file = fs::absolute(path).string(); // does not begin with a dash
    converter = fork();
    if (converter == 0) {
        runSigrok(file.c_str(), pipeEnds[1], messages);
    }
    close(pipeEnds[1]);
    close(descriptor);
    descriptor = pipeEnds[0];
    if (converter < 0) {
        fail(std::strerror(errno));
    }
    start.clear();
    fileSize = 0;
}

std::size_t CaptureFile::read(std::span<char> buffer)
{
    std::size_t count = 0;
    if (startRead < start.size()) {
        count = std::min(buffer.size(), start.size() - startRead);
        std::copy_n(start.begin() + static_cast<std::ptrdiff_t>(startRead), count, buffer.begin());
        startRead += count;
    } else {
        count = readDescriptor(buffer);
    }
    bytesRead += count;
    if (count == 0 && converter > 0) {
        awaitConverter();
    }
    return count;
}

std::size_t CaptureFile::readDescriptor(std::span<char> buffer)
{
    for (;;) {
        awaitInput(descriptor);
        const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (errno != EINTR && errno != EAGAIN) {
            fail(std::strerror(errno));
        }
    }
}

void CaptureFile::awaitConverter()
{
    int status = 0;
    waitpid(converter, &status, 0);
    converter = -1;
    if (WIFEXITED(status) && WEXITSTATUS(status) == notFound) {
        throw CaptureError(fileName + ":1: not a VCD file; to read other formats, install sigrok-cli");
    }
    if (status != 0 || bytesRead == 0) {
        throw CaptureError(fileName + ":1: not a VCD file, and sigrok-cli cannot read it: " + converterMessage());
    }
}

/// The last line of the first 4096 bytes that sigrok-cli printed on standard error.
std::string CaptureFile::converterMessage() const
{
    std::array<char, 4096> text{};
    const ssize_t count = pread(messages, text.data(), text.size(), 0);
    std::string message(text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    while (!message.empty() && message.back() == '\n') {
        message.pop_back();
    }
    message = message.substr(message.find_last_of('\n') + 1);
    return message.empty() ? "it printed nothing" : message;
}

void CaptureFile::fail(const std::string& reason) const
{
    throw CaptureError("cannot read " + fileName + ": " + reason);
}

} // namespace sim
