// A process group: a child process and its descendants.
#pragma once

#include <functional>
#include <optional>
#include <sys/types.h>

namespace sim {

/// The destructor kills the group.
class ProcessGroup {
public:
    ProcessGroup() = default;
    ProcessGroup(const ProcessGroup&) = delete;
    ProcessGroup& operator=(const ProcessGroup&) = delete;
    ~ProcessGroup();

    /// Calls `program` in a new process. If `program` returns, the process ends with exit status 127. Throws
    /// std::runtime_error if fork fails.
    void start(const std::function<void()>& program);
    /// The wait status of the process (see waitpid) if it has ended.
    [[nodiscard]] std::optional<int> waitStatus();
    /// Waits for the process to end. Returns its wait status; -1 if no process was started.
    int waitForEnd();
    /// Returns -1 if no process was started.
    [[nodiscard]] pid_t getPid() const { return pid; }
    /// Kills all processes of the group, and waits for the started process to end.
    void kill();

private:
    pid_t pid = -1;
    std::optional<int> ended;
};

} // namespace sim
