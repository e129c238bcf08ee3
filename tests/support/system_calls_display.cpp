// The stand-in for the board: the lines and the transfers of the display.
#include "tests/support/system_calls.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t setWord = 7;
constexpr std::size_t clearWord = 10;

} // namespace

/// Takes over what was stored to the set and clear registers since the last look. The product stores at most once to a
/// line between two of its calls, so nothing is lost.
void SystemCalls::settleGpio()
{
    const std::uint32_t set = std::exchange(gpio[setWord], 0);
    const std::uint32_t clear = std::exchange(gpio[clearWord], 0);
    if ((set & clear) != 0) {
        note("a line was driven both ways at once");
    }
    noteStores(set, true);
    noteStores(clear, false);
}

void SystemCalls::noteStores(std::uint32_t mask, bool isHigh)
{
    if (mask == 0) {
        return;
    }
    outputs = isHigh ? outputs | mask : outputs & ~mask;
    if (mask == 1U << dcLine) {
        dcDriven = true;
        return;
    }
    if ((mask & (mask - 1)) != 0) {
        note("lines %08X %s", mask, isHigh ? "high" : "low");
        return;
    }
    int line = 0;
    while ((mask >> line) != 1) {
        ++line;
    }
    note("line %d %s", line, isHigh ? "high" : "low");
}

ssize_t SystemCalls::sendByte(std::uint8_t byte)
{
    settleGpio();
    const bool isData = ((outputs >> dcLine) & 1U) != 0;
    note("%s%s %02X", dcDriven ? "" : "undriven ", isData ? "data" : "command", byte);
    dcDriven = false;
    lastByte = byte;
    lastByteWasCommand = !isData;
    return limited(1);
}

ssize_t SystemCalls::transfer(const std::uint8_t* bytes, std::size_t count)
{
    settleGpio();
    Transfer result;
    if (isLogging) {
        result.bytes.assign(bytes, bytes + count);
    }
    result.commandBefore = lastByte;
    result.commandWasCommand = lastByteWasCommand;
    result.isData = dcDriven && ((outputs >> dcLine) & 1U) != 0;
    note("transfer of %zu bytes", count);
    {
        std::unique_lock lock(mutex);
        ++transfersBegun;
        changed.notify_all();
        changed.wait(lock, [this] { return !transfersHeld || transferPermits > 0; });
        if (transfersHeld) {
            --transferPermits;
        }
        result.wasStill =
            gpio[setWord] == 0 && gpio[clearWord] == 0 && std::equal(result.bytes.begin(), result.bytes.end(), bytes);
        ++transfersEnded;
        if (isLogging) {
            sentTransfers.push_back(std::move(result));
        }
        dcDriven = false;
    }
    changed.notify_all();
    return limited(count);
}

void SystemCalls::holdTransfers()
{
    const std::lock_guard lock(mutex);
    transfersHeld = true;
    transferPermits = 0;
}

void SystemCalls::releaseOneTransfer()
{
    {
        const std::lock_guard lock(mutex);
        ++transferPermits;
    }
    changed.notify_all();
}

void SystemCalls::releaseTransfers()
{
    {
        const std::lock_guard lock(mutex);
        transfersHeld = false;
    }
    changed.notify_all();
}

void SystemCalls::waitUntilBegun(std::size_t transferCount)
{
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return transfersBegun >= transferCount; });
}

void SystemCalls::waitUntilEnded(std::size_t transferCount)
{
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return transfersEnded >= transferCount; });
}

std::vector<Transfer> SystemCalls::transfers() const
{
    const std::lock_guard lock(mutex);
    return sentTransfers;
}
