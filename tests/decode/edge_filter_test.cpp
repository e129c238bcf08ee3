// Tests for the removal of glitches and the order of simultaneous changes.
#include "sim/decode/edge_filter.h"

#include "tests/sim/comparisons.h"

namespace {

using sim::CapturedEdge;
using sim::Level;
using sim::Line;
using namespace std::chrono_literals;

class FilteredEdges : public sim::EdgeSink {
public:
    void take(const CapturedEdge& edge) override
    {
        edges.push_back(std::to_string(edge.time.count() / 1000) + " " + std::string(nameOf(edge.line)) + " " +
                        "01x"[static_cast<std::size_t>(edge.level)]);
    }
    Lines edges;
};

struct Change {
    std::chrono::nanoseconds time;
    Line line;
    Level level;
};

class Filter {
public:
    explicit Filter(const std::vector<Change>& changes, std::chrono::nanoseconds shortest = 15ns)
        : filter(shortest, recorder)
    {
        for (const auto& [time, line, level] : changes) {
            filter.take({time, line, level});
        }
        filter.flush();
    }

    FilteredEdges recorder;
    sim::EdgeFilter filter;
};

constexpr Level low = Level::Low;
constexpr Level high = Level::High;
constexpr Level undefined = Level::Undefined;

TEST(EdgeFilter, RemovesPulsesThatAreTooShort)
{
    const Filter filter({{0ns, Line::Clock, high},
                         {100ns, Line::Clock, low},
                         {114ns, Line::Clock, high},
                         {200ns, Line::Clock, low},
                         {215ns, Line::Clock, high}});
    EXPECT_EQ(filter.recorder.edges, (Lines{"0 clk 1", "200 clk 0", "215 clk 1"}));
    EXPECT_EQ(filter.filter.glitches(Line::Clock), 1U);
    EXPECT_EQ(filter.filter.glitches(Line::Mosi), 0U);
}

TEST(EdgeFilter, KeepsTheLastEdgeOfALineThatBounces)
{
    const Filter filter({{0ns, Line::Button, high},
                         {100ns, Line::Button, low},
                         {105ns, Line::Button, high},
                         {110ns, Line::Button, low},
                         {300ns, Line::Button, high}});
    EXPECT_EQ(filter.recorder.edges, (Lines{"0 button 1", "110 button 0", "300 button 1"}));
}

TEST(EdgeFilter, ReplacesAShortUndefinedLevelWithTheFollowingLevel)
{
    const Filter filter({{0ns, Line::Reset, low}, {100ns, Line::Reset, undefined}, {104ns, Line::Reset, high}});
    EXPECT_EQ(filter.recorder.edges, (Lines{"0 reset 0", "100 reset 1"}));
}

TEST(EdgeFilter, WithAShortestPulseOfZeroRemovesOnlyPulsesOfLengthZero)
{
    const Filter filter({{0ns, Line::Clock, high},
                         {100ns, Line::Clock, low},
                         {100ns, Line::Clock, high},
                         {200ns, Line::Clock, low},
                         {201ns, Line::Clock, high}},
                        0ns);
    EXPECT_EQ(filter.recorder.edges, (Lines{"0 clk 1", "200 clk 0", "201 clk 1"}));
}

TEST(EdgeFilter, OrdersSimultaneousEdges)
{
    const Filter filter({{0ns, Line::ChipSelect, low},
                         {100ns, Line::ChipSelect, high},
                         {100ns, Line::DataCommand, low},
                         {100ns, Line::Mosi, high},
                         {100ns, Line::Clock, high},
                         {200ns, Line::ChipSelect, low},
                         {200ns, Line::DataCommand, high},
                         {300ns, Line::Scl, high},
                         {300ns, Line::Sda, low},
                         {400ns, Line::Sda, high},
                         {400ns, Line::Scl, low},
                         {500ns, Line::ChipSelect, high},
                         {500ns, Line::Reset, undefined}});
    EXPECT_EQ(filter.recorder.edges,
              (Lines{"0 cs 0", "100 clk 1", "100 cs 1", "100 dc 0", "100 mosi 1", "200 dc 1", "200 cs 0", "300 sda 0",
                     "300 scl 1", "400 scl 0", "400 sda 1", "500 reset x", "500 cs 1"}));
}

} // namespace
