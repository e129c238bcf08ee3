// Numbers the edges of a transfer and computes each from its number.
#include "sim/wires/i2c_signal.h"

#include <array>

namespace sim {

namespace {

using namespace std::chrono_literals;

constexpr WireTime bitTime = 10us;
constexpr std::size_t bitsWithAcknowledge = 9;

/// A bit has three changes, as do the start and stop conditions. These are the times of the changes, counted from the
/// start of the bit or condition.
constexpr std::array<WireTime, 3> changeTimes = {2500ns, 5us, 10us};

struct Change {
    Line line;
    Level level;
};

using Changes = std::array<Change, changeTimes.size()>;

constexpr Changes startChanges = {{{Line::Sda, Level::High}, {Line::Sda, Level::Low}, {Line::Scl, Level::Low}}};
constexpr Changes stopChanges = {{{Line::Sda, Level::Low}, {Line::Scl, Level::High}, {Line::Sda, Level::High}}};

constexpr Changes changesOfBit(Level level)
{
    return {{{Line::Sda, level}, {Line::Scl, Level::High}, {Line::Scl, Level::Low}}};
}

std::size_t byteCount(const I2cTransfer& transfer)
{
    return 1 + (transfer.isAcknowledged ? transfer.bytes.size() : 0);
}

void appendByte(std::vector<Level>& bits, unsigned byte, bool isAcknowledged)
{
    for (unsigned mask = 0x80; mask != 0; mask >>= 1U) {
        bits.push_back((byte & mask) != 0 ? Level::High : Level::Low);
    }
    bits.push_back(isAcknowledged ? Level::Low : Level::High);
}

} // namespace

WireTime I2cTransfer::duration() const
{
    constexpr std::int64_t conditions = 2;
    return bitTime * (static_cast<std::int64_t>(byteCount(*this) * bitsWithAcknowledge) + conditions);
}

/// The master acknowledges every byte that it reads, except the last.
void I2cSignal::begin(WireTime startTime, const I2cTransfer& transfer)
{
    start = startTime;
    bits.clear();
    appendByte(bits, static_cast<unsigned>(transfer.address) << 1U | (transfer.isRead ? 1U : 0U),
               transfer.isAcknowledged);
    for (std::size_t i = 0; i + 1 < byteCount(transfer); ++i) {
        appendByte(bits, transfer.bytes[i], !transfer.isRead || i + 1 < transfer.bytes.size());
    }
    step = 0;
    stepCount = (bits.size() + 2) * changeTimes.size();
    computeEdge();
}

void I2cSignal::advance()
{
    ++step;
    computeEdge();
}

void I2cSignal::computeEdge()
{
    const std::size_t slot = step / changeTimes.size();
    const std::size_t part = step % changeTimes.size();
    const Changes changes = slot == 0 ? startChanges : slot > bits.size() ? stopChanges : changesOfBit(bits[slot - 1]);
    edge = {start + bitTime * static_cast<std::int64_t>(slot) + changeTimes[part], changes[part].line,
            changes[part].level};
}

} // namespace sim
