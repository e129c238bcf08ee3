// The part of SystemCalls that simulates the GPIO block and the display's SPI bus.
#pragma once

#include "tests/support/call_log.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

/// One write of more than one byte to the display.
struct Transfer {
    std::vector<std::uint8_t> bytes;
    std::uint8_t precedingByte = 0;
    bool precedingByteWasCommand = false;
    /// True if the data/command line was driven high for the transfer.
    bool isData = false;
    /// True if neither the GPIO lines nor the bytes changed during the transfer.
    bool wasUndisturbed = false;
};

/// Logs "line 25 high", "command 5C", "data 9F" and "transfer of 10240 bytes". The entry of a byte begins with
/// "undriven" if the data/command line was not driven for that byte.
class DisplayBus {
public:
    static constexpr int dcLine = 7;

    explicit DisplayBus(CallLog& callLog) : log(callLog) {}

    /// The 32-bit registers of the GPIO block.
    std::array<std::uint32_t, 1024> gpio{};
    void setLevel(int line, bool isHigh);

    /// From now on, each transfer blocks in its write until it is released.
    void holdTransfers();
    void releaseOneTransfer();
    void releaseTransfers();
    void waitUntilBegun(std::size_t transferCount);
    void waitUntilEnded(std::size_t transferCount);
    [[nodiscard]] std::vector<Transfer> transfers() const;

protected:
    /// Reads and resets the set and clear registers. Between two calls, the product must drive each line at most once.
    void collectDrivenLines();
    void sendByte(std::uint8_t byte);
    void transfer(const std::uint8_t* bytes, std::size_t count);

private:
    void drive(std::uint32_t mask, bool isHigh);

    CallLog& log;
    /// The levels of the outputs.
    std::uint32_t outputs = 0;
    bool dcDriven = false;
    bool lastByteWasCommand = false;
    std::uint8_t lastByte = 0;

    mutable std::mutex mutex;
    std::condition_variable changed;
    bool isHolding = false;
    std::size_t permits = 0;
    std::size_t begun = 0;
    std::size_t ended = 0;
    std::vector<Transfer> sent;
};
