// Computes the edges of quadrature cycles.
#include "sim/wires/encoder_signal.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

constexpr WireTime edgeInterval = std::chrono::microseconds(100);
constexpr std::array<Level, 4> levels = {Level::Low, Level::Low, Level::High, Level::High};

} // namespace

void EncoderSignal::turn(WireTime time, std::int32_t steps)
{
    if (steps == 0) {
        return;
    }
    nextTime = std::max(nextTime, time);
    turns.push_back(steps);
}

Edge EncoderSignal::next() const
{
    const bool isLeading = phase % 2 == 0;
    return {nextTime, isLeading == (turns.front() > 0) ? Line::EncoderA : Line::EncoderB, levels[phase]};
}

void EncoderSignal::advance()
{
    nextTime += edgeInterval;
    phase = (phase + 1) % levels.size();
    if (phase != 0) {
        return;
    }
    turns.front() += turns.front() > 0 ? -1 : 1;
    if (turns.front() == 0) {
        turns.pop_front();
    }
}

} // namespace sim
