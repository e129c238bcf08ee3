// The command line of the decoder.
#pragma once

#include "sim/decode/captured_edge.h"
#include "sim/decode/channels.h"

#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace sim {

struct DecodeOptions {
    /// "-" is standard input.
    std::filesystem::path capture{};
    std::filesystem::path output{};
    ChannelMap channels{};
    CaptureTime shortestPulse = std::chrono::nanoseconds(15);
    bool expectsInitialisation = false;
    std::vector<std::string> expectedScreens{};
    bool wantsHelp = false;
};

/// An error in the command line, described in one line.
class DecodeUsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// `arguments` does not include the program's name. The value of an option is the next argument or follows "=". Throws
/// DecodeUsageError if an argument is invalid or the capture is missing. Ignores everything after --help.
[[nodiscard]] DecodeOptions parseDecodeOptions(std::span<const std::string> arguments);

/// The text of --help. The usage ends at the first empty line.
[[nodiscard]] std::string decodeHelpText();

} // namespace sim
