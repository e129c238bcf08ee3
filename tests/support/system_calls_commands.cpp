// The stand-in for the board: files and commands.
#include "tests/support/system_calls.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

extern "C" {
ssize_t __real_read(int fd, void* buffer, size_t count);
FILE* __real_popen(const char* command, const char* mode);
int __real_pclose(FILE* pipe);
}

namespace {

bool isDriveOrVersionFile(std::string_view path)
{
    return path.starts_with("/dev/sd") || path.starts_with("/tmp/fw/");
}

} // namespace

std::size_t SystemCalls::lookUps(const std::string& path) const
{
    return lookUpCounts.at(path);
}

const char* SystemCalls::resolve(const char* path)
{
    if (!isDriveOrVersionFile(path)) {
        return path;
    }
    const auto count = lookUpCounts.find(std::string_view(path));
    if (count != lookUpCounts.end()) {
        ++count->second;
    }
    const auto found = placedFiles.find(std::string_view(path));
    return found == placedFiles.end() ? nullptr : found->second.c_str();
}

void SystemCalls::script(const std::string& commandLine, ScriptedCommand command)
{
    scriptedCommands[commandLine] = std::move(command);
}

std::FILE* SystemCalls::start(const char* commandLine, const char* mode)
{
    note("run %s", commandLine);
    if (commandStartFails) {
        errno = EMFILE;
        return nullptr;
    }
    ScriptedCommand command{commandLine, {}, {}};
    const auto found = scriptedCommands.find(commandLine);
    if (found != scriptedCommands.end()) {
        command = std::move(found->second);
        scriptedCommands.erase(found);
    } else if (std::string_view(commandLine).starts_with("/usr/sbin/")) {
        throw std::logic_error(std::string("a script of the device was started: ") + commandLine);
    }
    commandWaitStatus = command.waitStatus;
    commandPipe = commandWaitStatus ? std::fopen("/dev/null", mode) : __real_popen(command.shellLine.c_str(), mode);
    commandFd = fileno(commandPipe);
    commandIsScripted = !command.reads.empty();
    commandOutput = std::move(command.reads);
    outputOffset = 0;
    readsOfCommand = 0;
    return commandPipe;
}

int SystemCalls::finish(std::FILE* pipe)
{
    const bool hasProcess = pipe != commandPipe || !commandWaitStatus;
    const int status = hasProcess ? __real_pclose(pipe) : (std::fclose(pipe), *commandWaitStatus);
    note("exit status taken");
    if (pipe == commandPipe) {
        commandPipe = nullptr;
        commandFd = -1;
    }
    if (exitStatusFails) {
        errno = ECHILD;
        return -1;
    }
    return status;
}

bool SystemCalls::readCommand(int fd, void* buffer, std::size_t count, ssize_t& result)
{
    if (commandPipe == nullptr || fd != commandFd) {
        return false;
    }
    ++readsOfCommand;
    result = commandIsScripted ? readScripted(buffer, count) : __real_read(fd, buffer, count);
    return true;
}

ssize_t SystemCalls::readScripted(void* buffer, std::size_t count)
{
    if (commandOutput.empty()) {
        return 0;
    }
    const ScriptedRead& next = commandOutput.front();
    if (next.error != 0) {
        errno = next.error;
        commandOutput.pop_front();
        return -1;
    }
    const std::size_t moved = std::min(next.bytes.size() - outputOffset, count);
    std::memcpy(buffer, next.bytes.data() + outputOffset, moved);
    outputOffset += moved;
    if (outputOffset == next.bytes.size()) {
        commandOutput.pop_front();
        outputOffset = 0;
    }
    return static_cast<ssize_t>(moved);
}
