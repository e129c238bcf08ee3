// Runs a shell command and collects its output.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <string>
#include <string_view>

/// The constructor starts the command. The command's standard error is not captured. Other commands do not inherit the
/// pipe.
class CommandRunner {
public:
    /// The result of `poll` before the command's output ends.
    static constexpr std::uint32_t running = 0xFFFFFFFF;

    /// `command` is a complete shell command line. Throws std::runtime_error if no process can be started.
    explicit CommandRunner(const std::string& command);
    CommandRunner(const CommandRunner&) = delete;
    CommandRunner& operator=(const CommandRunner&) = delete;
    /// Waits for the command to end.
    ~CommandRunner();

    /// Reads everything the command has written so far. A zero byte discards up to 127 bytes after it and may end the
    /// call early. Returns `running`, without blocking, until the output ends or a read fails. Then blocks until the
    /// shell ends and returns its exit status (0 to 255), 0 if a signal killed it, or 255 if the wait fails. Later
    /// calls return 0.
    std::uint32_t poll();

    [[nodiscard]] std::size_t lineCount() const { return lines.size(); }
    /// Removes and returns the oldest line, without its line feed; empty if there is none. Text after the last line
    /// feed is not a line.
    std::string takeLine();

private:
    void append(std::string_view chunk);
    std::uint32_t finish();

    std::FILE* pipe = nullptr;
    int fd = -1;
    /// The output after the last line feed.
    std::string pending;
    std::deque<std::string> lines;
};
