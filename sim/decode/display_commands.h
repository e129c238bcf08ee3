// The commands of the display controller, and the sequence that initialises it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace sim {

/// A command of the ST75256 (data sheet, "Instruction Table").
struct DisplayCommand {
    static constexpr int onBothPages = 0;
    static constexpr std::uint8_t extension1 = 0x30;
    static constexpr std::uint8_t extension2 = 0x31;
    static constexpr std::uint8_t writeMemory = 0x5C;
    static constexpr std::uint8_t displayOn = 0xAF;

    std::uint8_t code;
    /// The extension page that has the command: 1, 2 or `onBothPages`.
    int page;
    std::string_view name;
};

/// Returns null if the page does not have this command.
[[nodiscard]] const DisplayCommand* findDisplayCommand(std::uint8_t code, int page);

/// A byte of the bring-up.
struct BringUpStep {
    bool isData;
    std::uint8_t byte;
    /// The required wait before the next byte.
    std::chrono::milliseconds wait{};
};

/// The bytes between the wait after the reset and the command that writes the display memory.
[[nodiscard]] std::span<const BringUpStep> initialisationSteps();
/// The number of zeros that are then written to the display memory, before the display is switched on.
inline constexpr std::size_t clearedBytes = 10240;

/// How long the reset line must be high and then low, and the wait before the first command.
inline constexpr std::chrono::milliseconds resetHighWait{20};
inline constexpr std::chrono::milliseconds resetLowWait{20};
inline constexpr std::chrono::milliseconds resetWait{200};

/// Two hexadecimal digits.
[[nodiscard]] std::string hexByte(std::uint8_t value);
/// The bytes, separated by spaces. If there are more than 24, the first 24 and the total number.
[[nodiscard]] std::string hexBytes(std::span<const std::uint8_t> bytes);

} // namespace sim
