// Parses and prints scenarios.
#include "sim/session/scenario.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

namespace sim {

void SessionSetup::add(const Statement& statement)
{
    switch (statement.verb) {
    case Verb::DeviceInstalled:
        installedVersion = statement.text() == "none" ? "" : statement.text();
        return;
    case Verb::DeviceMemory:
        memoryKib = static_cast<int>(statement.number());
        return;
    case Verb::DeviceWorn:
        usableKib = static_cast<int>(statement.number());
        return;
    case Verb::Fault:
        faults.insert(statement.text());
        return;
    case Verb::BusSlow:
        frameMilliseconds = static_cast<int>(statement.number());
        return;
    default:
        throw std::logic_error("not a part of a set-up: " + print(statement));
    }
}

std::vector<Statement> SessionSetup::statements() const
{
    const SessionSetup standard;
    std::vector<Statement> result;
    if (installedVersion != standard.installedVersion) {
        result.push_back({Verb::DeviceInstalled, {installedVersion.empty() ? "none" : installedVersion}});
    }
    if (memoryKib != standard.memoryKib) {
        result.push_back({Verb::DeviceMemory, {std::to_string(memoryKib)}});
    }
    if (usableKib != standard.usableKib) {
        result.push_back({Verb::DeviceWorn, {std::to_string(usableKib)}});
    }
    for (const std::string& name : faults) {
        result.push_back({Verb::Fault, {name}});
    }
    if (frameMilliseconds != standard.frameMilliseconds) {
        result.push_back({Verb::BusSlow, {std::to_string(frameMilliseconds)}});
    }
    return result;
}

namespace {

void addLine(Scenario& scenario, const std::string& line, std::size_t number)
{
    const Statement statement = parseStatement(line);
    if (!isSetUp(statement.verb)) {
        scenario.lines.push_back({statement, number});
    } else if (scenario.lines.empty()) {
        scenario.setup.add(statement);
    } else {
        throw SyntaxError("expected an event, but found a part of the set-up after the first event");
    }
}

std::string withoutHash(const std::string& comment)
{
    const std::size_t start = comment.find_first_not_of("# \t\r");
    const std::size_t last = comment.find_last_not_of(" \t\r");
    return start == std::string::npos ? std::string() : comment.substr(start, last + 1 - start);
}

} // namespace

Scenario parseScenario(std::string_view text, const std::string& name)
{
    Scenario scenario;
    std::istringstream stream{std::string(text)};
    std::size_t number = 0;
    for (std::string line; std::getline(stream, line);) {
        ++number;
        if (isBlank(line)) {
            scenario.summary = scenario.summary.empty() ? withoutHash(line) : scenario.summary;
            continue;
        }
        try {
            addLine(scenario, line, number);
        } catch (const SyntaxError& error) {
            throw SyntaxError(name + ":" + std::to_string(number) + ": " + error.what());
        }
    }
    return scenario;
}

Scenario readScenario(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    const bool isFolder = std::filesystem::is_directory(file);
    if (!stream || isFolder) {
        throw std::runtime_error("cannot read " + file.string() + ": " + std::strerror(isFolder ? EISDIR : errno));
    }
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    Scenario scenario = parseScenario(text, file.string());
    rebase(scenario, file.parent_path(), "");
    return scenario;
}

void writeScenario(Scenario scenario, const std::filesystem::path& file)
{
    rebase(scenario, "", file.parent_path());
    if (!(std::ofstream(file, std::ios::binary) << print(scenario)).flush()) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

void rebase(Scenario& scenario, const std::filesystem::path& from, const std::filesystem::path& to)
{
    const std::filesystem::path here = std::filesystem::current_path();
    for (Scenario::Line& line : scenario.lines) {
        if (line.statement.verb == Verb::PlugFile && std::filesystem::path(line.statement.text()).is_relative()) {
            line.statement.arguments = {std::filesystem::proximate(here / from / line.statement.text(), here / to)};
        }
    }
}

std::string print(const Scenario& scenario)
{
    std::string text = scenario.summary.empty() ? "" : "# " + scenario.summary + "\n";
    for (const Statement& statement : scenario.setup.statements()) {
        text += print(statement) + "\n";
    }
    for (const Scenario::Line& line : scenario.lines) {
        text += print(line.statement) + "\n";
    }
    return text;
}

} // namespace sim
