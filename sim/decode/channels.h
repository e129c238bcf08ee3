// Assigns the wires of a capture to the lines of the board.
#pragma once

#include "sim/decode/captured_edge.h"
#include "sim/decode/vcd_reader.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace sim {

/// The names of wires, by line.
using ChannelMap = std::map<Line, std::string>;

/// Parses a list such as "clk=D0,mosi=D1". Throws std::invalid_argument if an entry is malformed, a line is
/// unknown, or a line occurs twice.
[[nodiscard]] ChannelMap parseChannels(std::string_view list);
/// The inverse of `parseChannels`.
[[nodiscard]] std::string print(const ChannelMap& channels);

/// Returns the wire of each line: the wire named in `requested`; if the line is not in `requested`, the first wire with
/// the name of the line, or null. Names may include scopes, and case is ignored. Throws CaptureError if a requested
/// wire does not exist, if two lines have the same wire, or if no line has a wire; `file` is the name in the message.
[[nodiscard]] PerLine<const VcdWire*> findChannels(std::span<const VcdWire> wires, const ChannelMap& requested,
                                                   const std::string& file);

} // namespace sim
