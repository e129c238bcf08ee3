// Measures transfers and the pauses between them.
#pragma once

#include "sim/decode/spi_decoder.h"
#include "sim/decode/spread.h"

#include <cstdint>
#include <optional>

namespace sim {

class BusTiming {
public:
    void add(const SpiTransfer& transfer)
    {
        if (lastEnd) {
            gaps.add(transfer.begin - *lastEnd);
        }
        lastEnd = transfer.end;
        busy.add(transfer.end - transfer.begin);
        bytes += transfer.byteCount;
    }

    [[nodiscard]] const Spread& transfers() const { return busy; }
    [[nodiscard]] const Spread& idleGaps() const { return gaps; }
    [[nodiscard]] std::uint64_t byteCount() const { return bytes; }

private:
    std::optional<CaptureTime> lastEnd;
    Spread busy;
    Spread gaps;
    std::uint64_t bytes = 0;
};

} // namespace sim
