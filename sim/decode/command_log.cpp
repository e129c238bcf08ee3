// Collects the data of a command.
#include "sim/decode/command_log.h"

#include "sim/decode/display_commands.h"
#include "sim/decode/time_text.h"

#include <algorithm>

namespace sim {

namespace {

constexpr std::size_t shownBytes = 8;
constexpr std::size_t columnWidth = 16;

} // namespace

void CommandLog::takeCommand(CaptureTime time, std::uint8_t code, int page)
{
    flush();
    isOpen = true;
    isCommand = true;
    start = time;
    command = code;
    commandPage = page;
}

void CommandLog::takeData(CaptureTime begin, CaptureTime end, std::span<const std::uint8_t> bytes)
{
    if (!isOpen) {
        isOpen = true;
        isCommand = false;
        start = begin;
    }
    if (dataCount == 0) {
        dataBegin = begin;
    }
    dataEnd = end;
    dataCount += bytes.size();
    ++transfers;
    const std::size_t room = shownBytes - std::min(shownBytes, firstData.size());
    const auto shown = bytes.first(std::min(bytes.size(), room));
    firstData.insert(firstData.end(), shown.begin(), shown.end());
}

void CommandLog::flush()
{
    if (!isOpen) {
        return;
    }
    const bool isShort = dataCount <= shownBytes;
    std::string text = isCommand ? hexByte(command) : "data";
    text += isShort && dataCount > 0 ? " " + hexBytes(firstData) : "";
    text.resize(std::max(text.size() + 2, columnWidth), ' ');
    if (isCommand) {
        const DisplayCommand* known = findDisplayCommand(command, commandPage);
        text += known != nullptr ? known->name : "unknown command";
    }
    if (!isShort) {
        text += (isCommand ? ": " : "") + std::to_string(dataCount) + " bytes in " + durationText(dataEnd - dataBegin);
        text += transfers > 1 ? ", " + std::to_string(transfers) + " transfers" : "";
    }
    listener.event(start, text.substr(0, text.find_last_not_of(' ') + 1));
    isOpen = false;
    dataCount = 0;
    transfers = 0;
    firstData.clear();
}

} // namespace sim
