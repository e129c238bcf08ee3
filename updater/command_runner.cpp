// Reads the pipe from a running command.
#include "updater/command_runner.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>
#include <utility>

CommandRunner::CommandRunner(const std::string& command) : pipe(popen(command.c_str(), "r"))
{
    if (pipe == nullptr) {
        throw std::runtime_error("popen() failed");
    }
    fd = fileno(pipe);
    fcntl(fd, F_SETFL, O_NONBLOCK);
    fcntl(fd, F_SETFD, FD_CLOEXEC);
}

CommandRunner::~CommandRunner()
{
    if (pipe != nullptr) {
        pclose(pipe);
    }
}

std::uint32_t CommandRunner::poll()
{
    if (pipe == nullptr) {
        return 0;
    }
    for (;;) {
        std::array<char, 129> buffer; // 128 bytes and a terminating zero
        const ssize_t count = read(fd, buffer.data(), buffer.size() - 1);
        if (count < 0 && errno == EAGAIN) {
            return running;
        }
        if (count <= 0) {
            return finish();
        }
        // Deliberate: a zero byte discards the rest of its chunk; as the first byte, it also ends this poll.
        buffer[static_cast<std::size_t>(count)] = '\0';
        const std::string_view chunk(buffer.data());
        if (chunk.empty()) {
            return running;
        }
        append(chunk);
    }
}

/// Searches only the new chunk for line feeds, so the cost of a line is linear in its length.
void CommandRunner::append(std::string_view chunk)
{
    for (auto end = chunk.find('\n'); end != std::string_view::npos; end = chunk.find('\n')) {
        pending += chunk.substr(0, end);
        lines.push_back(std::exchange(pending, {}));
        chunk.remove_prefix(end + 1);
    }
    pending += chunk;
}

std::uint32_t CommandRunner::finish()
{
    const int status = pclose(pipe);
    pipe = nullptr;
    fd = -1;
    // The exit code, if the command exited. A fatal signal yields 0, and a failing pclose yields 255; both
    // values follow from the shift.
    return (static_cast<std::uint32_t>(status) >> 8) & 0xFF;
}

std::string CommandRunner::takeLine()
{
    if (lines.empty()) {
        return {};
    }
    std::string line = std::move(lines.front());
    lines.pop_front();
    return line;
}
