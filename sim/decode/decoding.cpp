// Connects the file, the decoder and the results.
#include "sim/decode/decoding.h"

#include "sim/decode/capture_error.h"
#include "sim/decode/count_text.h"
#include "sim/decode/time_text.h"

#include <algorithm>
#include <fstream>
#include <utility>

namespace sim {

void requireKnownScreens(const DecodeOptions& options, const ReferenceScreens& references)
{
    for (const std::string& name : options.expectedScreens) {
        if (!references.contains(name)) {
            throw DecodeUsageError("there is no golden screen \"" + name + "\"");
        }
    }
}

Decoding::Decoding(DecodeOptions decodeOptions, const ReferenceScreens& references)
    : options(std::move(decodeOptions)), file(options.capture), reader(
                                                                    [this](std::span<char> buffer) {
                                                                        const std::size_t count = file.read(buffer);
                                                                        if (onRead) {
                                                                            onRead(file);
                                                                        }
                                                                        return count;
                                                                    },
                                                                    file.name()),
      setup(connect()), folder(options.output), results(folder, references), decoder(setup, results),
      history(decoder.input())
{}

Decoder::Setup Decoding::connect()
{
    const PerLine<const VcdWire*> found = findChannels(reader.wires(), options.channels, file.name());
    Decoder::Setup result;
    result.shortestPulse = options.shortestPulse;
    for (std::size_t i = 0; i < lineCount; ++i) {
        const auto line = static_cast<Line>(i);
        result.isPresent[line] = found[line] != nullptr;
        if (found[line] != nullptr) {
            reader.connect(*found[line], line);
            channels[line] = found[line]->name;
        }
    }
    const bool hasI2c = result.isPresent[Line::Scl] && result.isPresent[Line::Sda];
    if (!result.isPresent[Line::Clock] && !hasI2c) {
        throw CaptureError(file.name() + ": decoding needs the channel clk, or scl and sda");
    }
    return result;
}

void Decoding::run(const Progress& progress)
{
    onRead = progress;
    try {
        reader.read(history);
    } catch (const CaptureError& error) {
        damage = error.what();
    }
    decoder.finish(reader.end());
    if (const auto reason = diagnose(history.first(), setup, decoder, channels)) {
        throw CaptureError(damage.empty() ? file.name() + ": " + *reason : damage);
    }
    noteLimits();
    results.finish();
    const std::filesystem::path path = folder.file("report.txt");
    std::ofstream text(path);
    report().print(text, false);
    if (!text.flush()) {
        throw std::runtime_error("cannot write " + path.string());
    }
    folder.complete();
}

void Decoding::noteLimits()
{
    const CaptureTime resolution = resolutionOf(history.first());
    if (isUndersampled(resolution, decoder)) {
        results.note(reader.end(), "the sampling rate is " + frequencyText(resolution) +
                                       ", less than four times the clock: bits can be lost");
    }
    if (reader.pauses() > 0) {
        results.note(reader.end(), "the recording has " + countText(reader.pauses(), "pause"));
    }
}

Report Decoding::report() const
{
    return {.capture = file.name(),
            .size = file.position(),
            .timescale = reader.timescale(),
            .begin = reader.begin(),
            .end = reader.end(),
            .channels = channels,
            .decoder = decoder,
            .results = results,
            .expectations = expectations(),
            .damage = damage,
            .output = options.output};
}

std::vector<Expectation> Decoding::expectations() const
{
    std::vector<Expectation> all;
    if (options.expectsInitialisation) {
        all.push_back(initialisation());
    }
    for (const std::string& name : options.expectedScreens) {
        all.push_back(screen(name));
    }
    return all;
}

Expectation Decoding::initialisation() const
{
    const BringUpCheck& check = decoder.display().bringUp();
    Expectation result = {.text = "initialisation"};
    result.isMet = check.correctCount() > 0 && check.firstDifference().empty();
    constexpr Line required[] = {Line::Reset, Line::Clock, Line::Mosi, Line::DataCommand};
    const auto* const missing =
        std::find_if(std::begin(required), std::end(required), [&](Line line) { return !setup.isPresent[line]; });
    if (missing != std::end(required)) {
        result.detail = std::string(nameOf(*missing)) + " is not in the capture";
    } else if (!result.isMet) {
        result.detail =
            check.firstDifference().empty() ? "no complete bring-up is in the capture" : check.firstDifference();
    }
    return result;
}

Expectation Decoding::screen(const std::string& name) const
{
    const auto& known = results.knownScreens();
    const auto found =
        std::find_if(known.begin(), known.end(), [&](const Results::Entry& entry) { return entry.text == name; });
    const bool isFound = found != known.end();
    return {.text = "screen " + name, .isMet = isFound, .detail = isFound ? "at " + timeText(found->time) : ""};
}

} // namespace sim
