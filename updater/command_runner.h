// Runs one shell command and collects its output without waiting for it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <string>
#include <string_view>

/// The command starts on construction. Its standard error is not captured; no other command inherits its output.
class CommandRunner {
public:
    /// What `poll` returns while the command runs.
    static constexpr std::uint32_t running = 0xFFFFFFFF;

    /// `command` is a whole shell command line. Throws std::runtime_error when no process can be started.
    explicit CommandRunner(const std::string& command);
    CommandRunner(const CommandRunner&) = delete;
    CommandRunner& operator=(const CommandRunner&) = delete;
    /// Waits for the command to end.
    ~CommandRunner();

    /// Reads all that the command has written so far, however much. Returns `running`, or, once the output has ended,
    /// the exit status 0 to 255; 0 from then on. A command that a signal killed counts as status 0. Waits only for a
    /// command that has closed its output to end.
    std::uint32_t poll();

    [[nodiscard]] std::size_t lineCount() const { return lines.size(); }
    /// The oldest line not yet taken, without its line feed; empty when there is none. Text after the last line feed is
    /// not a line.
    std::string takeLine();

private:
    void append(std::string_view chunk);
    std::uint32_t finish();

    std::FILE* pipe = nullptr;
    int fd = -1;
    /// What came after the last line feed; holds none itself.
    std::string pending;
    std::deque<std::string> lines;
};
