// Reads Value Change Dump files (IEEE 1364, four-state) as a stream.
#pragma once

#include "sim/decode/captured_edge.h"
#include "sim/decode/token_reader.h"

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace sim {

/// A wire of the file that a line can be connected to.
struct VcdWire {
    /// The name without its scopes; the name of a bit of a vector ends with its index, such as "bus[3]".
    std::string name;
    /// The names of the scopes, separated by dots.
    std::string scope;
    /// The index of the variable in the reader, and the bit of the variable's value, counted from the right.
    std::size_t variable = 0;
    std::size_t bit = 0;
};

class VcdReader {
public:
    /// Reads the header. `file` is the name for messages. Throws CaptureError if the header is invalid.
    VcdReader(TokenReader::Source source, std::string file);

    /// The wires in the order of the file. Variables without levels, such as real numbers, have none.
    [[nodiscard]] const std::vector<VcdWire>& wires() const { return allWires; }
    /// The unit of the file's times.
    [[nodiscard]] const std::string& timescale() const { return timescaleText; }

    void connect(const VcdWire& wire, Line line);

    /// Passes the changes of the connected wires to `sink`. Throws CaptureError at the first error; the changes before
    /// it have then been passed.
    void read(EdgeSink& sink);

    /// The first and the last time read so far.
    [[nodiscard]] CaptureTime begin() const { return timeOf(firstTick.value_or(0)); }
    [[nodiscard]] CaptureTime end() const { return timeOf(tick); }
    [[nodiscard]] std::uint64_t pauses() const { return pauseCount; }

private:
    struct Connection {
        std::size_t bit;
        Line line;
    };
    /// Declarations with the same identifier share one variable.
    struct Variable {
        std::size_t width;
        bool hasLevels;
        std::vector<Connection> connections{};
    };
    static constexpr std::size_t unknown = std::numeric_limits<std::size_t>::max();

    [[noreturn]] void fail(const std::string& reason) const;
    std::string_view next();
    std::string_view required(const char* item);

    void readHeader();
    bool readDeclaration(std::string_view keyword, std::vector<std::string>& scopes);
    std::vector<std::string> words(const std::string& keyword);
    void readTimescale();
    void readVariable(const std::vector<std::string>& scopes);
    std::size_t declare(const std::string& identifier, std::size_t width, bool hasLevels);
    void addWires(const std::string& name, const std::string& range, const std::string& scope, std::size_t variable);

    void readChange(std::string_view token, EdgeSink& sink);
    void readKeyword(std::string_view keyword);
    void readTime(std::string_view digits);
    void readVector(std::string_view value, EdgeSink& sink);
    void skipValue();
    [[nodiscard]] std::size_t indexOf(std::string_view identifier) const;
    const Variable& variableOf(std::string_view identifier) const;
    void set(Line line, Level level, EdgeSink& sink);
    [[nodiscard]] CaptureTime timeOf(std::uint64_t ticks) const;

    std::string fileName;
    TokenReader tokens;

    std::vector<VcdWire> allWires;
    std::vector<Variable> variables;
    std::array<std::size_t, 128> shortIdentifiers{};
    std::unordered_map<std::string, std::size_t> longIdentifiers;
    std::string timescaleText = "1 s";
    /// The time of a tick is `multiplier` / `divisor` ps.
    std::int64_t multiplier = 1'000'000'000'000;
    std::int64_t divisor = 1;

    std::optional<std::uint64_t> firstTick;
    std::uint64_t tick = 0;
    CaptureTime time{};
    PerLine<std::optional<Level>> levels;
    bool isPaused = false;
    std::uint64_t pauseCount = 0;
};

} // namespace sim
