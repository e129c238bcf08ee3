// Distributes the edges to the decoders of the buses.
#include "sim/decode/decoder.h"

namespace sim {

Decoder::Decoder(const Setup& setup, DecodeListener& decodeListener)
    : listener(decodeListener), edgeFilter(setup.shortestPulse, *this),
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
        return spiDecoder.takeData(level);
    case Line::ChipSelect:
        return spiDecoder.takeChipSelect(time, level);
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
