// Parses and prints statements with a table of their forms.
#include "sim/session/statement.h"

#include "sim/protocol/injected_faults.h"
#include "sim/session/drives.h"

#include <algorithm>
#include <charconv>
#include <span>

namespace sim {

namespace {

/// Words in capitals are arguments; the table `kinds` describes them.
struct Form {
    std::string_view words;
    Verb verb;
};

constexpr Form forms[] = {
    {"device installed VERSION", Verb::DeviceInstalled},
    {"device memory KIB", Verb::DeviceMemory},
    {"device worn KIB", Verb::DeviceWorn},
    {"fault FAULT", Verb::Fault},
    {"bus slow MILLISECONDS ms", Verb::BusSlow},
    {"turn STEPS", Verb::Turn},
    {"press", Verb::Press},
    {"release", Verb::Release},
    {"plug DRIVE", Verb::Plug},
    {"plug file TEXT", Verb::PlugFile},
    {"unplug", Verb::Unplug},
    {"power off", Verb::PowerOff},
    {"power on", Verb::PowerOn},
    {"fault on FAULT", Verb::FaultOn},
    {"fault off FAULT", Verb::FaultOff},
    {"click", Verb::Click},
    {"hold COUNT", Verb::Hold},
    {"wait COUNT", Verb::Wait},
    {"await screen SCREEN", Verb::AwaitScreen},
    {"await output TEXT", Verb::AwaitOutput},
    {"await error TEXT", Verb::AwaitError},
    {"await script COMMAND", Verb::AwaitScript},
    {"await frames COUNT", Verb::AwaitFrames},
    {"expect screen SCREEN", Verb::ExpectScreen},
    {"expect no frame for COUNT", Verb::ExpectNoFrame},
    {"expect output TEXT", Verb::ExpectOutput},
    {"expect error TEXT", Verb::ExpectError},
    {"expect script none", Verb::ExpectNoScript},
    {"expect script COMMAND", Verb::ExpectScript},
    {"expect memory firmware VERSION presets PRESETS", Verb::ExpectMemory},
    {"expect memory unchanged", Verb::ExpectMemoryUnchanged},
    {"expect led bar LEVEL", Verb::ExpectLedBar},
    {"expect led rgb LEVEL LEVEL LEVEL", Verb::ExpectLedRgb},
    {"expect violation none", Verb::ExpectNoViolation},
    {"expect violation TEXT", Verb::ExpectViolation},
    {"expect program running", Verb::ExpectRunning},
    {"expect program ended", Verb::ExpectEnded},
    {"expect program ended by signal SIGNAL", Verb::ExpectEndedBySignal},
};

struct Token {
    std::string text;
    bool isQuoted = false;
};

/// Returns the canonical form of an argument, or nothing if the argument is invalid.
using Canonical = std::optional<std::string> (*)(const Token& token);

std::optional<std::int64_t> numberIn(const std::string& text, std::int64_t lowest, std::int64_t highest)
{
    const bool hasPlus = text.starts_with('+') && !text.starts_with("+-");
    const char* const end = text.data() + text.size();
    std::int64_t number = 0;
    const auto [rest, error] = std::from_chars(text.data() + (hasPlus ? 1 : 0), end, number);
    const bool isValid = error == std::errc() && rest == end && number >= lowest && number <= highest;
    return isValid ? std::optional(number) : std::nullopt;
}

template <std::int64_t lowest, std::int64_t highest>
std::optional<std::string> number(const Token& token)
{
    const auto value = numberIn(token.text, lowest, highest);
    return value && !token.isQuoted ? std::optional(std::to_string(*value)) : std::nullopt;
}

std::optional<std::string> steps(const Token& token)
{
    const auto text = number<-100, 100>(token);
    if (!text || *text == "0") {
        return std::nullopt;
    }
    return text->starts_with('-') ? text : "+" + *text;
}

std::optional<std::string> accepted(const Token& token, bool isValid)
{
    return isValid && !token.isQuoted ? std::optional(token.text) : std::nullopt;
}

bool consistsOf(const std::string& text, std::string_view characters)
{
    constexpr std::size_t longest = 32;
    return text.size() <= longest && text.find_first_not_of(characters) == std::string::npos;
}

constexpr std::string_view lowerCase = "abcdefghijklmnopqrstuvwxyz0123456789-";
constexpr std::string_view versionCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789.+-";
constexpr std::string_view commandCharacters = "abcdefghijklmnopqrstuvwxyz0123456789./ ";

struct Kind {
    std::string_view name;
    std::string_view description;
    Canonical canonical;
    /// Whether the argument extends to the end of the line.
    bool isRest = false;
};

constexpr Kind kinds[] = {
    {"VERSION", R"(a version or "none")",
     [](const Token& t) { return accepted(t, consistsOf(t.text, versionCharacters)); }},
    {"KIB", "a number of KiB from 1 to 1048576", number<1, 1048576>},
    {"FAULT", "the name of a fault", [](const Token& t) { return accepted(t, fault::isKnown(t.text)); }, true},
    {"MILLISECONDS", "a number from 1 to 10000", number<1, 10000>},
    {"STEPS", "a number of steps from -100 to 100, except 0", steps},
    {"DRIVE", "the name of a drive", [](const Token& t) { return accepted(t, isDriveName(t.text)); }},
    {"COUNT", "a number from 1 to 100000000", number<1, 100'000'000>},
    {"SCREEN", "the name of a screen", [](const Token& t) { return accepted(t, consistsOf(t.text, lowerCase)); }},
    {"TEXT", "a text in quotes",
     [](const Token& t) { return t.isQuoted && !t.text.empty() ? std::optional(t.text) : std::nullopt; }},
    {"COMMAND", "the name of a script",
     [](const Token& t) { return accepted(t, consistsOf(t.text, commandCharacters)); }, true},
    {"PRESETS", R"("kept" or "lost")",
     [](const Token& t) { return accepted(t, t.text == "kept" || t.text == "lost"); }},
    {"LEVEL", "a number from 0 to 255", number<0, 255>},
    {"SIGNAL", "a signal from 1 to 64", number<1, 64>},
};

const Kind* kindNamed(std::string_view word)
{
    const auto* found = std::find_if(std::begin(kinds), std::end(kinds), [&](const Kind& k) { return k.name == word; });
    return found == std::end(kinds) ? nullptr : found;
}

std::vector<std::string_view> wordsOf(std::string_view words)
{
    std::vector<std::string_view> result;
    for (std::size_t end = words.find(' '); end != std::string_view::npos; end = words.find(' ')) {
        result.push_back(words.substr(0, end));
        words.remove_prefix(end + 1);
    }
    result.push_back(words);
    return result;
}

/// Splits a line into words and quoted texts.
class Tokens {
public:
    explicit Tokens(std::string_view line) : rest(line)
    {
        for (skipBlanks(); !rest.empty() && rest.front() != '#'; skipBlanks()) {
            list.push_back(rest.front() == '"' ? takeQuoted() : takeWord());
        }
    }

    std::vector<Token> list;

private:
    static constexpr std::string_view blanks = " \t\r";

    void skipBlanks() { rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size())); }

    Token takeWord()
    {
        const std::size_t end = std::min(rest.find_first_of(" \t\r\"#"), rest.size());
        Token token = {std::string(rest.substr(0, end))};
        rest.remove_prefix(end);
        return token;
    }

    Token takeQuoted()
    {
        Token token = {"", true};
        for (std::size_t i = 1; i < rest.size(); ++i) {
            if (rest[i] == '"') {
                rest.remove_prefix(i + 1);
                return token;
            }
            const bool isEscaped = rest[i] == '\\' && i + 1 < rest.size();
            const char character = isEscaped ? rest[++i] : rest[i];
            token.text += isEscaped && character == 'n' ? '\n' : character;
        }
        throw SyntaxError("expected a closing quote, but the line ends");
    }

    std::string_view rest;
};

/// How well a statement matches a form.
struct Match {
    /// The number of tokens that match the form.
    std::size_t matched = 0;
    /// What the form requires next; empty if the statement matches.
    std::string expected{};
    std::vector<std::string> arguments{};
};

Token joined(std::span<const Token> tokens)
{
    Token result = tokens.front();
    for (const Token& token : tokens.subspan(1)) {
        result.text += " " + token.text;
        result.isQuoted = result.isQuoted || token.isQuoted;
    }
    return result;
}

std::string descriptionOf(std::string_view word)
{
    const Kind* kind = kindNamed(word);
    return std::string(kind == nullptr ? "\"" + std::string(word) + "\"" : kind->description);
}

Match match(const Form& form, std::span<const Token> tokens)
{
    Match result;
    for (const std::string_view word : wordsOf(form.words)) {
        const Kind* kind = kindNamed(word);
        if (tokens.size() == result.matched) {
            result.expected = descriptionOf(word);
            return result;
        }
        const bool isRest = kind != nullptr && kind->isRest;
        const Token token = isRest ? joined(tokens.subspan(result.matched)) : tokens[result.matched];
        if (kind != nullptr) {
            auto argument = kind->canonical(token);
            if (!argument) {
                result.expected = descriptionOf(word);
                return result;
            }
            result.arguments.push_back(*std::move(argument));
        } else if (token.isQuoted || token.text != word) {
            result.expected = descriptionOf(word);
            return result;
        }
        result.matched = isRest ? tokens.size() : result.matched + 1;
    }
    result.expected = result.matched < tokens.size() ? "the end of the line" : "";
    return result;
}

std::string alternatives(const std::vector<std::string>& expected)
{
    std::string text = expected.front();
    for (std::size_t i = 1; i < expected.size(); ++i) {
        text += (i + 1 < expected.size() ? ", " : " or ") + expected[i];
    }
    return text;
}

SyntaxError errorAt(std::span<const Token> tokens, std::size_t index, const std::vector<std::string>& expected)
{
    const std::string found = index < tokens.size() ? "found " + quote(tokens[index].text) : "the line ends";
    return SyntaxError{"expected " + alternatives(expected) + ", but " + found};
}

Statement parseForm(std::span<const Token> tokens)
{
    std::size_t furthest = 0;
    std::vector<std::string> expected;
    for (const Form& form : forms) {
        Match result = match(form, tokens);
        if (result.expected.empty()) {
            return {form.verb, std::move(result.arguments)};
        }
        if (result.matched > furthest) {
            furthest = result.matched;
            expected.clear();
        }
        if (result.matched == furthest &&
            std::find(expected.begin(), expected.end(), result.expected) == expected.end()) {
            expected.push_back(std::move(result.expected));
        }
    }
    throw errorAt(tokens, furthest, expected);
}

} // namespace

std::string quote(const std::string& text)
{
    std::string result = "\"";
    for (const char character : text) {
        if (character == '\n') {
            result += "\\n";
            continue;
        }
        result += character == '"' || character == '\\' ? "\\" : "";
        result += character;
    }
    return result + "\"";
}

bool isSetUp(Verb verb)
{
    return verb <= Verb::BusSlow;
}

bool isInput(Verb verb)
{
    return verb >= Verb::Turn && verb <= Verb::FaultOff;
}

bool isBlank(std::string_view line)
{
    const std::size_t first = line.find_first_not_of(" \t\r");
    return first == std::string_view::npos || line[first] == '#';
}

Statement parseStatement(std::string_view line)
{
    const Tokens tokens(line);
    std::span<const Token> rest = tokens.list;
    if (rest.empty() || rest.front().text != "at" || rest.front().isQuoted) {
        return parseForm(rest);
    }
    const auto iteration = rest.size() > 1 ? number<1, 1'000'000'000'000>(rest[1]) : std::nullopt;
    if (!iteration) {
        throw errorAt(rest, 1, {"an iteration from 1 to 1000000000000"});
    }
    Statement statement = parseForm(rest.subspan(2));
    if (isSetUp(statement.verb)) {
        throw SyntaxError("expected an event after \"at\", but found a part of the set-up");
    }
    statement.at = std::stoull(*iteration);
    return statement;
}

std::string print(const Statement& statement)
{
    const auto* form =
        std::find_if(std::begin(forms), std::end(forms), [&](const Form& f) { return f.verb == statement.verb; });
    std::string text = statement.at ? "at " + std::to_string(*statement.at) : "";
    std::size_t next = 0;
    for (const std::string_view word : wordsOf(form->words)) {
        text += text.empty() ? "" : " ";
        if (kindNamed(word) == nullptr) {
            text += word;
        } else {
            const std::string& argument = statement.text(next++);
            text += word == "TEXT" ? quote(argument) : argument;
        }
    }
    return text;
}

} // namespace sim
