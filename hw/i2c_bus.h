// An I2C bus, through the Linux i2c-dev interface.
#pragma once

#include <cstdint>

/// Nothing is printed: the results tell whether a transfer went through, also when the bus could not be opened.
class I2cBus {
public:
    I2cBus() = default;
    explicit I2cBus(std::uint8_t busNumber) { open(busNumber); }
    I2cBus(const I2cBus&) = delete;
    I2cBus& operator=(const I2cBus&) = delete;
    ~I2cBus() { close(); }

    /// Opens /dev/i2c-`busNumber`.
    void open(std::uint8_t busNumber);
    void close();

    /// Selects the device, by its 7-bit address, that the following transfers go to.
    void setSlave(std::uint8_t address);
    bool writeRegister(std::uint8_t reg, std::uint8_t value);
    /// One write of all the bytes.
    bool writeBytes(const std::uint8_t* buffer, std::uint8_t length);
    /// 0 also on failure.
    [[nodiscard]] std::uint8_t readRegister(std::uint8_t reg);

private:
    int fd = -1;
};
