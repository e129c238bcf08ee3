// The memory-mapped GPIO block of the Broadcom BCM2711 (BCM2711 ARM Peripherals, chapter "General Purpose I/O").
#pragma once

#include <cstdint>
#include <sys/types.h>

/// The block's 32-bit registers, or null when they could not be mapped. Mapped before `main` runs and never unmapped.
/// Nothing guards against null: a program that cannot reach its hardware is to fail hard at its first access.
extern volatile std::uint32_t* gpioRegisters;

/// Maps the registers at `physicalBase` from /dev/mem. On failure says why on standard error and returns null.
[[nodiscard]] volatile std::uint32_t* mapGpioRegisters(off_t physicalBase);

// GPIO lines are those of bank 0, numbered 0 to 31.

/// Makes the line an output. Its level stays what the output latch holds.
void selectOutput(int line);
void driveHigh(int line);
void driveLow(int line);
/// The levels of all lines, bit n for line n.
[[nodiscard]] std::uint32_t readLevels();
