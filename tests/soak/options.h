// How long to soak.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>

namespace soak {

struct Options {
    /// On the waiting screen; a day unless told otherwise.
    std::uint64_t iterations = 86'400'000;
    /// One after another, update and factory reset in turn.
    std::uint64_t updates = 1000;
};

/// The command line is wrong; `what` says in one line how.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// `arguments` without the program's name. Throws UsageError.
[[nodiscard]] Options parseOptions(std::span<char*> arguments);

} // namespace soak
