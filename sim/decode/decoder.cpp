// Distributes the edges to the decoders.
#include "sim/decode/decoder.h"

namespace sim {

Decoder::Decoder(const Setup& setup, DecodeListener& decodeListener)
    : listener(decodeListener), hasClock(setup.isPresent[Line::Clock]), edgeFilter(setup.shortestPulse, *this),
      displayDecoder({.hasData = setup.isPresent[Line::Mosi], .hasDataCommand = setup.isPresent[Line::DataCommand]},
                     decodeListener),
      spiDecoder({.hasChipSelect = setup.isPresent[Line::ChipSelect], .samplesFallingEdges = setup.samplesFallingEdges},
                 displayDecoder),
      ledDecoder(*this), i2cDecoder(ledDecoder), panelDecoder(*this)
{}

void Decoder::take(const CapturedEdge& edge)
{
    const auto& [time, line, level] = edge;
    switch (line) {
    case Line::Clock:
        return spiDecoder.takeClock(time, level);
    case Line::Mosi:
        return spiDecoder.takeData(time, level);
    case Line::ChipSelect:
        return hasClock ? spiDecoder.takeChipSelect(time, level) : void();
    case Line::DataCommand:
        spiDecoder.takeDataCommandChange();
        return displayDecoder.setDataCommand(time, level);
    case Line::Reset:
        if (level == Level::Undefined) {
            spiDecoder.finish(time, CutOff::PowerEnds);
            i2cDecoder.finish(time, CutOff::PowerEnds);
            ledDecoder.powerOn();
        }
        return displayDecoder.setReset(time, level);
    case Line::Scl:
        return i2cDecoder.takeScl(time, level);
    case Line::Sda:
        return i2cDecoder.takeSda(time, level);
    case Line::Button:
        return panelDecoder.takeButton(time, level);
    case Line::EncoderA:
    case Line::EncoderB:
        return panelDecoder.takeEncoder(time, line, level);
    }
}

void Decoder::finish(CaptureTime time)
{
    edgeFilter.flush();
    spiDecoder.finish(time, CutOff::CaptureEnds);
    i2cDecoder.finish(time, CutOff::CaptureEnds);
    displayDecoder.flush();
    checkMode(time);
}

/// In mode 3, the data change half a period after they are sampled.
void Decoder::checkMode(CaptureTime time)
{
    constexpr std::uint64_t enough = 8;
    const Spread& delay = spiDecoder.dataDelay();
    if (delay.count() >= enough && delay.mean() < spiDecoder.clockPeriod().mean() / 4) {
        listener.violation(time, "the data change at the sampling edge of the clock: SPI mode 2 instead of mode 3");
    }
}

void Decoder::event(CaptureTime time, const std::string& text)
{
    displayDecoder.flush();
    listener.event(time, text);
}

void Decoder::note(CaptureTime time, const std::string& text)
{
    displayDecoder.flush();
    listener.note(time, text);
}

void Decoder::violation(CaptureTime time, const std::string& text)
{
    displayDecoder.flush();
    listener.violation(time, text);
}

void Decoder::screen(CaptureTime time, const Screen& screen)
{
    listener.screen(time, screen);
}

} // namespace sim
