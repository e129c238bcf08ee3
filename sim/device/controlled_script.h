// A device script that executes commands sent by the controller.
#pragma once

#include <filesystem>
#include <string>

namespace sim {

class SimulatedDevice;

/// A shell script in the device's /usr/sbin/ that reads commands from a FIFO. `print`, `exit` and `die` send a command
/// to the running script and wait for its effect; no device time passes meanwhile.
class ControlledScript {
public:
    /// `name` is the file name, such as "format.sh".
    ControlledScript(const std::filesystem::path& deviceRoot, const std::string& name);
    ControlledScript(const ControlledScript&) = delete;
    ControlledScript& operator=(const ControlledScript&) = delete;
    ~ControlledScript();

    /// Makes the script print `bytes` (at most 60,000). Returns when at least `bytes.size()` bytes are in the pipe to
    /// the updater.
    void print(SimulatedDevice& device, const std::string& bytes) const;
    /// Makes the script exit.
    void exit(SimulatedDevice& device, int status) const;
    /// Makes the script kill itself with SIGKILL.
    void die(SimulatedDevice& device) const;

    /// The arguments of each call of the script, one line per call.
    [[nodiscard]] std::string calls() const;

private:
    void send(const std::string& command) const;

    std::filesystem::path callsFile;
    int commands;
};

} // namespace sim
