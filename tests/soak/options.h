// The options of the soak test.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>

namespace soak {

struct Options {
    /// Iterations (1 ms each) on the waiting screen; default: 24 h; 0 for none.
    std::uint64_t iterations = 86'400'000;
    /// The number of runs; updates and factory resets alternate; 0 for none.
    std::uint64_t updates = 1000;
};

/// An error in the command line. `what` returns one line.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// `arguments` excludes the program's name. Throws UsageError.
[[nodiscard]] Options parseOptions(std::span<char*> arguments);

} // namespace soak
