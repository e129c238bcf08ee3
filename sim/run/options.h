// The command line of the simulator.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>

namespace sim {

struct Options {
    std::filesystem::path updater{};
    std::filesystem::path preload{};
    /// The folder with the scripts that create devices and drives.
    std::filesystem::path scripts{};
    /// The folder with the scenarios that --play selects.
    std::filesystem::path scenarios{};
    /// The scenario to play; empty for an interactive session, or for "update" without a terminal.
    std::filesystem::path scenario{};
    /// The file in which to record the session; empty for none.
    std::filesystem::path recording{};
    /// The folder in which to save every distinct screen; empty for none.
    std::filesystem::path frames{};
    /// The file for the movie; empty for none.
    std::filesystem::path movie{};
    /// The file in which to record the lines of the board; empty for none.
    std::filesystem::path wires{};
    /// The maximum size of the file `wires` in bytes.
    std::uint64_t wiresLimit = std::uint64_t{1} << 30;
    bool wantsHelp = false;
};

/// An error in the command line, described in one line.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Returns `defaults` with the changes that `arguments` (without the program's name) request. The value of an option is
/// the next argument or follows "=". Throws UsageError if an argument is invalid.
[[nodiscard]] Options parseOptions(std::span<const std::string> arguments, const Options& defaults);

/// The path of the scenario `name` in the folder `scenarios`.
[[nodiscard]] std::filesystem::path scenarioFile(const std::filesystem::path& scenarios, const std::string& name);

/// The text of --help, with the scenarios in the folder. The usage ends at the first empty line.
[[nodiscard]] std::string helpText(const std::filesystem::path& scenarios);

} // namespace sim
