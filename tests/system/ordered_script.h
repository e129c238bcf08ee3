// A script of the device that executes orders of the test.
#pragma once

#include <filesystem>
#include <string>

namespace sim {
class SimulatedDevice;
}

/// A shell script in the device's /usr/sbin/ that reads orders from a FIFO. The operations stop the device's time until
/// the script has executed the order.
class OrderedScript {
public:
    /// `name` is the file name, such as "format.sh".
    OrderedScript(const std::filesystem::path& deviceRoot, const std::string& name);
    OrderedScript(const OrderedScript&) = delete;
    OrderedScript& operator=(const OrderedScript&) = delete;
    ~OrderedScript();

    /// Writes the bytes (at most 60,000) to the pipe, ready for the updater's next read.
    void print(sim::SimulatedDevice& device, const std::string& bytes) const;
    void exit(sim::SimulatedDevice& device, int status) const;

    /// The arguments of each start, one line per start.
    [[nodiscard]] std::string calls() const;

private:
    void order(const std::string& line) const;

    std::filesystem::path callsFile;
    int orders;
};
