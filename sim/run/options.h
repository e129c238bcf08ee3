// What the simulator was asked for on its command line.
#pragma once

#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>

namespace sim {

struct Options {
    std::filesystem::path updater{};
    std::filesystem::path preload{};
    /// The folder of the reference scripts and the tools around them.
    std::filesystem::path scripts{};
    /// The scenario to perform; empty for none.
    std::string scenario{};
    /// Where to save every screen; empty for nowhere.
    std::filesystem::path frames{};
    bool wantsHelp = false;
};

/// The command line is wrong; `what` says in one line how.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What the arguments, without the program's name, change in the defaults. An option's value is the next argument or
/// stands behind "=". Throws UsageError.
[[nodiscard]] Options parseOptions(std::span<const std::string> arguments, const Options& defaults);

/// The text of --help. Its first line is the usage line.
[[nodiscard]] std::string helpText();

} // namespace sim
