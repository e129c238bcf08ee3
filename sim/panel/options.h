// The command line of the front panel.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

namespace sim {

struct PanelOptions {
    std::string address = "127.0.0.1";
    /// 0 for any free port.
    std::uint16_t port = 7256;
    bool wantsHelp = false;
};

/// An error in the command line, described in one line.
class PanelUsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// `arguments` does not contain the program's name. Throws PanelUsageError.
[[nodiscard]] PanelOptions parsePanelOptions(std::span<const std::string> arguments);

/// The text of --help. Its first line is the usage line.
[[nodiscard]] std::string panelHelp();

} // namespace sim
