// An I2C bus, accessed through the Linux i2c-dev interface.
#pragma once

#include "hw/file_descriptor.h"

#include <cstdint>

/// Prints no messages. The write operations return whether the transfer succeeded. If the bus is not open, every
/// transfer fails.
class I2cBus {
public:
    I2cBus() = default;
    explicit I2cBus(std::uint8_t busNumber) { open(busNumber); }

    /// Opens /dev/i2c-`busNumber`.
    void open(std::uint8_t busNumber);
    void close() { fd = FileDescriptor(); }

    /// Sets the 7-bit address of the device for the following transfers.
    void setSlave(std::uint8_t address);
    bool writeRegister(std::uint8_t reg, std::uint8_t value);
    /// Writes all bytes in one transfer.
    bool writeBytes(const std::uint8_t* buffer, std::uint8_t length);
    /// Returns 0 on failure.
    [[nodiscard]] std::uint8_t readRegister(std::uint8_t reg);

private:
    FileDescriptor fd;
};
