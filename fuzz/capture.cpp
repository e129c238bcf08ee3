// Decodes arbitrary bytes as a capture. An error must be one line that begins with the name of the file. Edges must be
// in chronological order.
#include "fuzz/fuzz_target.h"
#include "sim/decode/capture_error.h"
#include "sim/decode/channels.h"
#include "sim/decode/decoder.h"
#include "sim/decode/diagnosis.h"
#include "sim/decode/vcd_reader.h"

#include <optional>
#include <string>
#include <string_view>

namespace {

/// Requires that each text is one line, and that the levels of each screen are valid.
class OneLineListener : public sim::DecodeListener {
public:
    void event(sim::CaptureTime /*time*/, const std::string& text) override { check(text); }
    void note(sim::CaptureTime /*time*/, const std::string& text) override { check(text); }
    void violation(sim::CaptureTime /*time*/, const std::string& text) override { check(text); }
    void screen(sim::CaptureTime /*time*/, const sim::Screen& screen) override
    {
        require(*std::max_element(screen.begin(), screen.end()) <= 3, "the levels of a screen are 0 to 3");
    }

private:
    static void check(std::string_view text)
    {
        require(!text.empty() && text.find('\n') == std::string_view::npos, "a result is described in one line");
    }
};

/// Checks the properties of the edges that the decoder relies on, and passes the edges on.
class CheckedEdges : public sim::EdgeSink {
public:
    explicit CheckedEdges(sim::EdgeSink& edgeSink) : sink(edgeSink) {}
    void take(const sim::CapturedEdge& edge) override
    {
        require(edge.time >= last, "the times of the edges do not decrease");
        require(levels[edge.line] != edge.level, "each edge changes the level of its line");
        last = edge.time;
        levels[edge.line] = edge.level;
        sink.take(edge);
    }

private:
    sim::EdgeSink& sink;
    sim::CaptureTime last{};
    sim::PerLine<std::optional<sim::Level>> levels;
};

/// Delivers the text in blocks of at most `blockSize` bytes.
sim::TokenReader::Source blocksOf(std::string_view text, std::size_t blockSize)
{
    return [text, blockSize](std::span<char> buffer) mutable {
        const std::size_t count = std::min({buffer.size(), blockSize, text.size()});
        std::copy_n(text.begin(), count, buffer.begin());
        text.remove_prefix(count);
        return count;
    };
}

/// Connects the first wires to the lines, in order.
sim::ChannelMap connect(sim::VcdReader& reader, sim::Decoder::Setup& setup)
{
    sim::ChannelMap channels;
    setup.isPresent = sim::PerLine<bool>(false);
    for (std::size_t i = 0; i < std::min(sim::lineCount, reader.wires().size()); ++i) {
        const auto line = static_cast<sim::Line>(i);
        reader.connect(reader.wires()[i], line);
        setup.isPresent[line] = true;
        channels[line] = reader.wires()[i].name;
    }
    return channels;
}

void decode(std::string_view text, std::size_t blockSize)
{
    sim::VcdReader reader(blocksOf(text, blockSize), "input");
    sim::Decoder::Setup setup;
    const sim::ChannelMap channels = connect(reader, setup);
    OneLineListener listener;
    sim::Decoder decoder(setup, listener);
    sim::EdgeHistory history(decoder.input());
    CheckedEdges edges(history);
    reader.read(edges);
    require(reader.end() >= reader.begin(), "a capture does not end before it begins");
    decoder.finish(reader.end());
    (void)diagnose(history.first(), setup, decoder, channels);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
    const std::string_view text(reinterpret_cast<const char*>(bytes), count);
    const std::size_t blockSize = 1 + count % 50;
    try {
        decode(text, blockSize);
    } catch (const sim::CaptureError& error) {
        const std::string_view message = error.what();
        require(message.starts_with("input:"), "an error begins with the name of the file");
        require(message.find('\n') == std::string_view::npos, "an error is described in one line");
    }
    return 0;
}
