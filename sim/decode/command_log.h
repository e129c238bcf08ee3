// Logs each command of the display, with its data, as one line.
#pragma once

#include "sim/decode/captured_edge.h"
#include "sim/decode/decode_listener.h"

#include <cstdint>
#include <span>
#include <vector>

namespace sim {

class CommandLog {
public:
    explicit CommandLog(DecodeListener& logListener) : listener(logListener) {}

    /// `page` is the extension page before the command.
    void takeCommand(CaptureTime time, std::uint8_t code, int page);
    void takeData(CaptureTime begin, CaptureTime end, std::span<const std::uint8_t> bytes);
    /// Logs the pending command, even if more of its data follow. Must be called before anything else is logged.
    void flush();

private:
    DecodeListener& listener;
    bool isOpen = false;
    bool isCommand = false;
    CaptureTime start{};
    CaptureTime dataBegin{};
    CaptureTime dataEnd{};
    std::uint8_t command = 0;
    int commandPage = 1;
    std::uint64_t dataCount = 0;
    std::uint64_t transfers = 0;
    /// The first bytes of the data.
    std::vector<std::uint8_t> firstData;
};

} // namespace sim
