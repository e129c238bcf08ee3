// A log of intercepted system calls and their effects, in order.
#pragma once

#include <mutex>
#include <string>
#include <vector>

using Log = std::vector<std::string>;

/// Thread-safe, except for `isOn`.
class CallLog {
public:
    /// Formats like printf.
    void note(const char* format, ...) __attribute__((format(printf, 2, 3)));
    /// Returns all entries and clears the log.
    Log take();

    /// If false, `note` does nothing and does not allocate.
    bool isOn = true;

private:
    std::mutex mutex;
    Log entries;
};

/// Returns a description of the first difference; empty if the logs are equal. Used for logs that are too long to
/// print.
[[nodiscard]] std::string firstDifference(const Log& actual, const Log& expected);
