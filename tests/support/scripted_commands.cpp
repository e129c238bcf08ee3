// Starts, reads and ends commands.
#include "tests/support/scripted_commands.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string_view>

extern "C" {
ssize_t __real_read(int fd, void* buffer, size_t size);
FILE* __real_popen(const char* command, const char* mode);
int __real_pclose(FILE* pipe);
}

std::FILE* ScriptedCommands::start(const char* commandLine, const char* mode)
{
    log.note("run %s", commandLine);
    if (commandStartFails) {
        errno = EMFILE;
        return nullptr;
    }
    auto scripted = scripts.extract(commandLine);
    if (scripted.empty() && std::string_view(commandLine).starts_with("/usr/sbin/")) {
        throw std::logic_error(std::string("the test did not script this command: ") + commandLine);
    }
    running = scripted.empty() ? ScriptedCommand{commandLine, {}, {}} : std::move(scripted.mapped());
    isScripted = !running.reads.empty();
    pipe = running.waitStatus ? std::fopen("/dev/null", mode) : __real_popen(running.shellLine.c_str(), mode);
    pipeFd = fileno(pipe);
    readCount = 0;
    readOffset = 0;
    return pipe;
}

int ScriptedCommands::finish(std::FILE* file)
{
    const bool hasProcess = file != pipe || !running.waitStatus;
    const int status = hasProcess ? __real_pclose(file) : (std::fclose(file), *running.waitStatus);
    log.note("exit status taken");
    if (file == pipe) {
        pipe = nullptr;
        pipeFd = -1;
    }
    if (exitStatusFails) {
        errno = ECHILD;
        return -1;
    }
    return status;
}

std::optional<ssize_t> ScriptedCommands::readCommand(int descriptor, void* buffer, std::size_t size)
{
    if (pipe == nullptr || descriptor != pipeFd) {
        return std::nullopt;
    }
    ++readCount;
    return isScripted ? readScripted(buffer, size) : __real_read(descriptor, buffer, size);
}

ssize_t ScriptedCommands::readScripted(void* buffer, std::size_t size)
{
    if (running.reads.empty()) {
        return 0;
    }
    const ScriptedRead& next = running.reads.front();
    if (next.error != 0) {
        errno = next.error;
        running.reads.pop_front();
        return -1;
    }
    const std::size_t count = std::min(next.bytes.size() - readOffset, size);
    std::memcpy(buffer, next.bytes.data() + readOffset, count);
    readOffset += count;
    if (readOffset == next.bytes.size()) {
        running.reads.pop_front();
        readOffset = 0;
    }
    return static_cast<ssize_t>(count);
}
