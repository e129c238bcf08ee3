// A script of the device that executes commands from the test.
#pragma once

#include <filesystem>
#include <string>

namespace sim {
class SimulatedDevice;
}

/// A shell script in the device's /usr/sbin/ that reads commands from a FIFO. The operations stop the device's time
/// until the script has executed the command.
class ControlledScript {
public:
    /// `name` is the file name, such as "format.sh".
    ControlledScript(const std::filesystem::path& deviceRoot, const std::string& name);
    ControlledScript(const ControlledScript&) = delete;
    ControlledScript& operator=(const ControlledScript&) = delete;
    ~ControlledScript();

    /// Writes the bytes (at most 60,000) to the pipe, ready for the updater's next read.
    void print(sim::SimulatedDevice& device, const std::string& bytes) const;
    void exit(sim::SimulatedDevice& device, int status) const;

    /// The arguments of each start, one line per start.
    [[nodiscard]] std::string calls() const;

private:
    void send(const std::string& command) const;

    std::filesystem::path callsFile;
    int commands;
};
