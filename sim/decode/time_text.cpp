// Formats times, durations and frequencies.
#include "sim/decode/time_text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string_view>

namespace sim {

namespace {

struct Unit {
    double size;
    const char* name;
};

/// Uses the largest unit that is not larger than the value, or the smallest unit if all are larger. Prints at least
/// four digits.
template <typename Units>
std::string withUnit(double value, const Units& units)
{
    const auto* const unit = std::find_if(std::begin(units), std::end(units) - 1,
                                          [&](const Unit& candidate) { return value >= candidate.size; });
    const double scaled = value / unit->size;
    const int wholeDigits = scaled < 1 ? 1 : static_cast<int>(std::log10(scaled)) + 1;
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*f %s", std::max(4 - wholeDigits, 0), scaled, unit->name);
    return text.data();
}

} // namespace

std::string timeText(CaptureTime time)
{
    constexpr std::int64_t perSecond = 1'000'000'000;
    const std::int64_t nanoseconds = time.count() / 1000;
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%lld.%09lld s", static_cast<long long>(nanoseconds / perSecond),
                  static_cast<long long>(nanoseconds % perSecond));
    return text.data();
}

std::string durationText(CaptureTime duration)
{
    static constexpr Unit units[] = {{1e12, "s"}, {1e9, "ms"}, {1e6, "µs"}, {1e3, "ns"}};
    return withUnit(static_cast<double>(duration.count()), units);
}

std::string frequencyText(CaptureTime period)
{
    static constexpr Unit units[] = {{1e6, "MHz"}, {1e3, "kHz"}, {1, "Hz"}};
    return withUnit(period.count() == 0 ? 0 : 1e12 / static_cast<double>(period.count()), units);
}

} // namespace sim
