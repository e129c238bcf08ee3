// Starts a program and reads its output from a pipe.
#include "sim/session/process.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace sim {

namespace fs = std::filesystem;

namespace {

/// The destructor closes both ends.
class Pipe {
public:
    Pipe()
    {
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error(std::string("cannot create a pipe: ") + std::strerror(errno));
        }
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe()
    {
        close(ends[0]);
        closeInput();
    }

    [[nodiscard]] int output() const { return ends[0]; }
    [[nodiscard]] int input() const { return ends[1]; }
    void closeInput()
    {
        if (ends[1] >= 0) {
            close(ends[1]);
        }
        ends[1] = -1;
    }

private:
    std::array<int, 2> ends{};
};

pid_t start(const fs::path& program, const std::vector<std::string>& arguments, int output)
{
    std::vector<char*> words = {const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    pid_t pid = -1;
    const int error = posix_spawn(&pid, program.c_str(), &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::runtime_error("cannot run " + program.string() + ": " + std::strerror(error));
    }
    return pid;
}

std::string readAll(int fd)
{
    std::string text;
    std::array<char, 4096> buffer{};
    for (;;) {
        const ssize_t size = read(fd, buffer.data(), buffer.size());
        if (size > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(size));
        } else if (size == 0 || errno != EINTR) {
            return text;
        }
    }
}

int await(pid_t pid)
{
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

} // namespace

ProcessResult runProcess(const fs::path& program, const std::vector<std::string>& arguments)
{
    Pipe pipe;
    const pid_t pid = start(program, arguments, pipe.input());
    pipe.closeInput();
    std::string output = readAll(pipe.output());
    return {await(pid), std::move(output)};
}

std::optional<fs::path> findTool(const std::string& name)
{
    const char* path = std::getenv("PATH");
    std::istringstream folders(std::string(path == nullptr ? "" : path) + ":/usr/sbin:/sbin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        fs::path candidate = fs::path(folder) / name;
        if (fs::is_regular_file(candidate) && access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
    }
    return std::nullopt;
}

} // namespace sim
