// The commands of the Sitronix ST75256 display controller that this program uses (ST75256 data sheet, "Instruction
// Table"). The meaning of a code depends on the extension page.
#pragma once

#include <cstdint>

namespace st75256 {

// Commands on both pages.
inline constexpr std::uint8_t extensionCommand1 = 0x30;
inline constexpr std::uint8_t extensionCommand2 = 0x31;

// Commands on page 1.
inline constexpr std::uint8_t dataFormatLsbOnTop = 0x0C;
inline constexpr std::uint8_t columnAddressSet = 0x15;
inline constexpr std::uint8_t powerControl = 0x20;
inline constexpr std::uint8_t writeDisplayData = 0x5C;
inline constexpr std::uint8_t enableMaster = 0x6E;
inline constexpr std::uint8_t pageAddressSet = 0x75;
inline constexpr std::uint8_t setVop = 0x81;
inline constexpr std::uint8_t sleepOut = 0x94;
inline constexpr std::uint8_t normalDisplay = 0xA6;
inline constexpr std::uint8_t displayOff = 0xAE;
inline constexpr std::uint8_t displayOn = 0xAF;
inline constexpr std::uint8_t dataScanDirection = 0xBC;
inline constexpr std::uint8_t displayControl = 0xCA;
inline constexpr std::uint8_t displayMode = 0xF0;

// Commands on page 2.
inline constexpr std::uint8_t analogCircuitSet = 0x32;
inline constexpr std::uint8_t internalPowerSupply = 0x40;
inline constexpr std::uint8_t boosterLevel = 0x51;
inline constexpr std::uint8_t autoReadControl = 0xD7;
inline constexpr std::uint8_t otpControl = 0xE0;
inline constexpr std::uint8_t otpControlOut = 0xE1;
inline constexpr std::uint8_t otpUpload = 0xE3;
inline constexpr std::uint8_t frameRate = 0xF0;
inline constexpr std::uint8_t temperatureRange = 0xF2;

} // namespace st75256
