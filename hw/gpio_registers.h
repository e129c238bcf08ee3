// The memory-mapped GPIO block of the Broadcom BCM2711 (data sheet "BCM2711 ARM Peripherals", chapter "General Purpose
// I/O").
#pragma once

#include <cstdint>
#include <sys/types.h>

/// The block's 32-bit registers, or null if they could not be mapped. Mapped before `main` runs and never unmapped.
/// Null is deliberately not checked: without a mapping, the first access ends the program with SIGSEGV.
extern volatile std::uint32_t* gpioRegisters;

/// Maps the registers at `physicalBase` from /dev/mem. If that fails, reports the failure on standard error and
/// returns null.
[[nodiscard]] volatile std::uint32_t* mapGpioRegisters(off_t physicalBase);

// GPIO lines are numbered 0 to 31 (bank 0).

/// Makes the line an output, which takes the level of its output latch.
void selectOutput(int line);
void driveHigh(int line);
void driveLow(int line);
/// Returns the levels of all lines; bit n is line n.
[[nodiscard]] std::uint32_t readLevels();
