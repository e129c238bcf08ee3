// Logs and records the signals on the display's lines and bus.
#include "tests/support/display_bus.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace {

constexpr std::size_t setWord = 7;
constexpr std::size_t clearWord = 10;
constexpr std::size_t levelWord = 13;

} // namespace

void DisplayBus::setLevel(int line, bool isHigh)
{
    const std::uint32_t mask = 1U << line;
    gpio[levelWord] = isHigh ? gpio[levelWord] | mask : gpio[levelWord] & ~mask;
}

void DisplayBus::collectDrivenLines()
{
    const std::uint32_t set = std::exchange(gpio[setWord], 0);
    const std::uint32_t clear = std::exchange(gpio[clearWord], 0);
    if ((set & clear) != 0) {
        log.note("a line driven high and low at once");
    }
    drive(set, true);
    drive(clear, false);
}

void DisplayBus::drive(std::uint32_t mask, bool isHigh)
{
    outputs = isHigh ? outputs | mask : outputs & ~mask;
    if (mask == 1U << dcLine) {
        dcDriven = true;
    } else if (std::has_single_bit(mask)) {
        log.note("line %d %s", std::countr_zero(mask), isHigh ? "high" : "low");
    } else if (mask != 0) {
        log.note("lines %08X %s", mask, isHigh ? "high" : "low");
    }
}

void DisplayBus::sendByte(std::uint8_t byte)
{
    collectDrivenLines();
    const bool isData = ((outputs >> dcLine) & 1U) != 0;
    log.note("%s%s %02X", dcDriven ? "" : "undriven ", isData ? "data" : "command", byte);
    dcDriven = false;
    lastByte = byte;
    lastByteWasCommand = !isData;
}

void DisplayBus::transfer(const std::uint8_t* bytes, std::size_t count)
{
    collectDrivenLines();
    Transfer result{.bytes = {},
                    .precedingByte = lastByte,
                    .precedingByteWasCommand = lastByteWasCommand,
                    .isData = dcDriven && ((outputs >> dcLine) & 1U) != 0};
    if (log.isOn) {
        result.bytes.assign(bytes, bytes + count);
    }
    log.note("transfer of %zu bytes", count);
    std::unique_lock lock(mutex);
    ++begun;
    changed.notify_all();
    changed.wait(lock, [this] { return !isHolding || permits > 0; });
    permits -= isHolding ? 1 : 0;
    result.wasUndisturbed =
        gpio[setWord] == 0 && gpio[clearWord] == 0 && std::equal(result.bytes.begin(), result.bytes.end(), bytes);
    dcDriven = false;
    if (log.isOn) {
        sent.push_back(std::move(result));
    }
    ++ended;
    changed.notify_all();
}

void DisplayBus::holdTransfers()
{
    const std::lock_guard lock(mutex);
    isHolding = true;
    permits = 0;
}

void DisplayBus::releaseOneTransfer()
{
    const std::lock_guard lock(mutex);
    ++permits;
    changed.notify_all();
}

void DisplayBus::releaseTransfers()
{
    const std::lock_guard lock(mutex);
    isHolding = false;
    changed.notify_all();
}

void DisplayBus::waitUntilBegun(std::size_t transferCount)
{
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return begun >= transferCount; });
}

void DisplayBus::waitUntilEnded(std::size_t transferCount)
{
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return ended >= transferCount; });
}

std::vector<Transfer> DisplayBus::transfers() const
{
    const std::lock_guard lock(mutex);
    return sent;
}
