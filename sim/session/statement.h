// One line of a scenario. docs/scenarios.md describes the language.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

enum class Verb {
    // The set-up of a device.
    DeviceInstalled,
    DeviceMemory,
    DeviceWorn,
    Fault,
    BusSlow,
    // Inputs.
    Turn,
    Press,
    Release,
    Plug,
    PlugFile,
    Unplug,
    PowerOff,
    PowerOn,
    FaultOn,
    FaultOff,
    // Statements that run the device or check a result.
    Click,
    Hold,
    Wait,
    AwaitScreen,
    AwaitOutput,
    AwaitError,
    AwaitScript,
    AwaitFrames,
    ExpectScreen,
    ExpectNoFrame,
    ExpectOutput,
    ExpectError,
    ExpectNoScript,
    ExpectScript,
    ExpectMemory,
    ExpectMemoryUnchanged,
    ExpectLedBar,
    ExpectLedRgb,
    ExpectNoViolation,
    ExpectViolation,
    ExpectRunning,
    ExpectEnded,
    ExpectEndedBySignal,
};

[[nodiscard]] bool isSetUp(Verb verb);
/// An input changes the device and takes no time, except that "power on" runs one iteration.
[[nodiscard]] bool isInput(Verb verb);

struct Statement {
    Verb verb;
    /// In canonical form: numbers are decimal, and texts are not quoted.
    std::vector<std::string> arguments{};
    /// The iteration at which the statement is executed, counted from the last power-on; none for the current
    /// iteration.
    std::optional<std::uint64_t> at{};

    bool operator==(const Statement&) const = default;

    [[nodiscard]] const std::string& text(std::size_t index = 0) const { return arguments.at(index); }
    [[nodiscard]] std::int64_t number(std::size_t index = 0) const { return std::stoll(arguments.at(index)); }
};

/// Describes in one line what was expected and what was found.
class SyntaxError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Parses one statement, optionally followed by a comment. Throws SyntaxError.
[[nodiscard]] Statement parseStatement(std::string_view line);
/// Whether the line contains nothing except blanks and a comment.
[[nodiscard]] bool isBlank(std::string_view line);
/// The inverse of `parseStatement`.
[[nodiscard]] std::string print(const Statement& statement);
/// Puts a text in quotes and escapes it, as in a statement.
[[nodiscard]] std::string quote(const std::string& text);

} // namespace sim
