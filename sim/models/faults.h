// The list of things that a program did to a device and should not have done.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace sim {

class Faults {
public:
    void add(std::string fault) { entries.push_back(std::move(fault)); }
    [[nodiscard]] const std::vector<std::string>& list() const { return entries; }

private:
    std::vector<std::string> entries;
};

} // namespace sim
