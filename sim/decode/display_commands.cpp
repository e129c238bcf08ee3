// The tables of commands.
#include "sim/decode/display_commands.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

using std::chrono::milliseconds;

constexpr int both = DisplayCommand::onBothPages;

constexpr DisplayCommand commands[] = {
    {0x30, both, "extension command 1"},
    {0x31, both, "extension command 2"},
    {0x08, 1, "data format: most significant bit on top"},
    {0x0C, 1, "data format: least significant bit on top"},
    {0x15, 1, "column address"},
    {0x20, 1, "power control"},
    {0x5C, 1, "write display memory"},
    {0x6E, 1, "enable master"},
    {0x6F, 1, "disable master"},
    {0x75, 1, "page address"},
    {0x81, 1, "operating voltage"},
    {0x94, 1, "sleep out"},
    {0x95, 1, "sleep in"},
    {0xA6, 1, "normal display"},
    {0xA7, 1, "inverse display"},
    {0xAE, 1, "display off"},
    {0xAF, 1, "display on"},
    {0xBC, 1, "scan direction"},
    {0xCA, 1, "display control"},
    {0xF0, 1, "display mode"},
    {0x32, 2, "analog circuit"},
    {0x40, 2, "internal power supply"},
    {0x41, 2, "external power supply"},
    {0x51, 2, "booster level"},
    {0xD7, 2, "auto-read control"},
    {0xE0, 2, "OTP control"},
    {0xE1, 2, "OTP control out"},
    {0xE3, 2, "OTP up-load"},
    {0xF0, 2, "frame rate"},
    {0xF2, 2, "temperature range"},
};

constexpr bool command = false;
constexpr bool data = true;

constexpr BringUpStep steps[] = {
    {command, 0x30},
    {command, 0x6E},
    {command, 0x31},
    {command, 0xD7},
    {data, 0x9F},
    {command, 0xE0},
    {data, 0x00, milliseconds(20)},
    {command, 0xE3, milliseconds(20)},
    {command, 0xE1},
    {command, 0x30},
    {command, 0x94},
    {command, 0xAE, milliseconds(50)},
    {command, 0x20},
    {data, 0x0B},
    {command, 0x0C},
    {command, 0x81},
    {data, 0x10},
    {data, 0x04},
    {command, 0x31},
    {command, 0x32},
    {data, 0x00},
    {data, 0x01},
    {data, 0x02},
    {command, 0x51},
    {data, 0xFB},
    {command, 0x30},
    {command, 0xF0},
    {data, 0x11},
    {command, 0xCA},
    {data, 0x00},
    {data, 0x9F},
    {data, 0x00},
    {command, 0x31},
    {command, 0xF2},
    {data, 0x1E},
    {data, 0x28},
    {data, 0x32},
    {command, 0xF0},
    {data, 0x16},
    {data, 0x16},
    {data, 0x16},
    {data, 0x16},
    {command, 0x30},
    {command, 0xBC},
    {data, 0x00},
    {command, 0xA6},
    {command, 0x31},
    {command, 0x40},
    // The address window: the whole panel, and the pages below it.
    {command, 0x30},
    {command, 0x15},
    {data, 0x00},
    {data, 0xFF},
    {command, 0x75},
    {data, 0x00},
    {data, 0x9F},
};

} // namespace

const DisplayCommand* findDisplayCommand(std::uint8_t code, int page)
{
    const auto* const found = std::find_if(std::begin(commands), std::end(commands), [&](const DisplayCommand& entry) {
        return entry.code == code && (entry.page == page || entry.page == both);
    });
    return found == std::end(commands) ? nullptr : found;
}

std::span<const BringUpStep> initialisationSteps()
{
    return steps;
}

std::string hexByte(std::uint8_t value)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    return {digits[value >> 4U], digits[value & 0xFU]};
}

std::string hexBytes(std::span<const std::uint8_t> bytes)
{
    constexpr std::size_t most = 24;
    std::string text;
    for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), most))) {
        text += (text.empty() ? "" : " ") + hexByte(byte);
    }
    return bytes.size() > most ? text + " ... (" + std::to_string(bytes.size()) + " bytes)" : text;
}

} // namespace sim
