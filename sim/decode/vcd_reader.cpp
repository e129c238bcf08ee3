// Parses declarations and value changes.
#include "sim/decode/vcd_reader.h"

#include "sim/decode/capture_error.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <utility>

namespace sim {

namespace {

/// Wider vectors, such as memories, have wires for their lowest bits only.
constexpr std::size_t mostWiresPerVariable = 64;

struct TimeUnit {
    std::string_view name;
    std::int64_t picoseconds;
    std::int64_t divisor;
};

constexpr TimeUnit timeUnits[] = {
    {"s", 1'000'000'000'000, 1},
    {"ms", 1'000'000'000, 1},
    {"us", 1'000'000, 1},
    {"ns", 1000, 1},
    {"ps", 1, 1},
    {"fs", 1, 1000},
};

/// Quotes a part of the file for a message: at most 40 characters, all of them printable.
std::string excerpt(std::string_view text)
{
    constexpr std::size_t longest = 40;
    std::string result = "\"";
    for (const char character : text.substr(0, longest)) {
        result += character > ' ' && character <= '~' ? character : '?';
    }
    return result + (text.size() > longest ? "...\"" : "\"");
}

std::optional<std::uint64_t> parsed(std::string_view digits)
{
    std::uint64_t value = 0;
    const auto [rest, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return error == std::errc() && rest == digits.data() + digits.size() ? std::optional(value) : std::nullopt;
}

/// The levels of the VCD standard, and the levels of std_logic that VHDL simulators write.
std::optional<Level> levelOf(char character)
{
    switch (character) {
    case '0':
    case 'l':
    case 'L':
        return Level::Low;
    case '1':
    case 'h':
    case 'H':
        return Level::High;
    case 'x':
    case 'X':
    case 'z':
    case 'Z':
    case 'u':
    case 'U':
    case 'w':
    case 'W':
    case '-':
        return Level::Undefined;
    default:
        return std::nullopt;
    }
}

/// The level of a bit, counted from the right. To the left of the value, bits are low, or undefined if its first
/// character is undefined.
Level levelAt(std::string_view value, std::size_t bit)
{
    if (bit < value.size()) {
        return levelOf(value[value.size() - 1 - bit]).value();
    }
    return levelOf(value.front()).value() == Level::Undefined ? Level::Undefined : Level::Low;
}

bool isVector(std::string_view value)
{
    return !value.empty() &&
           std::all_of(value.begin(), value.end(), [](char character) { return levelOf(character).has_value(); });
}

/// Converts a position, counted from the right, to an index in a range such as "[7:0]" or "[0:7]". Without a range, the
/// index equals the position.
std::int64_t indexIn(const std::string& range, std::size_t bit)
{
    const std::size_t colon = range.find(':');
    const std::string_view text = range;
    const auto offset = static_cast<std::int64_t>(bit);
    if (colon == std::string::npos) {
        return offset;
    }
    const auto left = static_cast<std::int64_t>(parsed(text.substr(1, colon - 1)).value_or(0) & 0xFFFFFF);
    const auto right =
        static_cast<std::int64_t>(parsed(text.substr(colon + 1, text.size() - colon - 2)).value_or(0) & 0xFFFFFF);
    return left >= right ? right + offset : right - offset;
}

std::string joined(const std::vector<std::string>& parts)
{
    std::string result;
    for (const std::string& part : parts) {
        result += (result.empty() ? "" : ".") + part;
    }
    return result;
}

} // namespace

VcdReader::VcdReader(TokenReader::Source source, std::string file)
    : fileName(std::move(file)), tokens(std::move(source))
{
    shortIdentifiers.fill(unknown);
    readHeader();
}

void VcdReader::fail(const std::string& reason) const
{
    throw CaptureError(fileName + ":" + std::to_string(tokens.line()) + ": " + reason);
}

std::string_view VcdReader::next()
{
    try {
        return tokens.next();
    } catch (const std::length_error& error) {
        fail(error.what());
    }
}

/// Returns the next token. If the file ends, fails with a message that names `item`.
std::string_view VcdReader::required(const char* item)
{
    const std::string_view token = next();
    if (token.empty()) {
        fail(std::string("truncated: the file ends within ") + item);
    }
    return token;
}

// The header.

void VcdReader::readHeader()
{
    std::vector<std::string> scopes;
    for (;;) {
        const std::string_view token = required("the header");
        if (token.front() != '$') {
            fail("expected a keyword such as $var, but found " + excerpt(token));
        }
        if (!readDeclaration(std::string(token), scopes)) {
            return;
        }
    }
}

/// Returns false after the last declaration.
bool VcdReader::readDeclaration(std::string_view keyword, std::vector<std::string>& scopes)
{
    if (keyword == "$timescale") {
        readTimescale();
    } else if (keyword == "$var") {
        readVariable(scopes);
    } else if (keyword == "$scope") {
        const std::vector<std::string> scope = words("$scope");
        scopes.push_back(scope.size() > 1 ? scope[1] : "");
    } else if (keyword == "$upscope") {
        words("$upscope");
        if (scopes.empty()) {
            fail("$upscope without $scope");
        }
        scopes.pop_back();
    } else {
        while (required("the header") != "$end") {
        }
    }
    return keyword != "$enddefinitions";
}

/// Returns the tokens up to $end. Limits their number, because a file without $end has no other limit.
std::vector<std::string> VcdReader::words(const std::string& keyword)
{
    constexpr std::size_t most = 64;
    std::vector<std::string> result;
    for (;;) {
        const std::string_view token = required("the header");
        if (token == "$end") {
            return result;
        }
        if (result.size() == most || token == "$var") {
            fail(keyword + " without $end");
        }
        result.emplace_back(token);
    }
}

void VcdReader::readTimescale()
{
    std::string text;
    for (const std::string& word : words("$timescale")) {
        text += word;
    }
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    const auto count = static_cast<std::int64_t>(parsed(text.substr(0, digits)).value_or(0));
    const auto* const unit = std::find_if(std::begin(timeUnits), std::end(timeUnits), [&](const TimeUnit& candidate) {
        return candidate.name == text.substr(digits);
    });
    if ((count != 1 && count != 10 && count != 100) || unit == std::end(timeUnits)) {
        fail("wrong timescale " + excerpt(text) + ": expected 1, 10 or 100 with s, ms, us, ns, ps or fs");
    }
    timescaleText = std::to_string(count) + " " + std::string(unit->name);
    multiplier = unit->picoseconds * count;
    divisor = unit->divisor;
}

void VcdReader::readVariable(const std::vector<std::string>& scopes)
{
    const std::vector<std::string> parts = words("$var");
    if (parts.size() < 4) {
        fail("incomplete $var: expected type, size, identifier and name");
    }
    const std::optional<std::uint64_t> width = parsed(parts[1]);
    if (!width) {
        fail("wrong size of a variable: " + excerpt(parts[1]));
    }
    const std::string& type = parts[0];
    const bool hasLevels = type != "real" && type != "realtime" && type != "string";
    std::string name = parts[3];
    std::string range;
    for (std::size_t i = 4; i < parts.size(); ++i) {
        range += parts[i];
    }
    const std::size_t bracket = name.find('[');
    if (range.empty() && bracket != std::string::npos && name.find(':', bracket) != std::string::npos) {
        range = name.substr(bracket);
        name.resize(bracket);
    }
    const std::size_t variable = declare(parts[2], *width, hasLevels);
    if (hasLevels) {
        addWires(name, range, joined(scopes), variable);
    }
}

std::size_t VcdReader::declare(const std::string& identifier, std::size_t width, bool hasLevels)
{
    const std::size_t known = indexOf(identifier);
    if (known != unknown) {
        return known;
    }
    if (identifier.size() == 1 && static_cast<unsigned char>(identifier[0]) < shortIdentifiers.size()) {
        shortIdentifiers[static_cast<unsigned char>(identifier[0])] = variables.size();
    } else {
        longIdentifiers[identifier] = variables.size();
    }
    variables.push_back({width, hasLevels});
    return variables.size() - 1;
}

void VcdReader::addWires(const std::string& name, const std::string& range, const std::string& scope,
                         std::size_t variable)
{
    const std::size_t width = variables[variable].width;
    if (width == 1) {
        allWires.push_back({name + range, scope, variable, 0});
        return;
    }
    for (std::size_t bit = 0; bit < std::min(width, mostWiresPerVariable); ++bit) {
        allWires.push_back({name + "[" + std::to_string(indexIn(range, bit)) + "]", scope, variable, bit});
    }
}

void VcdReader::connect(const VcdWire& wire, Line line)
{
    variables[wire.variable].connections.push_back({wire.bit, line});
}

// The changes.

void VcdReader::read(EdgeSink& sink)
{
    for (std::string_view token = next(); !token.empty(); token = next()) {
        readChange(token, sink);
    }
}

void VcdReader::readChange(std::string_view token, EdgeSink& sink)
{
    switch (token.front()) {
    case '#':
        return readTime(token.substr(1));
    case '$':
        return readKeyword(token);
    case 'b':
    case 'B':
        return readVector(token.substr(1), sink);
    case 'r':
    case 'R':
    case 's':
    case 'S':
        return skipValue();
    default:
        break;
    }
    const std::optional<Level> level = levelOf(token.front());
    if (!level) {
        fail("expected a time or a value, but found " + excerpt(token));
    }
    if (token.size() == 1) {
        fail(tokens.endedInToken() ? "truncated: the file ends within a value" : "a value without an identifier");
    }
    for (const Connection& connection : variableOf(token.substr(1)).connections) {
        set(connection.line, connection.bit == 0 || *level == Level::Undefined ? *level : Level::Low, sink);
    }
}

void VcdReader::readKeyword(std::string_view keyword)
{
    if (keyword == "$dumpoff") {
        isPaused = true;
        ++pauseCount;
    } else if (keyword == "$end") {
        isPaused = false;
    } else if (keyword == "$comment") {
        while (required("a comment") != "$end") {
        }
    } else if (keyword != "$dumpvars" && keyword != "$dumpall" && keyword != "$dumpon") {
        fail("unknown keyword " + excerpt(keyword));
    }
}

void VcdReader::readTime(std::string_view digits)
{
    if (tokens.endedInToken()) {
        fail("truncated: the file ends within a time");
    }
    const std::optional<std::uint64_t> value = parsed(digits);
    if (!value) {
        fail("wrong time " + excerpt(digits));
    }
    if (*value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() / multiplier)) {
        fail("time " + excerpt(digits) + " is too large");
    }
    if (*value < tick && firstTick) {
        fail("time " + std::to_string(*value) + " follows time " + std::to_string(tick));
    }
    if (!firstTick) {
        firstTick = *value;
    }
    tick = *value;
    time = timeOf(tick);
}

void VcdReader::readVector(std::string_view value, EdgeSink& sink)
{
    if (!isVector(value)) {
        fail("wrong vector " + excerpt(value));
    }
    // The value is invalid after the next token is read.
    std::array<Level, mostWiresPerVariable> bits{};
    for (std::size_t bit = 0; bit < bits.size(); ++bit) {
        bits[bit] = levelAt(value, bit);
    }
    for (const Connection& connection : variableOf(required("a value")).connections) {
        set(connection.line, bits[connection.bit], sink);
    }
}

/// Skips a real number or a string.
void VcdReader::skipValue()
{
    (void)variableOf(required("a value"));
}

std::size_t VcdReader::indexOf(std::string_view identifier) const
{
    if (identifier.size() == 1) {
        const auto code = static_cast<unsigned char>(identifier.front());
        if (code < shortIdentifiers.size()) {
            return shortIdentifiers[code];
        }
    }
    const auto found = longIdentifiers.find(std::string(identifier));
    return found == longIdentifiers.end() ? unknown : found->second;
}

const VcdReader::Variable& VcdReader::variableOf(std::string_view identifier) const
{
    const std::size_t index = indexOf(identifier);
    if (index == unknown) {
        fail((tokens.endedInToken() ? "truncated or unknown identifier " : "unknown identifier ") +
             excerpt(identifier));
    }
    return variables[index];
}

void VcdReader::set(Line line, Level level, EdgeSink& sink)
{
    std::optional<Level>& current = levels[line];
    if (isPaused || current == level) {
        return;
    }
    current = level;
    sink.take({time, line, level});
}

CaptureTime VcdReader::timeOf(std::uint64_t ticks) const
{
    return CaptureTime(static_cast<std::int64_t>(ticks) * multiplier / divisor);
}

} // namespace sim
