// Commands whose output and exit status are set by a test.
#pragma once

#include "tests/support/call_log.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>

/// The result of one or more reads of a command's output: bytes, an error or, with neither, the end of the output.
struct ScriptedRead {
    std::string bytes;
    int error = 0;
};

/// The result of a read while the command is running but has written nothing new.
inline const ScriptedRead nothingNow = {"", EAGAIN};

/// The command that runs in place of a command line of the product.
struct ScriptedCommand {
    /// The line that the shell runs instead.
    std::string shellLine = "exit 0";
    /// The results of the reads, followed by the end of the output. If empty, reads return the output of `shellLine`.
    std::deque<ScriptedRead> reads;
    /// The wait status (waitpid(2)). If it is set, no process is started, and `reads` must not be empty.
    std::optional<int> waitStatus = std::nullopt;
};

/// Logs "run /usr/sbin/install.sh" and "exit status taken".
class ScriptedCommands {
public:
    explicit ScriptedCommands(CallLog& callLog) : log(callLog) {}

    /// Runs `command` at the next start of `commandLine`. Other command lines run unchanged, except that starting a
    /// command in /usr/sbin throws std::logic_error.
    void script(const std::string& commandLine, ScriptedCommand command) { scripts[commandLine] = std::move(command); }
    bool commandStartFails = false;
    bool exitStatusFails = false;
    /// The descriptor of the pipe from the command that was started last; -1 after the pipe has been closed.
    [[nodiscard]] int commandDescriptor() const { return pipeFd; }
    [[nodiscard]] std::size_t commandReads() const { return readCount; }

    // The system calls. `errno` is set on failure.

    std::FILE* start(const char* commandLine, const char* mode);
    int finish(std::FILE* file);
    /// Returns nothing if `descriptor` does not belong to the command.
    std::optional<ssize_t> readCommand(int descriptor, void* buffer, std::size_t size);

private:
    ssize_t readScripted(void* buffer, std::size_t size);

    CallLog& log;
    std::map<std::string, ScriptedCommand> scripts;
    ScriptedCommand running;
    bool isScripted = false;
    std::FILE* pipe = nullptr;
    int pipeFd = -1;
    std::size_t readCount = 0;
    /// The number of bytes already taken from `running.reads.front()`.
    std::size_t readOffset = 0;
};
