// Decodes I2C messages from SCL and SDA.
#pragma once

#include "sim/decode/captured_edge.h"
#include "sim/decode/spread.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace sim {

/// From a start condition to a stop condition or to the next start condition.
struct I2cMessage {
    CaptureTime begin{};
    CaptureTime end{};
    /// None if the message ended within the address.
    std::optional<std::uint8_t> address{};
    bool isRead = false;
    bool isAddressAcknowledged = false;
    /// At most `I2cDecoder::longestMessage` bytes, without the address.
    std::vector<std::uint8_t> bytes{};
    /// Whether the receiver acknowledged each byte of a write; true for a read.
    bool areBytesAcknowledged = true;
    /// The number of bits after the last complete byte.
    int spareBits = 0;
};

class I2cListener {
public:
    I2cListener() = default;
    I2cListener(const I2cListener&) = delete;
    I2cListener& operator=(const I2cListener&) = delete;
    virtual ~I2cListener() = default;

    virtual void messageEnds(const I2cMessage& message) = 0;
    virtual void messageIsCutOff(CaptureTime time, CutOff reason) = 0;
};

class I2cDecoder {
public:
    static constexpr std::size_t longestMessage = 4096;

    explicit I2cDecoder(I2cListener& i2cListener) : listener(i2cListener) {}

    void takeScl(CaptureTime time, Level level);
    void takeSda(CaptureTime time, Level level);
    /// Must be called at the end of the capture, and when the power is switched off.
    void finish(CaptureTime time, CutOff reason);

    /// The time between successive rising edges of SCL within a byte and its acknowledge bit.
    [[nodiscard]] const Spread& clockPeriod() const { return period; }
    [[nodiscard]] std::uint64_t edges() const { return edgeCount; }

private:
    void sample(CaptureTime time);
    void takeByte(bool isAcknowledged);
    void end(CaptureTime time);

    I2cListener& listener;
    Level scl = Level::Undefined;
    Level sda = Level::Undefined;
    bool isInMessage = false;
    I2cMessage current;
    unsigned shiftRegister = 0;
    int bits = 0;
    CaptureTime lastRise{};
    Spread period;
    std::uint64_t edgeCount = 0;
};

} // namespace sim
