// The payload of notifications and broadcasts.
#pragma once

#include <cstdint>
#include <string>

/// Widgets pass it on unchanged.
struct EventData {
    std::string text;
    std::int32_t intValue = 0;
    float floatValue = 0;
    std::int64_t longValue = 0;
    bool flag = false;

    bool operator==(const EventData&) const = default;
};
