// Parses the command line.
#include "tests/soak/options.h"

#include "tests/soak/sample_series.h"

#include <charconv>
#include <string>
#include <string_view>

namespace soak {

namespace {

/// The smallest valid value of either option except 0. With fewer updates, the warm-up would have fewer than two
/// samples.
constexpr std::uint64_t fewest = 2 * SampleSeries::warmUpDivisor;

std::uint64_t parseNumber(std::string_view option, std::string_view text)
{
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || (number != 0 && number < fewest)) {
        throw UsageError(std::string(option) + " must be 0 or a 64-bit integer of at least " + std::to_string(fewest) +
                         ", not \"" + std::string(text) + '"');
    }
    return number;
}

} // namespace

Options parseOptions(std::span<char*> arguments)
{
    Options options;
    for (std::size_t i = 0; i < arguments.size(); i += 2) {
        const std::string_view name = arguments[i];
        if (name != "--iterations" && name != "--updates") {
            throw UsageError("unknown " + std::string(name.starts_with('-') ? "option " : "argument ").append(name));
        }
        if (i + 1 == arguments.size()) {
            throw UsageError(std::string(name) + " needs a value");
        }
        (name == "--updates" ? options.updates : options.iterations) = parseNumber(name, arguments[i + 1]);
    }
    return options;
}

} // namespace soak
