// Finds out why a capture cannot be decoded.
#pragma once

#include "sim/decode/channels.h"
#include "sim/decode/decoder.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace sim {

/// Passes edges on, and keeps the first `mostKept`.
class EdgeHistory : public EdgeSink {
public:
    /// About 5 MB; enough for the bring-up.
    static constexpr std::size_t mostKept = 300'000;

    explicit EdgeHistory(EdgeSink& edgeSink) : sink(edgeSink) {}
    void take(const CapturedEdge& edge) override
    {
        if (edges.size() < mostKept) {
            edges.push_back(edge);
        }
        sink.take(edge);
    }
    [[nodiscard]] std::span<const CapturedEdge> first() const { return edges; }

private:
    EdgeSink& sink;
    std::vector<CapturedEdge> edges;
};

/// A silent bus has no edges. A sensible bus has correct transfers or messages, and at most as many wrong ones.
enum class BusState : std::uint8_t { Silent, Sensible, Senseless };

[[nodiscard]] BusState displayState(const Decoder& decoder);
[[nodiscard]] BusState ledState(const Decoder& decoder);

/// Explains why `decoder`, set up with `setup`, could not decode all of a capture that begins with `edges`: two
/// channels are swapped, a line is inverted, the SPI mode is wrong, the sampling rate is too low, or there are no
/// edges. `channels` contains the channel of each line that is present. Returns nothing if the capture was decoded, or
/// if there is no explanation.
[[nodiscard]] std::optional<std::string> diagnose(std::span<const CapturedEdge> edges, const Decoder::Setup& setup,
                                                  const Decoder& decoder, const ChannelMap& channels);

/// The shortest time between two changes that are not simultaneous: the sampling period, unless the lines rarely
/// change. CaptureTime::max() if there are no such changes.
[[nodiscard]] CaptureTime resolutionOf(std::span<const CapturedEdge> edges);
/// Whether the clock is sampled less than four times per period.
[[nodiscard]] bool isUndersampled(CaptureTime resolution, const Decoder& decoder);

} // namespace sim
