// What a scenario prints: a line for everything that happens, and the screens as text.
#pragma once

#include "sim/models/screen.h"

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>

namespace sim {

class ScenarioLog {
public:
    explicit ScenarioLog(std::ostream& stream) : out(stream) {}

    /// The moment is an iteration, of about a millisecond. Both throw std::runtime_error when nothing can be printed.
    void say(std::uint64_t moment, const std::string& text);
    /// Prints the screen unless only the wheel has turned since the last one; when little else has changed, only the
    /// rows that have.
    void show(std::uint64_t moment, const Screen& screen, const std::string& name);

private:
    struct Rows {
        int first;
        int end;
    };

    [[nodiscard]] Rows changedRows(const Screen& screen) const;
    void print(const Screen& screen, Rows rows);

    std::ostream& out;
    std::optional<Screen> last;
};

} // namespace sim
