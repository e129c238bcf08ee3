// Recognises start and stop conditions, and collects bytes with their acknowledge bits.
#include "sim/decode/i2c_decoder.h"

#include <algorithm>

namespace sim {

void I2cDecoder::takeScl(CaptureTime time, Level level)
{
    const bool isRise = scl == Level::Low && level == Level::High;
    edgeCount += scl != Level::Undefined ? 1 : 0;
    scl = level;
    if (isRise && isInMessage) {
        sample(time);
    }
}

/// While SCL is high, a falling edge of SDA is a start condition, and a rising edge is a stop condition.
void I2cDecoder::takeSda(CaptureTime time, Level level)
{
    const Level before = sda;
    edgeCount += before != Level::Undefined ? 1 : 0;
    sda = level;
    if (scl != Level::High || before == Level::Undefined || level == Level::Undefined) {
        return;
    }
    if (isInMessage) {
        end(time);
    }
    if (level == Level::Low) {
        isInMessage = true;
        bits = 0;
        current = {.begin = time};
    }
}

void I2cDecoder::sample(CaptureTime time)
{
    if (bits > 0) {
        period.add(time - lastRise);
    }
    lastRise = time;
    if (bits == bitsPerByte) {
        bits = 0;
        takeByte(sda == Level::Low);
        return;
    }
    shiftRegister = shiftRegister << 1U | (sda == Level::High ? 1U : 0U);
    ++bits;
}

void I2cDecoder::takeByte(bool isAcknowledged)
{
    const auto byte = static_cast<std::uint8_t>(shiftRegister);
    if (!current.address) {
        current.address = static_cast<std::uint8_t>(byte >> 1U);
        current.isRead = (byte & 1U) != 0;
        current.isAddressAcknowledged = isAcknowledged;
    } else if (current.bytes.size() < longestMessage) {
        current.bytes.push_back(byte);
        current.areBytesAcknowledged = current.areBytesAcknowledged && (isAcknowledged || current.isRead);
    }
}

/// The rising edge of SCL before a stop condition or a repeated start condition is not a bit.
void I2cDecoder::end(CaptureTime time)
{
    isInMessage = false;
    current.end = time;
    current.spareBits = std::max(bits - 1, 0);
    listener.messageEnds(current);
}

void I2cDecoder::finish(CaptureTime time, CutOff reason)
{
    if (isInMessage) {
        isInMessage = false;
        listener.messageIsCutOff(time, reason);
    }
}

} // namespace sim
