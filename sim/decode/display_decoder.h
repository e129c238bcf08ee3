// Decodes the transfers to the display with the simulator's model of its controller.
#pragma once

#include "sim/decode/bring_up_check.h"
#include "sim/decode/bus_timing.h"
#include "sim/decode/command_log.h"
#include "sim/decode/decode_listener.h"
#include "sim/decode/spi_decoder.h"
#include "sim/models/st75256.h"
#include "sim/models/violations.h"

#include <cstdint>
#include <optional>
#include <string>

namespace sim {

class DisplayDecoder : public SpiListener {
public:
    struct Setup {
        /// Whether the lines are in the capture. If either is missing, the transfers are logged, but not decoded.
        bool hasData = true;
        bool hasDataCommand = true;
    };

    DisplayDecoder(Setup channels, DecodeListener& decodeListener);

    void setDataCommand(CaptureTime time, Level level);
    void setReset(CaptureTime time, Level level);
    void transferBegins(CaptureTime time) override;
    void transferEnds(const SpiTransfer& transfer) override;
    void transferIsCutOff(CaptureTime time, std::uint64_t byteCount, CutOff reason) override;
    /// Logs the pending command, even if more of its data follow.
    void flush() { log.flush(); }

    // These counts do not include transfers that are dropped because their effect is unknown.

    /// Transfers without violations other than a wrong SPI mode.
    [[nodiscard]] std::uint64_t goodTransfers() const { return good; }
    /// Transfers with other violations or without clock edges.
    [[nodiscard]] std::uint64_t badTransfers() const { return bad; }
    /// The number of bytes in the good transfers.
    [[nodiscard]] std::uint64_t goodBytes() const { return bytes; }

    [[nodiscard]] bool samplesLeadingEdge() const { return isLeadingEdgeSampled; }

    [[nodiscard]] const BringUpCheck& bringUp() const { return check; }
    [[nodiscard]] const BusTiming& timing() const { return busTiming; }
    /// The durations of the frames that were sent while the display was lit.
    [[nodiscard]] const Spread& frames() const { return frameTimes; }
    /// From the beginning of a frame to the beginning of the next frame.
    [[nodiscard]] const Spread& redraws() const { return redrawPeriods; }
    /// Whether the display is assumed to be initialised, because the capture does not contain its reset.
    [[nodiscard]] bool assumesInitialisation() const { return isAssumed; }
    [[nodiscard]] bool isDisplayLit() const { return model->isLit(); }
    [[nodiscard]] const DisplayRegisters& registers() const { return model->registers(); }

private:
    [[nodiscard]] bool isDecodable() const { return setup.hasData && setup.hasDataCommand; }
    void powerOn();
    void assumeInitialisation(CaptureTime time);
    [[nodiscard]] bool drops(const SpiTransfer& transfer);
    void checkSignals(const SpiTransfer& transfer);
    void takeEmpty(const SpiTransfer& transfer);
    void take(const SpiTransfer& transfer);
    void takeCommands(const SpiTransfer& transfer);
    void measureFrame(const SpiTransfer& transfer, std::uint64_t framesBefore);
    void showScreen(CaptureTime time);
    void reportModelViolations(CaptureTime time);
    void reportViolation(CaptureTime time, const std::string& text);
    void note(CaptureTime time, const std::string& text);

    Setup setup;
    DecodeListener& listener;
    CommandLog log;
    BringUpCheck check;
    BusTiming busTiming;

    Violations violations;
    /// Replaced at a reset or when the power is switched off.
    std::optional<St75256> model;
    std::optional<Level> reset;
    Level dataCommand = Level::Undefined;
    int page = 1;

    /// False once the capture has contained a time at which the reset line was not driven.
    bool mayBeInitialised = true;
    bool wasReset = false;
    bool isAssumed = false;
    /// Whether transfers are dropped until an extension command or a memory write.
    bool isDropping = false;
    std::uint64_t dropped = 0;
    bool isLeadingEdgeSampled = false;

    bool isFrameOpen = false;
    std::optional<CaptureTime> frameBegin;
    std::optional<CaptureTime> lastFrameBegin;
    Spread frameTimes;
    Spread redrawPeriods;
    bool wasLit = false;
    DisplayRegisters lastRegisters;
    std::optional<Screen> lastScreen;

    bool isTransferBad = false;
    std::uint64_t good = 0;
    std::uint64_t bad = 0;
    std::uint64_t bytes = 0;
};

} // namespace sim
