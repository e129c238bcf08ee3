// Commands whose output and exit status a test chooses.
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

/// The result of one or more reads of a command's output: bytes, an error, or, with neither, the end of the output.
struct ScriptedRead {
    std::string bytes;
    int error = 0;
};

/// No output for now.
inline const ScriptedRead nothingNow = {"", EAGAIN};

/// What a command does instead of what its command line says.
struct ScriptedCommand {
    /// Runs in a shell; its exit code is the command's.
    std::string shellLine = "exit 0";
    /// The results of the reads, followed by the end of the output. If empty, reads return the output of `shellLine`.
    std::deque<ScriptedRead> reads;
    /// If set, no process is started, and this is the wait status (waitpid(2)). Requires `reads`.
    std::optional<int> waitStatus = std::nullopt;
};

/// Logs "run /usr/sbin/install.sh" and "exit status taken".
class ScriptedCommands {
public:
    explicit ScriptedCommands(CallLog& callLog) : log(callLog) {}

    /// Applies to the next start of `commandLine`. Other commands run unchanged, but starting one of the device's
    /// scripts throws std::logic_error.
    void script(const std::string& commandLine, ScriptedCommand command) { scripts[commandLine] = std::move(command); }
    bool commandStartFails = false;
    bool exitStatusFails = false;
    /// Of the command started last; -1 after its end.
    [[nodiscard]] int commandDescriptor() const { return pipeFd; }
    [[nodiscard]] std::size_t commandReads() const { return readCount; }

    // The system calls.

    std::FILE* start(const char* commandLine, const char* mode);
    int finish(std::FILE* file);
    /// No value: the descriptor is not the command's.
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
    /// The number of bytes already read from the first of the running command's reads.
    std::size_t readOffset = 0;
};
