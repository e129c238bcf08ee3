// Checks whether the display is initialised with the required sequence, and measures the waits.
#pragma once

#include "sim/decode/captured_edge.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace sim {

/// A bring-up begins with the last rising edge of the reset line before a transfer, and ends when the display is
/// switched on, at the first wrong byte, or when the reset line changes. Earlier pulses are ignored: the line may be
/// low when the program makes it an output. The waits after commands are measured from the end of a transfer to the
/// beginning of the next transfer.
class BringUpCheck {
public:
    struct Wait {
        /// Such as "after OTP up-load".
        std::string name;
        std::chrono::milliseconds required;
        /// None if the wait or its beginning is not in the capture.
        std::optional<CaptureTime> measured;

        /// Also true if the wait was not measured. Tolerates 0.1 % for the clock of the logic analyser.
        [[nodiscard]] bool isLongEnough() const;
    };

    void takeReset(CaptureTime time, Level level);
    /// `page` is the extension page before the transfer.
    void takeTransfer(CaptureTime begin, CaptureTime end, bool isData, std::span<const std::uint8_t> bytes, int page);

    /// The number of complete and correct bring-ups.
    [[nodiscard]] std::uint64_t correctCount() const { return correct; }
    /// The first wrong byte or the first wait that is too short, in one line; empty if there is none.
    [[nodiscard]] const std::string& firstDifference() const { return difference; }
    /// The waits of the first complete bring-up, or of the latest bring-up if none is complete.
    [[nodiscard]] const std::vector<Wait>& waits() const { return firstWaits.empty() ? currentWaits : firstWaits; }

private:
    void start(CaptureTime time);
    void addResetWaits();
    void takeByte(CaptureTime time, bool isData, std::uint8_t byte, int page);
    void complete();
    void addWait(CaptureTime time, const std::string& name, std::chrono::milliseconds required,
                 std::optional<CaptureTime> measured);
    void differ(CaptureTime time, const std::string& text);

    Level reset = Level::Undefined;
    bool hasResetLevel = false;
    // The latest high and low phases of the reset line. None if the phase or its beginning is not in the capture.
    std::optional<CaptureTime> highSince;
    std::optional<CaptureTime> highDuration;
    std::optional<CaptureTime> lowSince;
    std::optional<CaptureTime> lowDuration;

    bool isActive = false;
    /// The number of correct bytes so far in the current bring-up.
    std::size_t position = 0;
    CaptureTime lastEnd{};
    std::string waitName;
    std::chrono::milliseconds requiredWait{};
    std::vector<Wait> currentWaits;
    bool isCurrentCorrect = true;

    std::vector<Wait> firstWaits;
    std::string difference;
    std::uint64_t correct = 0;
};

} // namespace sim
