// Tests for the reader of VCD files: the accepted forms, and the message for each kind of damage.
#include "sim/decode/vcd_reader.h"

#include "sim/decode/capture_error.h"
#include "tests/sim/comparisons.h"

#include <cstring>

namespace {

using sim::CapturedEdge;
using sim::Level;
using sim::Line;
using sim::VcdReader;

class ReadEdges : public sim::EdgeSink {
public:
    void take(const CapturedEdge& edge) override
    {
        edges.push_back(std::to_string(edge.time.count()) + " " + std::string(nameOf(edge.line)) + " " +
                        "01x"[static_cast<std::size_t>(edge.level)]);
    }
    Lines edges;
};

/// Delivers the text in blocks of at most `blockSize` bytes.
sim::TokenReader::Source blocks(const std::string& text, std::size_t blockSize)
{
    auto position = std::make_shared<std::size_t>(0);
    return [=](std::span<char> buffer) {
        const std::size_t count = std::min({buffer.size(), blockSize, text.size() - *position});
        std::memcpy(buffer.data(), text.data() + *position, count);
        *position += count;
        return count;
    };
}

/// Connects the wire "clk" or "bus[2]" to the clock line, and "dc" to the data/command line. Returns the edges with
/// times in picoseconds.
Lines edgesOf(const std::string& text, std::size_t blockSize = 4096)
{
    VcdReader reader(blocks(text, blockSize), "file");
    for (const sim::VcdWire& wire : reader.wires()) {
        if (wire.name == "clk" || wire.name == "bus[2]") {
            reader.connect(wire, Line::Clock);
        } else if (wire.name == "dc") {
            reader.connect(wire, Line::DataCommand);
        }
    }
    ReadEdges recorder;
    reader.read(recorder);
    return recorder.edges;
}

std::string errorOf(const std::string& text)
{
    return thrownMessage<sim::CaptureError>([&] { (void)edgesOf(text); });
}

const std::string header = "$timescale 1 ns $end\n$var wire 1 ! clk $end\n$var wire 1 \" dc $end\n"
                           "$enddefinitions $end\n";

TEST(VcdReader, ReadsTheChangesOfTheConnectedWires)
{
    const std::string text = "$date today $end $version 1 $end\n$timescale 10 ns $end\n$scope module a $end\n"
                             "$var wire 1 ! clk $end\n$var reg 1 \" dc $end\n$var wire 1 # other $end\n"
                             "$upscope $end\n$enddefinitions $end\n$dumpvars\n1!\n0\"\nx#\n$end\n#1\n0!\n1#\n#3\n1\"\n";
    EXPECT_EQ(edgesOf(text), (Lines{"0 clk 1", "0 dc 0", "10000 clk 0", "30000 dc 1"}));
}

TEST(VcdReader, AcceptsBlocksOfAnySize)
{
    const std::string text = header + "#0\n1!\n0\"\n#1234567\n0!\nb1 \"\n";
    const Lines expected = {"0 clk 1", "0 dc 0", "1234567000 clk 0", "1234567000 dc 1"};
    for (std::size_t size = 1; size < 40; ++size) {
        EXPECT_EQ(edgesOf(text, size), expected) << size;
    }
}

TEST(VcdReader, ConvertsEveryTimeUnit)
{
    const struct {
        const char* timescale;
        const char* edge;
    } cases[] = {
        {"1 s", "5000000000000 clk 1"},
        {"100ms", "500000000000 clk 1"},
        {"1 ms", "5000000000 clk 1"},
        {"10us", "50000000 clk 1"},
        {"1\nns", "5000 clk 1"},
        {"100 ps", "500 clk 1"},
        {"1ps", "5 clk 1"},
        {"100 fs", "0 clk 1"},
        {"1fs", "0 clk 1"},
    };
    for (const auto& [timescale, edge] : cases) {
        const std::string text =
            "$timescale " + std::string(timescale) + " $end $var wire 1 ! clk $end $enddefinitions $end #5 1! #6\n";
        EXPECT_EQ(edgesOf(text), Lines{edge}) << timescale;
    }
}

TEST(VcdReader, RoundsFemtosecondsDownToPicoseconds)
{
    const std::string text = "$timescale 1 fs $end $var wire 1 ! clk $end $enddefinitions $end #1999 1! #2000 0!\n";
    EXPECT_EQ(edgesOf(text), (Lines{"1 clk 1", "2 clk 0"}));
}

TEST(VcdReader, AcceptsTheFormsThatToolsWrite)
{
    const struct {
        const char* form;
        const char* changes;
        Lines edges;
    } cases[] = {
        {"several changes in one line", "#1 1! 1\" #2 0!\n", {"1000 clk 1", "1000 dc 1", "2000 clk 0"}},
        {"CRLF", "#1\r\n1!\r\n#2\r\n0!\r\n", {"1000 clk 1", "2000 clk 0"}},
        {"scalars as vectors", "#1\nb1 !\nB0 \"\n", {"1000 clk 1", "1000 dc 0"}},
        {"undefined levels", "#1\n1!\n#2\nX!\n#3\nz\"\n", {"1000 clk 1", "2000 clk x", "3000 dc x"}},
        {"levels of std_logic", "#1\nH!\nL\"\n#2\nU!\n-\"\n", {"1000 clk 1", "1000 dc 0", "2000 clk x", "2000 dc x"}},
        {"equal levels", "#1\n1!\n#2\n1!\n#3\n0!\n", {"1000 clk 1", "3000 clk 0"}},
        {"comments", "#1\n$comment 0! $var #9 $end\n1!\n", {"1000 clk 1"}},
        {"equal times", "#1\n1!\n#1\n0!\n", {"1000 clk 1", "1000 clk 0"}},
        {"no trailing newline", "#1\n1!", {"1000 clk 1"}},
        {"all values again", "#1\n1!\n#2\n$dumpall\n1!\n1\"\n$end\n", {"1000 clk 1", "2000 dc 1"}},
        {"values while the recording is off",
         "#1\n1!\n#2\n$dumpoff\nx!\nx\"\n$end\n#9\n$dumpon\n0!\n$end\n",
         {"1000 clk 1", "9000 clk 0"}},
        {"no changes", "", {}},
    };
    for (const auto& [form, changes, edges] : cases) {
        EXPECT_EQ(edgesOf(header + changes), edges) << form;
    }
}

TEST(VcdReader, IgnoresRealNumbersAndStrings)
{
    const std::string text =
        "$var real 64 r volt $end\n$var string 1 s state $end\n" + header + "#1\nr3.5e-3 r\nsIDLE s\n1!\n";
    EXPECT_EQ(edgesOf(text), Lines{"1000 clk 1"});
}

TEST(VcdReader, SelectsABitOfAVector)
{
    const struct {
        const char* declaration;
        const char* changes;
        Lines edges;
    } cases[] = {
        {"bus [7:0]", "#1\nb100 !\n#2\nb11111011 !\n", {"1 clk 1", "2 clk 0"}},
        {"bus[3:0]", "#1\nb0100 !\n#2\nb0 !\n", {"1 clk 1", "2 clk 0"}},
        {"bus [0:7]", "#1\nb00100000 !\n#2\nb11011111 !\n", {"1 clk 1", "2 clk 0"}},
        {"bus", "#1\nb00000100 !\n#2\nbx !\n#3\nbz11 !\n#4\nb111 !\n", {"1 clk 1", "2 clk x", "4 clk 1"}},
        {"bus [9:2]", "#1\nb1 !\n#2\n0!\n", {"1 clk 1", "2 clk 0"}},
    };
    for (const auto& [declaration, changes, edges] : cases) {
        const std::string text =
            "$timescale 1 ps $end $var wire 8 ! " + std::string(declaration) + " $end $enddefinitions $end\n" + changes;
        EXPECT_EQ(edgesOf(text), edges) << declaration;
    }
}

TEST(VcdReader, NamesWiresByScopeAndIndex)
{
    const std::string text = "$scope module top $end $scope module board $end $var wire 1 ! D [3] $end $upscope $end "
                             "$var wire 2 longId bus [1:0] $end $upscope $end $enddefinitions $end\n";
    const VcdReader reader(blocks(text, 100), "file");
    Lines names;
    for (const sim::VcdWire& wire : reader.wires()) {
        names.push_back(wire.scope + " " + wire.name);
    }
    EXPECT_EQ(names, (Lines{"top.board D[3]", "top bus[0]", "top bus[1]"}));
}

TEST(VcdReader, OneChangeAppliesToAllWiresWithTheSameIdentifier)
{
    const std::string text = "$timescale 1 ps $end $var wire 1 id0 clk $end $var wire 1 id0 dc $end "
                             "$enddefinitions $end #1 1id0\n";
    EXPECT_EQ(edgesOf(text), (Lines{"1 clk 1", "1 dc 1"}));
}

TEST(VcdReader, ErrorsNameTheLineAndTheReason)
{
    const struct {
        std::string text;
        const char* message;
    } cases[] = {
        {"$date today", "file:1: truncated: the file ends within the header"},
        {"$timescale 1 ns $end\n$var wire 1 !", "file:2: truncated: the file ends within the header"},
        {"$timescale 1 ns $end\nclk\n", "file:2: expected a keyword such as $var, but found \"clk\""},
        {"$timescale 3 ns $end", "file:1: wrong timescale \"3ns\": expected 1, 10 or 100 with s, ms, us, ns, ps or fs"},
        {"$timescale 1 m $end", "file:1: wrong timescale \"1m\": expected 1, 10 or 100 with s, ms, us, ns, ps or fs"},
        {"$var wire 1 $end", "file:1: incomplete $var: expected type, size, identifier and name"},
        {"$var wire one ! clk $end", "file:1: wrong size of a variable: \"one\""},
        {"$var wire 1 ! clk\n$var wire 1 \" dc $end", "file:2: $var without $end"},
        {"$upscope $end", "file:1: $upscope without $scope"},
        {header + "#10\n1!\n#9\n", "file:7: time 9 follows time 10"},
        {header + "#10\n1!\n#1", "file:7: truncated: the file ends within a time"},
        {header + "#1x\n", "file:5: wrong time \"1x\""},
        {header + "#-1\n", "file:5: wrong time \"-1\""},
        {header + "#99999999999999999999\n", "file:5: wrong time \"99999999999999999999\""},
        {header + "#9999999999999999\n0!\n#10000000000000000\n", "file:5: time \"9999999999999999\" is too large"},
        {header + "#1\n1?\n", "file:6: unknown identifier \"?\""},
        {header + "#1\n1!!", "file:6: truncated or unknown identifier \"!!\""},
        {header + "#1\n1\n", "file:6: a value without an identifier"},
        {header + "#1\n1", "file:6: truncated: the file ends within a value"},
        {header + "#1\nb01", "file:6: truncated: the file ends within a value"},
        {header + "#1\nb01 ?\n", "file:6: unknown identifier \"?\""},
        {header + "#1\nb012 !\n", "file:6: wrong vector \"012\""},
        {header + "#1\nb !\n", "file:6: wrong vector \"\""},
        {header + "#1\nr1.5 ?\n", "file:6: unknown identifier \"?\""},
        {header + "#1\npU 6 0 !\n", "file:6: expected a time or a value, but found \"pU\""},
        {header + "#1\n$vcdclose 1 $end\n", "file:6: unknown keyword \"$vcdclose\""},
        {header + "#1\n$comment 1!\n", "file:7: truncated: the file ends within a comment"},
        {header + "#1\n\x01\xFF\x80 binary\n", "file:6: expected a time or a value, but found \"??\""},
        {header + "#1\n" + std::string(100, 'q') + "\n",
         "file:6: expected a time or a value, but found \"qqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqq...\""},
        {header + std::string(2'000'000, 'q'), "file:5: a token of 1 MiB or more"},
    };
    for (const auto& [text, message] : cases) {
        EXPECT_EQ(errorOf(text), message);
    }
}

TEST(VcdReader, DeliversTheChangesBeforeAnError)
{
    VcdReader reader(blocks(header + "#1\n1!\n#2\n0!\n1?\n", 100), "file");
    reader.connect(reader.wires().front(), Line::Clock);
    ReadEdges recorder;
    EXPECT_THROW(reader.read(recorder), sim::CaptureError);
    EXPECT_EQ(recorder.edges, (Lines{"1000 clk 1", "2000 clk 0"}));
    EXPECT_EQ(reader.begin(), std::chrono::nanoseconds(1));
    EXPECT_EQ(reader.end(), std::chrono::nanoseconds(2));
}

} // namespace
