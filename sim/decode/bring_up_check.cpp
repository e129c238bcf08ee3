// Follows the bring-up step by step.
#include "sim/decode/bring_up_check.h"

#include "sim/decode/display_commands.h"
#include "sim/decode/time_text.h"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

/// The sequence consists of the initialisation steps, the command that writes the memory, the zeros, and the command
/// that switches the display on.
const std::size_t writeStep = initialisationSteps().size();
const std::size_t lastStep = writeStep + 1 + clearedBytes;

BringUpStep stepAt(std::size_t position)
{
    if (position < writeStep) {
        return initialisationSteps()[position];
    }
    if (position == writeStep) {
        return {false, DisplayCommand::writeMemory};
    }
    return position < lastStep ? BringUpStep{true, 0x00} : BringUpStep{false, DisplayCommand::displayOn};
}

int pageAt(std::size_t position)
{
    const auto isExtension = [](const BringUpStep& step) {
        return !step.isData && (step.byte == DisplayCommand::extension1 || step.byte == DisplayCommand::extension2);
    };
    std::size_t i = std::min(position, writeStep);
    while (i > 0 && !isExtension(stepAt(i - 1))) {
        --i;
    }
    return i > 0 && stepAt(i - 1).byte == DisplayCommand::extension2 ? 2 : 1;
}

std::string describe(bool isData, std::uint8_t byte, int page)
{
    const DisplayCommand* known = isData ? nullptr : findDisplayCommand(byte, page);
    return (isData ? "data " : "command ") + hexByte(byte) +
           (known == nullptr ? "" : " (" + std::string(known->name) + ")");
}

/// The name of the command that the byte at `position` belongs to.
std::string commandAt(std::size_t position)
{
    while (stepAt(position).isData) {
        --position;
    }
    return std::string(findDisplayCommand(stepAt(position).byte, pageAt(position))->name);
}

} // namespace

bool BringUpCheck::Wait::isLongEnough() const
{
    constexpr int permille = 1000;
    return !measured || *measured * permille >= required * (permille - 1);
}

void BringUpCheck::takeReset(CaptureTime time, Level level)
{
    const Level before = std::exchange(reset, level);
    const bool isFirst = !std::exchange(hasResetLevel, true);
    isActive = false;
    if (level == Level::Low) {
        highDuration = before == Level::High && highSince ? std::optional(time - *highSince) : std::nullopt;
        lowSince = isFirst ? std::nullopt : std::optional(time);
    } else if (level == Level::High) {
        highSince = isFirst ? std::nullopt : std::optional(time);
        if (before == Level::Low) {
            start(time);
        }
    }
}

/// Starts a bring-up at a rising edge of the reset line.
void BringUpCheck::start(CaptureTime time)
{
    isActive = true;
    position = 0;
    isCurrentCorrect = true;
    currentWaits.clear();
    lowDuration = lowSince ? std::optional(time - *lowSince) : std::nullopt;
    waitName = "reset to the first command";
    requiredWait = resetWait;
    lastEnd = time;
}

void BringUpCheck::addResetWaits()
{
    addWait(lastEnd, "reset high", resetHighWait, highDuration);
    addWait(lastEnd, "reset low", resetLowWait, lowDuration);
}

void BringUpCheck::takeTransfer(CaptureTime begin, CaptureTime end, bool isData, std::span<const std::uint8_t> bytes,
                                int page)
{
    for (const std::uint8_t byte : bytes) {
        if (!isActive) {
            return;
        }
        if (currentWaits.empty()) {
            addResetWaits();
        }
        if (requiredWait.count() > 0) {
            addWait(begin, waitName, requiredWait, begin - lastEnd);
        }
        takeByte(begin, isData, byte, page);
        lastEnd = begin;
    }
    lastEnd = end;
}

void BringUpCheck::takeByte(CaptureTime time, bool isData, std::uint8_t byte, int page)
{
    const BringUpStep expected = stepAt(position);
    if (expected.isData != isData || expected.byte != byte) {
        isActive = false;
        differ(time, "expected " + describe(expected.isData, expected.byte, pageAt(position)) + ", but found " +
                         describe(isData, byte, page));
        return;
    }
    requiredWait = expected.wait;
    if (requiredWait.count() > 0) {
        waitName = "after " + commandAt(position);
    }
    if (++position > lastStep) {
        complete();
    }
}

void BringUpCheck::complete()
{
    isActive = false;
    correct += isCurrentCorrect ? 1 : 0;
    if (firstWaits.empty()) {
        firstWaits = currentWaits;
    }
}

void BringUpCheck::addWait(CaptureTime time, const std::string& name, std::chrono::milliseconds required,
                           std::optional<CaptureTime> measured)
{
    currentWaits.push_back({name, required, measured});
    if (!currentWaits.back().isLongEnough()) {
        differ(time, name + ": " + durationText(*measured) + " instead of at least " + durationText(required));
    }
}

void BringUpCheck::differ(CaptureTime time, const std::string& text)
{
    isCurrentCorrect = false;
    if (difference.empty()) {
        difference = "at " + timeText(time) + ": " + text;
    }
}

} // namespace sim
