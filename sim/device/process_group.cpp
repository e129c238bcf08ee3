// Starts, waits for and kills processes.
#include "sim/device/process_group.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace sim {

ProcessGroup::~ProcessGroup()
{
    kill();
}

void ProcessGroup::start(const std::function<void()>& program)
{
    pid = fork();
    if (pid < 0) {
        throw std::runtime_error(std::string("cannot start a process: ") + std::strerror(errno));
    }
    if (pid == 0) {
        setpgid(0, 0);
        program();
        _exit(127);
    }
    setpgid(pid, pid);
}

std::optional<int> ProcessGroup::waitStatus()
{
    int status = 0;
    if (!ended && pid > 0 && waitpid(pid, &status, WNOHANG) == pid) {
        ended = status;
    }
    return ended;
}

int ProcessGroup::waitForEnd()
{
    int status = 0;
    pid_t waited = -1;
    while (!ended && pid > 0 && ((waited = waitpid(pid, &status, 0)) == pid || errno == EINTR)) {
        if (waited == pid) {
            ended = status;
        }
    }
    return ended.value_or(-1);
}

void ProcessGroup::kill()
{
    if (pid > 0) {
        ::kill(-pid, SIGKILL);
        waitForEnd();
    }
}

} // namespace sim
