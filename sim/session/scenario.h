// A scenario: the set-up of a device, and what happens to it.
#pragma once

#include "sim/session/statement.h"

#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// The device and its faults at the first power-on.
struct SessionSetup {
    /// Empty for a device without firmware.
    std::string installedVersion = "1.4.2";
    int memoryKib = 8192;
    /// How many KiB of files a worn memory accepts; 0 for no limit.
    int usableKib = 0;
    /// Names from injected_faults.h.
    std::set<std::string> faults{};
    /// How long the transfer of a frame takes; 0 for the time that follows from the bus speed.
    int frameMilliseconds = 0;

    bool operator==(const SessionSetup&) const = default;

    /// `statement` must be a part of a set-up.
    void add(const Statement& statement);
    /// The statements for all values that differ from the defaults.
    [[nodiscard]] std::vector<Statement> statements() const;
};

struct Scenario {
    struct Line {
        Statement statement;
        /// Counted from 1; 0 for a scenario that was not read from a text.
        std::size_t number = 0;
    };

    SessionSetup setup{};
    std::vector<Line> lines{};
    /// The text of the first comment line that is not empty.
    std::string summary{};
};

/// Parses the text of a scenario. Throws SyntaxError with the message "NAME:LINE: expected ...".
[[nodiscard]] Scenario parseScenario(std::string_view text, const std::string& name);
/// Changes the relative paths of firmware files from one base folder to another.
void rebase(Scenario& scenario, const std::filesystem::path& from, const std::filesystem::path& to);

// `readScenario` and `writeScenario` convert relative paths of firmware files: in the file, they start in the folder of
// the scenario file; in the Scenario, in the current folder.

/// Throws std::runtime_error if the file cannot be read, and SyntaxError if its text is not a scenario.
[[nodiscard]] Scenario readScenario(const std::filesystem::path& file);
/// Throws std::runtime_error if the file cannot be written.
void writeScenario(Scenario scenario, const std::filesystem::path& file);
/// The text from which `parseScenario` produces the same scenario, apart from line numbers.
[[nodiscard]] std::string print(const Scenario& scenario);

} // namespace sim
