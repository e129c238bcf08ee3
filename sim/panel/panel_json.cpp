#include "sim/panel/panel_json.h"

#include "sim/protocol/injected_faults.h"
#include "sim/session/drives.h"

#include <nlohmann/json.hpp>
#include <string_view>

namespace sim {

using nlohmann::json;

namespace {

struct DeviceChoice {
    const char* title;
    /// Statements of the scenario language.
    const char* setup;
};

constexpr DeviceChoice deviceChoices[] = {
    {"Firmware 1.4.2 installed", "device installed 1.4.2"},
    {"No firmware installed", "device installed none"},
    {"Memory too small: formatting fails", "device memory 400"},
    {"Worn memory: installing fails", "device worn 100"},
    {"Slow display bus: 120 ms per frame", "bus slow 120 ms"},
    {"No encoder", "fault absent encoder"},
    {"No LED controller", "fault absent i2c"},
};

struct FaultTitle {
    std::string_view name;
    std::string_view title;
    bool isOnlyAtStart = false;
};

constexpr FaultTitle faultTitles[] = {
    {fault::failingDisplay, "Display transfers fail"},
    {fault::shortTransfers, "Display transfers end half-way"},
    {fault::hangingDisplay, "Display transfers take 1 s"},
    {fault::failingLeds, "LED transfers fail"},
    {fault::failingEncoder, "Reading the encoder fails"},
    {fault::endedEncoder, "The encoder reports end-of-file"},
    {fault::noProcesses, "No script can be started"},
    {fault::forbiddenDrive, "The drive cannot be checked"},
    {fault::absentMemory, "No /dev/mem", true},
    {fault::mappingFails, "Mapping the GPIO registers fails", true},
    {fault::absentDisplay, "No display bus", true},
    {fault::absentLeds, "No LED controller", true},
    {fault::absentEncoder, "No encoder", true},
    {fault::refusedMode, "The bus rejects the SPI mode", true},
    {fault::refusedBits, "The bus rejects the word size", true},
    {fault::refusedSpeed, "The bus rejects the speed", true},
};
static_assert(std::size(faultTitles) == std::size(fault::all));

constexpr std::array<const char*, 6> kindNames = {"output", "error", "violation", "event", "event", "error"};

std::string lineOf(const json& value)
{
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

json orNull(const std::string& text)
{
    return text.empty() ? json() : json(text);
}

json displayJson(const DisplayRegisters& display)
{
    return {{"on", display.isOn},
            {"sleep", display.sleeps},
            {"inverse", display.isInverse},
            {"contrast", static_cast<double>(display.contrast) / DisplayRegisters::highestContrast}};
}

/// Six bits for each character.
void appendBase64(std::string& text, std::uint32_t threeBytes)
{
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (int shift = 18; shift >= 0; shift -= 6) {
        text += digits[threeBytes >> shift & 0x3FU];
    }
}

} // namespace

std::string stateJson(const PanelState& state)
{
    const Observation& seen = state.observation;
    return lineOf({{"iteration", seen.iteration},
                   {"frames", seen.frames},
                   {"running", state.isRunning},
                   {"speed", state.speed},
                   {"pace", {{"iterations", state.pace.iterations()}, {"late", state.pace.late()}}},
                   {"power", seen.isOn},
                   {"drive", orNull(seen.drive)},
                   {"button", seen.isButtonDown},
                   {"script", orNull(seen.script)},
                   {"screen", orNull(state.screenName)},
                   {"leds", seen.leds},
                   {"display", displayJson(seen.display)},
                   {"faults", seen.faults},
                   {"neededFiles", state.neededFiles},
                   {"ended", seen.end ? json(*seen.end) : json()}});
}

std::string eventJson(const Event& event)
{
    return lineOf({{"iteration", event.iteration},
                   {"kind", kindNames.at(static_cast<std::size_t>(event.kind))},
                   {"text", event.text}});
}

std::string choicesJson()
{
    json choices = {{"drives", json::array()}, {"devices", json::array()}, {"faults", json::array()}};
    for (const DriveKind& drive : driveKinds) {
        choices["drives"].push_back({{"name", drive.name}, {"title", drive.title}});
    }
    for (const DeviceChoice& device : deviceChoices) {
        choices["devices"].push_back({{"title", device.title}, {"setup", device.setup}});
    }
    for (const FaultTitle& entry : faultTitles) {
        choices["faults"].push_back(
            {{"name", entry.name}, {"title", entry.title}, {"when", entry.isOnlyAtStart ? "start" : "any"}});
    }
    return lineOf(choices);
}

/// Four characters encode three bytes, which are twelve pixels. The last group of a screen has only four pixels.
std::string frameText(const Screen& screen)
{
    constexpr std::size_t pixelsPerGroup = 12;
    std::string text;
    for (std::size_t first = 0; first < screen.size(); first += pixelsPerGroup) {
        std::uint32_t group = 0;
        for (std::size_t i = first; i < first + pixelsPerGroup; ++i) {
            group = group << 2 | (i < screen.size() ? screen[i] & 3U : 0U);
        }
        appendBase64(text, group);
    }
    // 10240 bytes are 3413 groups of three bytes, and a single byte, which takes two characters.
    constexpr std::size_t unusedCharacters = 2;
    static_assert(Screen().size() % pixelsPerGroup == 4);
    return text.replace(text.size() - unusedCharacters, unusedCharacters, "==");
}

} // namespace sim
