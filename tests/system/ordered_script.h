// A script of the device that does what the test orders, when the test orders it.
#pragma once

#include <filesystem>
#include <string>

namespace sim {
class SimulatedDevice;
}

/// Stands at /usr/sbin/ on the device. It is a real shell script that reads its orders from a queue; the operations
/// below hold the device's time still until an order has been carried out.
class OrderedScript {
public:
    /// `name` is that of the script file, such as "format.sh".
    OrderedScript(const std::filesystem::path& deviceRoot, const std::string& name);
    OrderedScript(const OrderedScript&) = delete;
    OrderedScript& operator=(const OrderedScript&) = delete;
    ~OrderedScript();

    /// The bytes, which may be any but come to at most 60,000, are in the pipe for the updater's next read.
    void print(sim::SimulatedDevice& device, const std::string& bytes) const;
    void exit(sim::SimulatedDevice& device, int status) const;

    /// How often it has been started, and with what arguments, one line each.
    [[nodiscard]] std::string calls() const;

private:
    void order(const std::string& line) const;

    std::filesystem::path callsFile;
    int orders;
};
