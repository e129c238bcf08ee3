// Prints the events of a scenario, and the screens as text.
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

    // Both operations print a line that starts with the iteration as a time in seconds. They throw std::runtime_error
    // if the line cannot be written.

    void printEvent(std::uint64_t iteration, const std::string& text);
    /// Prints nothing if only the busy indicator has changed since the last call. If the screen has no name and the
    /// changes span at most 24 pixel rows, prints only these rows.
    void printScreen(std::uint64_t iteration, const Screen& screen, const std::string& name);

private:
    struct Rows {
        int first;
        int end;
    };

    [[nodiscard]] Rows changedRows(const Screen& screen) const;
    void printRows(const Screen& screen, Rows rows);

    std::ostream& out;
    std::optional<Screen> last;
};

} // namespace sim
