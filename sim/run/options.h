// The command line of the simulator.
#pragma once

#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>

namespace sim {

struct Options {
    std::filesystem::path updater{};
    std::filesystem::path preload{};
    /// The folder with the scripts that create and verify devices and drives.
    std::filesystem::path scripts{};
    /// The name of the scenario to run; empty for none.
    std::string scenario{};
    /// The folder in which to save every screen; empty for none.
    std::filesystem::path frames{};
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

/// The text of --help. Its first line is the usage line.
[[nodiscard]] std::string helpText();

} // namespace sim
