// The list of protocol violations: accesses that the hardware does not allow.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace sim {

class Violations {
public:
    /// `violation` is a phrase such as "an empty I2C write".
    void add(std::string violation) { entries.push_back(std::move(violation)); }
    [[nodiscard]] const std::vector<std::string>& list() const { return entries; }
    /// Returns the violations and removes them from the list.
    [[nodiscard]] std::vector<std::string> take() { return std::exchange(entries, {}); }

private:
    std::vector<std::string> entries;
};

} // namespace sim
