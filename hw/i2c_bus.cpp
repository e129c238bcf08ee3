// Transfers through an i2c-dev descriptor.
#include "hw/i2c_bus.h"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <sys/ioctl.h>
#include <unistd.h>

void I2cBus::open(std::uint8_t busNumber)
{
    std::array<char, 19> path{};
    std::snprintf(path.data(), path.size(), "/dev/i2c-%d", busNumber);
    fd = FileDescriptor(::open(path.data(), O_RDWR | O_CLOEXEC));
}

void I2cBus::setSlave(std::uint8_t address)
{
    ioctl(fd.get(), I2C_SLAVE, static_cast<unsigned long>(address));
}

bool I2cBus::writeRegister(std::uint8_t reg, std::uint8_t value)
{
    const std::array<std::uint8_t, 2> bytes = {reg, value};
    return writeBytes(bytes.data(), bytes.size());
}

bool I2cBus::writeBytes(const std::uint8_t* buffer, std::uint8_t length)
{
    return write(fd.get(), buffer, length) == length;
}

std::uint8_t I2cBus::readRegister(std::uint8_t reg)
{
    std::uint8_t value = 0;
    const bool isRead = write(fd.get(), &reg, 1) == 1 && read(fd.get(), &value, 1) == 1;
    return isRead ? value : 0;
}
