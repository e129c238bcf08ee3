// Parses lists of channels, and finds wires by name.
#include "sim/decode/channels.h"

#include "sim/decode/capture_error.h"

#include <algorithm>
#include <stdexcept>

namespace sim {

namespace {

std::string lowerCase(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return result;
}

std::optional<Line> lineNamed(std::string_view name)
{
    for (std::size_t i = 0; i < lineCount; ++i) {
        if (lineNames[i] == name) {
            return static_cast<Line>(i);
        }
    }
    return std::nullopt;
}

std::string allLineNames()
{
    std::string names;
    for (const std::string_view name : lineNames) {
        names += (names.empty() ? "" : ", ") + std::string(name);
    }
    return names;
}

const VcdWire* wireNamed(std::span<const VcdWire> wires, const std::string& name)
{
    const std::string wanted = lowerCase(name);
    const auto found = std::find_if(wires.begin(), wires.end(), [&](const VcdWire& wire) {
        const std::string plain = lowerCase(wire.name);
        return plain == wanted || lowerCase(wire.scope) + "." + plain == wanted;
    });
    return found == wires.end() ? nullptr : &*found;
}

/// Lists at most 16 channels, for a message.
std::string channelsText(std::span<const VcdWire> wires)
{
    if (wires.empty()) {
        return "the file has no channels";
    }
    constexpr std::size_t most = 16;
    std::string names;
    for (const VcdWire& wire : wires.first(std::min(wires.size(), most))) {
        names += (names.empty() ? "" : ", ") + wire.name;
    }
    return "the channels are " + names + (wires.size() > most ? ", ..." : "");
}

void requireDistinctWires(const PerLine<const VcdWire*>& channels, const std::string& file)
{
    for (std::size_t i = 0; i < lineCount; ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            const VcdWire* wire = channels[static_cast<Line>(i)];
            if (wire != nullptr && wire == channels[static_cast<Line>(j)]) {
                throw CaptureError(file + ": " + std::string(lineNames[j]) + " and " + std::string(lineNames[i]) +
                                   " have the same channel " + wire->name);
            }
        }
    }
}

} // namespace

ChannelMap parseChannels(std::string_view list)
{
    ChannelMap channels;
    while (!list.empty()) {
        const std::size_t comma = std::min(list.find(','), list.size());
        const std::string_view entry = list.substr(0, comma);
        list.remove_prefix(std::min(comma + 1, list.size()));
        const std::size_t equals = entry.find('=');
        if (equals == std::string_view::npos || equals + 1 == entry.size()) {
            throw std::invalid_argument("expected LINE=CHANNEL, but found \"" + std::string(entry) + "\"");
        }
        const std::optional<Line> line = lineNamed(entry.substr(0, equals));
        if (!line) {
            throw std::invalid_argument("unknown line \"" + std::string(entry.substr(0, equals)) +
                                        "\"; the lines are " + allLineNames());
        }
        if (!channels.emplace(*line, entry.substr(equals + 1)).second) {
            throw std::invalid_argument("two channels for " + std::string(nameOf(*line)));
        }
    }
    return channels;
}

std::string print(const ChannelMap& channels)
{
    std::string list;
    for (const auto& [line, channel] : channels) {
        list += (list.empty() ? "" : ",") + std::string(nameOf(line)) + "=" + channel;
    }
    return list;
}

PerLine<const VcdWire*> findChannels(std::span<const VcdWire> wires, const ChannelMap& requested,
                                     const std::string& file)
{
    PerLine<const VcdWire*> channels(nullptr);
    bool hasAny = false;
    for (std::size_t i = 0; i < lineCount; ++i) {
        const auto line = static_cast<Line>(i);
        const auto request = requested.find(line);
        const bool isRequested = request != requested.end();
        channels[line] = wireNamed(wires, isRequested ? request->second : std::string(lineNames[i]));
        if (isRequested && channels[line] == nullptr) {
            throw CaptureError(file + ": there is no channel " + request->second + "; " + channelsText(wires));
        }
        hasAny = hasAny || channels[line] != nullptr;
    }
    if (!hasAny) {
        throw CaptureError(file + ": no channel has the name of a line (" + allLineNames() + "); " +
                           channelsText(wires) + (wires.empty() ? "" : ": assign them with --channels"));
    }
    requireDistinctWires(channels, file);
    return channels;
}

} // namespace sim
