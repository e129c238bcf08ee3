// Recognises button presses and quadrature steps.
#include "sim/decode/panel_decoder.h"

#include <utility>

namespace sim {

namespace {

constexpr int quartersPerStep = 4;

/// Numbers the four states of the lines in the order of a positive step, in which A changes before B.
int phaseOf(Level a, Level b)
{
    if (a == Level::High) {
        return b == Level::High ? 0 : 3;
    }
    return b == Level::High ? 1 : 2;
}

} // namespace

void PanelDecoder::takeButton(CaptureTime time, Level level)
{
    const std::optional<Level> before = std::exchange(button, level);
    if (before && level != Level::Undefined) {
        listener.event(time, level == Level::Low ? "button pressed" : "button released");
    }
}

/// A step is complete when both lines are high again after four quarters in one direction. Contact bounce moves back
/// and forth between two phases, so its quarters cancel out.
void PanelDecoder::takeEncoder(CaptureTime time, Line line, Level level)
{
    const bool wasKnown = a && b;
    const int before = wasKnown ? phaseOf(*a, *b) : 0;
    (line == Line::EncoderA ? a : b) = level;
    if (!wasKnown) {
        return;
    }
    const int phase = phaseOf(*a, *b);
    const int change = (phase - before + quartersPerStep) % quartersPerStep;
    quarters += change == quartersPerStep - 1 ? -1 : change;
    if (phase == 0) {
        if (quarters == quartersPerStep || quarters == -quartersPerStep) {
            listener.event(time, quarters > 0 ? "encoder +1" : "encoder -1");
        }
        quarters = 0;
    }
}

} // namespace sim
