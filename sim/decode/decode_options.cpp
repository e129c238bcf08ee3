// Parses the options, and contains the help text.
#include "sim/decode/decode_options.h"

#include <charconv>
#include <deque>

namespace sim {

namespace fs = std::filesystem;

namespace {

using Arguments = std::deque<std::string>;

std::string takeValue(Arguments& arguments, const std::string& option)
{
    if (arguments.empty() || arguments.front().empty()) {
        throw DecodeUsageError(option + " needs a value");
    }
    std::string value = arguments.front();
    arguments.pop_front();
    return value;
}

void setOutput(DecodeOptions& options, Arguments& arguments)
{
    options.output = takeValue(arguments, "--output");
}

void setChannels(DecodeOptions& options, Arguments& arguments)
{
    try {
        options.channels = parseChannels(takeValue(arguments, "--channels"));
    } catch (const std::invalid_argument& error) {
        throw DecodeUsageError(std::string("--channels: ") + error.what());
    }
}

void setGlitch(DecodeOptions& options, Arguments& arguments)
{
    const std::string text = takeValue(arguments, "--glitch");
    constexpr unsigned longest = 1'000'000;
    unsigned nanoseconds = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), nanoseconds);
    if (error != std::errc() || rest != text.data() + text.size() || nanoseconds > longest) {
        throw DecodeUsageError("--glitch accepts only a number of nanoseconds (0 to " + std::to_string(longest) + ")");
    }
    options.shortestPulse = std::chrono::nanoseconds(nanoseconds);
}

void addExpectation(DecodeOptions& options, Arguments& arguments)
{
    const std::string what = takeValue(arguments, "--expect");
    if (what == "initialisation") {
        options.expectsInitialisation = true;
    } else if (what == "screen") {
        options.expectedScreens.push_back(takeValue(arguments, "--expect screen"));
    } else {
        throw DecodeUsageError(R"(--expect accepts only "initialisation" or "screen NAME")");
    }
}

struct Option {
    std::string_view name;
    void (*assign)(DecodeOptions& options, Arguments& arguments);
};

constexpr Option optionsWithValue[] = {
    {"--channels", setChannels},
    {"--output", setOutput},
    {"--glitch", setGlitch},
    {"--expect", addExpectation},
};

const Option& optionNamed(std::string_view name)
{
    for (const Option& option : optionsWithValue) {
        if (option.name == name) {
            return option;
        }
    }
    throw DecodeUsageError("unknown option " + std::string(name));
}

/// NAME-decoded in the current folder, where NAME is the name of the capture without its extension, or "capture" for
/// standard input.
fs::path defaultOutput(const fs::path& capture)
{
    const std::string name = capture == "-" ? "" : capture.stem().string();
    return (name.empty() ? "capture" : name) + "-decoded";
}

void takeOption(DecodeOptions& options, const std::string& argument, Arguments& arguments)
{
    const std::size_t equals = argument.find('=');
    const Option& option = optionNamed(argument.substr(0, equals));
    if (equals != std::string::npos) {
        arguments.push_front(argument.substr(equals + 1));
    }
    option.assign(options, arguments);
}

} // namespace

DecodeOptions parseDecodeOptions(std::span<const std::string> arguments)
{
    DecodeOptions options;
    Arguments rest(arguments.begin(), arguments.end());
    while (!rest.empty()) {
        const std::string argument = rest.front();
        rest.pop_front();
        if (argument == "--help" || argument == "-h") {
            options.wantsHelp = true;
            return options;
        }
        if (argument.starts_with('-') && argument != "-") {
            takeOption(options, argument, rest);
        } else if (argument.empty() || !options.capture.empty()) {
            throw DecodeUsageError("unexpected argument \"" + argument + "\"");
        } else {
            options.capture = argument;
        }
    }
    if (options.capture.empty()) {
        throw DecodeUsageError("the capture is missing");
    }
    if (options.output.empty()) {
        options.output = defaultOutput(options.capture);
    }
    return options;
}

std::string decodeHelpText()
{
    return "usage: tonecrate-decode CAPTURE [--channels LINE=CHANNEL,...] [--output FOLDER] [--glitch NS]\n"
           "                        [--expect initialisation] [--expect screen NAME]...\n"
           "\n"
           "Decodes what a logic analyser recorded on the wires of the device, with the simulator's models of the\n"
           "display and the LED controller. Prints a report, and writes it to a folder with a log and every distinct\n"
           "screen.\n"
           "\n"
           "CAPTURE is a VCD file, any other file that sigrok-cli can read, or - for VCD on standard input.\n"
           "\n"
           "  --channels LIST          the channels of the lines, such as clk=D0,mosi=D1; by default, a line has the\n"
           "                           channel with its name. The lines are cs, clk, mosi, dc, reset, scl, sda,\n"
           "                           button, encoder_a and encoder_b. A capture needs clk, or scl and sda;\n"
           "                           any other line may be missing.\n"
           "  --output FOLDER          the folder for the results (default: in the current folder, NAME-decoded for\n"
           "                           NAME.vcd, capture-decoded for -); replaced only if it contains nothing but\n"
           "                           results\n"
           "  --glitch NS              ignore pulses shorter than NS nanoseconds (default: 15)\n"
           "  --expect initialisation  require that the display is initialised correctly\n"
           "  --expect screen NAME     require a golden screen, such as menu or done; may be repeated\n"
           "\n"
           "Exit status: 0 if the capture was decoded to its end, everything expected was found and nothing was\n"
           "violated; 2 for a usage error; 1 otherwise.\n";
}

} // namespace sim
