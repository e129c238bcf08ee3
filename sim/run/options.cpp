// Parses the options, and prints the help text.
#include "sim/run/options.h"

#include "sim/run/scenarios.h"

#include <optional>
#include <sstream>

namespace sim {

namespace {

struct Option {
    std::string_view name;
    void (*assign)(Options& options, const std::string& value);
};

constexpr Option optionsWithValue[] = {
    {"--updater", [](Options& options, const std::string& value) { options.updater = value; }},
    {"--preload", [](Options& options, const std::string& value) { options.preload = value; }},
    {"--scripts", [](Options& options, const std::string& value) { options.scripts = value; }},
    {"--frames", [](Options& options, const std::string& value) { options.frames = value; }},
    {"--play", [](Options& options, const std::string& value) { options.scenario = value; }},
};

const Option& optionNamed(std::string_view name)
{
    for (const Option& option : optionsWithValue) {
        if (option.name == name) {
            return option;
        }
    }
    throw UsageError("unknown " + std::string(name.starts_with('-') ? "option " : "argument ").append(name));
}

void check(const Options& options)
{
    if (!options.scenario.empty() && findScenario(options.scenario) == nullptr) {
        throw UsageError("unknown scenario " + options.scenario);
    }
}

} // namespace

Options parseOptions(std::span<const std::string> arguments, const Options& defaults)
{
    Options options = defaults;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (argument == "--help" || argument == "-h") {
            options.wantsHelp = true;
            return options;
        }
        const std::size_t equals = argument.find('=');
        const std::string_view name = std::string_view(argument).substr(0, equals);
        const Option& option = optionNamed(name);
        const bool isJoined = equals != std::string::npos;
        if (!isJoined && ++i == arguments.size()) {
            throw UsageError(argument + " needs a value");
        }
        const std::string value = isJoined ? argument.substr(equals + 1) : arguments[i];
        if (value.empty()) {
            throw UsageError(std::string(option.name) + " needs a value");
        }
        option.assign(options, value);
    }
    check(options);
    return options;
}

std::string helpText()
{
    std::ostringstream text;
    text
        << "usage: tonecrate-simulator [--play NAME] [--frames DIR] [--updater PATH] [--preload PATH] [--scripts DIR]\n"
           "\n"
           "Runs the updater on a simulated device. In a terminal, shows the screen and accepts keys for the knob, "
           "the\n"
           "button and the drive. Without a terminal, or with --play, runs a scenario and checks its result.\n"
           "\n"
           "  --frames DIR    save every screen as a numbered PNG file\n"
           "  --updater PATH  the updater to run\n"
           "  --preload PATH  the library that simulates the device's hardware\n"
           "  --scripts DIR   the folder with the scripts that create and verify devices and drives\n"
           "  --play NAME     run a scenario:\n";
    for (const Play& scenario : allScenarios()) {
        text << "    " << scenario.name << std::string(16 - scenario.name.size(), ' ') << scenario.summary << '\n';
    }
    text << "\n"
            "Exit status: 0 success, 1 failure, 2 usage error.\n";
    return text.str();
}

} // namespace sim
