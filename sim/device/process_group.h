// A process and those that it starts.
#pragma once

#include <functional>
#include <optional>
#include <sys/types.h>

namespace sim {

/// Ends at the end of this object, all of it.
class ProcessGroup {
public:
    ProcessGroup() = default;
    ProcessGroup(const ProcessGroup&) = delete;
    ProcessGroup& operator=(const ProcessGroup&) = delete;
    ~ProcessGroup();

    /// Calls `program` in a new process, where it is not to return. Throws std::runtime_error.
    void start(const std::function<void()>& program);
    /// How the process has ended (as waitpid tells it), if it has.
    [[nodiscard]] std::optional<int> waitStatus();
    /// Waits for the process to end by itself; -1 when there is none.
    int waitForEnd();
    /// -1 when there is none.
    [[nodiscard]] pid_t getPid() const { return pid; }
    /// Kills the process and those that it has started.
    void kill();

private:
    pid_t pid = -1;
    std::optional<int> ended;
};

} // namespace sim
