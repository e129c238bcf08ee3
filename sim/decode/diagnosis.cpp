// Decodes the first part of a capture again with other assumptions.
#include "sim/decode/diagnosis.h"

#include "sim/decode/time_text.h"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

constexpr CaptureTime busPeriod = std::chrono::nanoseconds(80); // 12.5 MHz
constexpr int samplesPerPeriod = 4;

class NoListener : public DecodeListener {
public:
    void event(CaptureTime /*time*/, const std::string& /*text*/) override {}
    void note(CaptureTime /*time*/, const std::string& /*text*/) override {}
    void violation(CaptureTime /*time*/, const std::string& /*text*/) override {}
    void screen(CaptureTime /*time*/, const Screen& /*screen*/) override {}
};

/// How the recorded edges differ from those of the board.
struct Assumption {
    /// Two lines whose channels are swapped; equal if none are.
    Line first = Line::Clock;
    Line second = Line::Clock;
    std::optional<Line> inverted{};
    bool samplesFallingEdges = false;
};

/// The result of decoding the edges under an assumption.
struct Trial {
    BusState display;
    BusState leds;
    /// The number of bytes in correct transfers, plus the number of acknowledged messages.
    std::uint64_t score;
    bool samplesLeadingEdge;
};

CapturedEdge corrected(CapturedEdge edge, const Assumption& assumption)
{
    if (edge.line == assumption.first) {
        edge.line = assumption.second;
    } else if (edge.line == assumption.second) {
        edge.line = assumption.first;
    }
    if (edge.line == assumption.inverted && edge.level != Level::Undefined) {
        edge.level = edge.level == Level::Low ? Level::High : Level::Low;
    }
    return edge;
}

Trial attempt(std::span<const CapturedEdge> edges, Decoder::Setup setup, const Assumption& assumption)
{
    setup.samplesFallingEdges = assumption.samplesFallingEdges;
    std::swap(setup.isPresent[assumption.first], setup.isPresent[assumption.second]);
    NoListener nobody;
    Decoder decoder(setup, nobody);
    for (const CapturedEdge& edge : edges) {
        decoder.input().take(corrected(edge, assumption));
    }
    decoder.finish(edges.empty() ? CaptureTime() : edges.back().time);
    return {displayState(decoder), ledState(decoder), decoder.display().goodBytes() + decoder.leds().acknowledged(),
            decoder.display().samplesLeadingEdge()};
}

std::vector<Assumption> assumptions(const ChannelMap& channels)
{
    std::vector<Assumption> all = {{.samplesFallingEdges = true}};
    for (const auto& [line, name] : channels) {
        if (line < Line::Button && line != Line::Clock) {
            all.push_back({.inverted = line});
        }
        for (const auto& [other, otherName] : channels) {
            if (other < line) {
                all.push_back({.first = other, .second = line});
            }
        }
    }
    return all;
}

/// The --channels option that corrects the swapped channels, as part of the message. Omits channels that have the name
/// of their line; if none remain, the message says to omit the option.
std::string optionFor(ChannelMap channels, const Assumption& swapped)
{
    std::swap(channels.at(swapped.first), channels.at(swapped.second));
    std::erase_if(channels, [](const auto& entry) { return entry.second == nameOf(entry.first); });
    return channels.empty() ? "without --channels" : "with --channels " + print(channels);
}

std::string describe(const Assumption& assumption, const Trial& trial, const ChannelMap& channels)
{
    if (assumption.samplesFallingEdges) {
        return std::string("the data are valid at the falling edges of the clock: SPI mode ") +
               (trial.samplesLeadingEdge ? "2" : "1") + " instead of mode 3, or clk is inverted";
    }
    if (assumption.inverted) {
        return std::string(nameOf(*assumption.inverted)) + " is inverted";
    }
    return std::string(nameOf(assumption.first)) + " and " + std::string(nameOf(assumption.second)) +
           " are swapped: decode " + optionFor(channels, assumption);
}

/// Whether a trial explains the capture: each bus is sensible, or is silent now and was in the original decoding.
bool isBetter(const Trial& trial, const Trial& original)
{
    const auto explains = [](BusState now, BusState before) {
        return now == BusState::Sensible || (now == BusState::Silent && before == BusState::Silent);
    };
    return explains(trial.display, original.display) && explains(trial.leds, original.leds);
}

std::optional<std::string> findAssumption(std::span<const CapturedEdge> edges, const Decoder::Setup& setup,
                                          const ChannelMap& channels)
{
    const Trial original = attempt(edges, setup, {});
    std::uint64_t best = original.score;
    std::optional<std::string> description;
    for (const Assumption& assumption : assumptions(channels)) {
        const Trial trial = attempt(edges, setup, assumption);
        if (isBetter(trial, original) && trial.score > best) {
            best = trial.score;
            description = describe(assumption, trial, channels);
        }
    }
    return description;
}

BusState stateOf(bool hasEdges, std::uint64_t good, std::uint64_t bad)
{
    if (!hasEdges) {
        return BusState::Silent;
    }
    return good > 0 && bad <= good ? BusState::Sensible : BusState::Senseless;
}

} // namespace

BusState displayState(const Decoder& decoder)
{
    const DisplayDecoder& display = decoder.display();
    return stateOf(decoder.spi().clockEdges() > 0, display.goodTransfers(), display.badTransfers());
}

BusState ledState(const Decoder& decoder)
{
    const LedDecoder& leds = decoder.leds();
    return stateOf(decoder.i2c().edges() > 0, leds.acknowledged() + leds.refused(), leds.badMessages());
}

CaptureTime resolutionOf(std::span<const CapturedEdge> edges)
{
    CaptureTime shortest = CaptureTime::max();
    for (std::size_t i = 1; i < edges.size(); ++i) {
        const CaptureTime distance = edges[i].time - edges[i - 1].time;
        shortest = distance.count() > 0 ? std::min(shortest, distance) : shortest;
    }
    return shortest;
}

bool isUndersampled(CaptureTime resolution, const Decoder& decoder)
{
    const Spread& period = decoder.spi().clockPeriod();
    // A sampled period can be one sample shorter than the real period.
    return resolution > busPeriod / samplesPerPeriod && period.count() > 0 &&
           period.shortest() <= (samplesPerPeriod - 1) * resolution;
}

std::optional<std::string> diagnose(std::span<const CapturedEdge> edges, const Decoder::Setup& setup,
                                    const Decoder& decoder, const ChannelMap& channels)
{
    const BusState display = displayState(decoder);
    const BusState leds = ledState(decoder);
    const bool isSenseless = display == BusState::Senseless || leds == BusState::Senseless;
    const CaptureTime resolution = resolutionOf(edges);
    if (isSenseless || display == BusState::Silent) {
        if (auto found = findAssumption(edges, setup, channels)) {
            return found;
        }
    }
    const bool isTooSlow = resolution > busPeriod / samplesPerPeriod && display == BusState::Senseless;
    const bool losesBits = isUndersampled(resolution, decoder) && decoder.display().badTransfers() > 0;
    if (edges.size() > 1 && (isTooSlow || losesBits)) {
        return "undersampled: the sampling rate is " + frequencyText(resolution) + "; the clock of " +
               frequencyText(busPeriod) + " needs at least " + frequencyText(busPeriod / samplesPerPeriod);
    }
    if (display == BusState::Silent && leds != BusState::Sensible) {
        return channels.contains(Line::Clock) ? "no edges on clk"
               : leds == BusState::Silent     ? "no edges on scl and sda"
                                              : "no messages on scl and sda";
    }
    return std::nullopt;
}

} // namespace sim
