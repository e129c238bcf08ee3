// Parses the options, and composes the help text.
#include "sim/run/options.h"

#include "sim/session/scenario.h"
#include "sim/wires/recording_file.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <set>
#include <sstream>

namespace sim {

namespace fs = std::filesystem;

namespace {

constexpr const char* scenarioExtension = ".scenario";

void play(Options& options, const std::string& name)
{
    options.scenario = scenarioFile(options.scenarios, name);
    if (name.find('/') != std::string::npos || !fs::is_regular_file(options.scenario)) {
        throw UsageError("unknown scenario " + name);
    }
}

/// The size in bytes; nothing if `text` is not a size. The units K, M and G are powers of 1024.
std::optional<std::uint64_t> sizeIn(const std::string& text)
{
    constexpr std::string_view units = "KMG";
    constexpr unsigned bitsPerUnit = 10;
    const char* const last = text.data() + text.size();
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), last, number);
    const std::size_t unit = end == last ? std::string_view::npos : units.find(*end);
    const bool hasUnit = unit != std::string_view::npos && end + 1 == last;
    const unsigned shift = hasUnit ? bitsPerUnit * static_cast<unsigned>(unit + 1) : 0;
    if (error != std::errc() || (end != last && !hasUnit) ||
        number > std::numeric_limits<std::uint64_t>::max() >> shift) {
        return std::nullopt;
    }
    return number << shift;
}

void limitWires(Options& options, const std::string& value)
{
    const auto size = sizeIn(value);
    if (!size || (*size != 0 && *size < RecordingFile::smallestLimit)) {
        throw UsageError("--wires-limit must be a size such as 500M or 2G, at least 1K, or 0 for no limit, not \"" +
                         value + '"');
    }
    options.wiresLimit = *size == 0 ? RecordingState::noLimit : *size;
}

struct Option {
    std::string_view name;
    void (*assign)(Options& options, const std::string& value);
};

constexpr Option optionsWithValue[] = {
    {"--updater", [](Options& options, const std::string& value) { options.updater = value; }},
    {"--preload", [](Options& options, const std::string& value) { options.preload = value; }},
    {"--scripts", [](Options& options, const std::string& value) { options.scripts = value; }},
    {"--frames", [](Options& options, const std::string& value) { options.frames = value; }},
    {"--movie", [](Options& options, const std::string& value) { options.movie = value; }},
    {"--wires", [](Options& options, const std::string& value) { options.wires = value; }},
    {"--wires-limit", limitWires},
    {"--record", [](Options& options, const std::string& value) { options.recording = value; }},
    {"--scenario", [](Options& options, const std::string& value) { options.scenario = value; }},
    {"--play", play},
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

std::set<fs::path> filesIn(const fs::path& scenarios)
{
    std::set<fs::path> files;
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(scenarios, ignored)) {
        if (entry.path().extension() == scenarioExtension) {
            files.insert(entry.path());
        }
    }
    return files;
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
    return options;
}

fs::path scenarioFile(const fs::path& scenarios, const std::string& name)
{
    return scenarios / (name + scenarioExtension);
}

std::string helpText(const fs::path& scenarios)
{
    std::ostringstream text;
    text << "usage: tonecrate-simulator [--scenario FILE | --play NAME] [--record FILE] [--movie FILE]\n"
            "                           [--frames DIR] [--wires FILE] [--wires-limit SIZE]\n"
            "                           [--updater PATH] [--preload PATH] [--scripts DIR] [--help]\n"
            "\n"
            "Runs the updater on a simulated device. In a terminal, shows the screen and accepts keys for the knob, "
            "the\n"
            "button and the drive. Without a terminal, or with --scenario or --play, plays a scenario and checks its\n"
            "expectations.\n"
            "\n"
            "  --scenario FILE  play a scenario; docs/scenarios.md describes the format\n"
            "  --record FILE    record the session as a scenario\n"
            "  --movie FILE     write the screens, with their times, as an animated PNG file\n"
            "  --frames DIR     save every distinct screen as a numbered PNG file\n"
            "  --wires FILE     record the lines of the display, the LEDs, the knob and the button as a VCD file for\n"
            "                   GTKWave, PulseView and sigrok-cli; docs/wires.md describes it\n"
            "  --wires-limit SIZE\n"
            "                   end the VCD file at SIZE bytes, such as 500M (default: 1G; 0 for no limit)\n"
            "  --updater PATH   the updater to run\n"
            "  --preload PATH   the library that simulates the device's hardware\n"
            "  --scripts DIR    the folder with the scripts that create devices and drives\n"
            "  --play NAME      play a scenario of the folder scenarios/ (default without a terminal: update):\n";
    for (const fs::path& file : filesIn(scenarios)) {
        constexpr std::size_t width = 28;
        const std::string name = file.stem().string();
        text << "    " << name << std::string(name.size() < width ? width - name.size() : 1, ' ')
             << readScenario(file).summary << '\n';
    }
    text << "\n"
            "Exit status: 0 success, 1 failure, 2 usage error.\n";
    return text.str();
}

} // namespace sim
