// Times and durations as text.
#pragma once

#include "sim/decode/captured_edge.h"

#include <string>

namespace sim {

/// A time of the capture in seconds, with nine decimal places, such as "0.240001280 s".
[[nodiscard]] std::string timeText(CaptureTime time);
/// At least four digits with a suitable unit, such as "6.554 ms".
[[nodiscard]] std::string durationText(CaptureTime duration);
/// The frequency of a period, in MHz, kHz or Hz, such as "12.50 MHz".
[[nodiscard]] std::string frequencyText(CaptureTime period);

} // namespace sim
