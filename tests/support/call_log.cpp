// Formats, stores and compares log entries.
#include "tests/support/call_log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <utility>

void CallLog::note(const char* format, ...)
{
    if (!isOn) {
        return;
    }
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const std::lock_guard lock(mutex);
    entries.emplace_back(text);
}

Log CallLog::take()
{
    const std::lock_guard lock(mutex);
    return std::exchange(entries, {});
}

std::string firstDifference(const Log& actual, const Log& expected)
{
    const auto [a, e] = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    if (a == actual.end() && e == expected.end()) {
        return {};
    }
    return "entry " + std::to_string(a - actual.begin()) + ": expected '" + (e == expected.end() ? "the end" : *e) +
           "', got '" + (a == actual.end() ? "the end" : *a) + "'";
}
