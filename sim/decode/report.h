// The report of a decoded capture.
#pragma once

#include "sim/decode/channels.h"
#include "sim/decode/decoder.h"
#include "sim/decode/results.h"

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

namespace sim {

/// Something that the user expects from a capture.
struct Expectation {
    std::string text;
    bool isMet = false;
    /// When it was met, or why it was not; may be empty.
    std::string detail{};
};

struct Report {
    std::string capture;
    /// The number of bytes read, after the conversion to VCD.
    std::uint64_t size;
    std::string timescale;
    CaptureTime begin;
    CaptureTime end;
    const ChannelMap& channels;
    const Decoder& decoder;
    const Results& results;
    std::vector<Expectation> expectations;
    /// The error that ended the reading of the capture early; empty if there was none.
    std::string damage;
    std::filesystem::path output;

    /// Whether everything expected was found, there are no violations, and the capture was read to its end.
    [[nodiscard]] bool isPassed() const;
    /// Prints with colours if `isColoured`.
    void print(std::ostream& out, bool isColoured) const;
};

} // namespace sim
