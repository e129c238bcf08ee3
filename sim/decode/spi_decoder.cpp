// Collects bits and bytes, and measures the clock.
#include "sim/decode/spi_decoder.h"

namespace sim {

void SpiDecoder::takeChipSelect(CaptureTime time, Level level)
{
    const std::optional<Level> before = chipSelect;
    chipSelect = level;
    if (!before || *before == Level::Undefined) {
        isCutOff = level == Level::Low;
        bytes.clear();
        current = {};
    } else if (isCutOff && level != Level::Low) {
        isCutOff = false;
        listener.transferIsCutOff(time, current.byteCount, CutOff::CaptureBegins);
        bits = 0;
    } else if (level == Level::Low) {
        begin(time);
    } else if (isInTransfer) {
        end(time);
    }
}

void SpiDecoder::takeClock(CaptureTime time, Level level)
{
    const Level before = clock;
    clock = level;
    if (before == Level::Undefined || level == Level::Undefined) {
        return;
    }
    ++edges;
    const bool isSampling = (level == Level::High) != setup.samplesFallingEdges;
    if (!isSampling) {
        lastOtherEdge = time;
    } else if (isInTransfer || isCutOff || !setup.hasChipSelect) {
        sample(time);
    }
}

void SpiDecoder::takeData(CaptureTime time, Level level)
{
    data = level;
    if (isInTransfer && bits > 0) {
        delay.add(time - lastSample);
    }
}

void SpiDecoder::sample(CaptureTime time)
{
    if (!setup.hasChipSelect) {
        if (isInTransfer && isAfterPause(time)) {
            end(lastSample);
        }
        if (!isInTransfer) {
            begin(lastOtherEdge.count() != 0 && time - lastOtherEdge < 2 * period.mean() ? lastOtherEdge : time);
        }
    }
    measure(time);
    shiftRegister = shiftRegister << 1U | (data == Level::High ? 1U : 0U);
    if (++bits == bitsPerByte) {
        bits = 0;
        ++current.byteCount;
        if (bytes.size() < longestTransfer) {
            bytes.push_back(static_cast<std::uint8_t>(shiftRegister));
        }
    }
}

void SpiDecoder::measure(CaptureTime time)
{
    if (bits > 0) {
        period.add(time - lastSample);
        const CaptureTime second = time - lastOtherEdge;
        high.add(setup.samplesFallingEdges ? second : time - lastSample - second);
    }
    lastSample = time;
}

/// Whether more time has passed since the last sampling edge than two bytes take at the shortest clock period. Pauses
/// within a transfer are shorter.
bool SpiDecoder::isAfterPause(CaptureTime time) const
{
    return period.count() > 0 && time - lastSample > 2 * bitsPerByte * period.shortest();
}

void SpiDecoder::takeDataCommandChange()
{
    if (!setup.hasChipSelect && isInTransfer) {
        end(lastSample);
    }
}

void SpiDecoder::begin(CaptureTime time)
{
    isInTransfer = true;
    bits = 0;
    bytes.clear();
    const Level beforeSampling = setup.samplesFallingEdges ? Level::High : Level::Low;
    current = {.begin = time, .samplesLeadingEdge = setup.hasChipSelect && clock == beforeSampling};
    listener.transferBegins(time);
}

void SpiDecoder::end(CaptureTime time)
{
    isInTransfer = false;
    current.end = time;
    current.bytes = bytes;
    current.spareBits = bits;
    listener.transferEnds(current);
    bits = 0;
}

void SpiDecoder::finish(CaptureTime time, CutOff reason)
{
    if (!setup.hasChipSelect && isInTransfer && bits == 0) {
        end(lastSample);
    } else if (isInTransfer || isCutOff) {
        isInTransfer = false;
        isCutOff = false;
        listener.transferIsCutOff(time, current.byteCount, reason);
    }
}

} // namespace sim
