// Tests of opening an I2C bus and of its transfers.
#include "hw/i2c_bus.h"

#include "tests/support/system_calls.h"

#include <array>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>

namespace {

std::string busOpening(const std::string& path)
{
    return "open " + path + " flags " + std::to_string(O_RDWR | O_CLOEXEC);
}

/// Each test also checks that nothing is printed to standard error.
class I2c : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(testing::internal::GetCapturedStderr(), ""); }

    bool isCapturing = (testing::internal::CaptureStderr(), true); // before the bus is opened
    SystemCalls calls;
    I2cBus bus{22};
};

TEST_F(I2c, OpensTheBusByItsNumberForReadingAndWriting)
{
    const I2cBus first(0);
    const I2cBus last(255);
    EXPECT_EQ(calls.takeLog(), Log({busOpening("/dev/i2c-22"), busOpening("/dev/i2c-0"), busOpening("/dev/i2c-255")}));
}

TEST_F(I2c, CloseAndDestructorCloseTheBusOnce)
{
    calls.takeLog();
    {
        const I2cBus destroyed(1);
        I2cBus closed(2);
        closed.close();
    }
    EXPECT_EQ(calls.takeLog(),
              Log({busOpening("/dev/i2c-1"), busOpening("/dev/i2c-2"), "close /dev/i2c-2", "close /dev/i2c-1"}));
}

TEST_F(I2c, OpeningAgainClosesThePreviousBus)
{
    calls.takeLog();
    bus.open(23);
    Log log = calls.takeLog();
    std::sort(log.begin(), log.end()); // the order is unspecified
    EXPECT_EQ(log, Log({"close /dev/i2c-22", busOpening("/dev/i2c-23")}));
    bus.close();
    EXPECT_EQ(calls.takeLog(), Log({"close /dev/i2c-23"}));
}

TEST_F(I2c, SetSlaveSelectsTheAddressAndIgnoresAFailure)
{
    calls.failingIoctls = {I2C_SLAVE};
    calls.takeLog();
    bus.setSlave(0x6C);
    EXPECT_EQ(calls.takeLog(), Log({"address 6C"}));
}

TEST_F(I2c, WriteRegisterSendsOneWriteOfTwoBytes)
{
    calls.takeLog();
    EXPECT_TRUE(bus.writeRegister(0x2F, 0x81));
    EXPECT_EQ(calls.takeLog(), Log({"i2c write 2F 81"}));
}

TEST_F(I2c, WriteBytesSendsOneWrite)
{
    calls.takeLog();
    const std::array<std::uint8_t, 5> bytes = {0x00, 0xFF, 0x10, 0x7F, 0x80};
    EXPECT_TRUE(bus.writeBytes(bytes.data(), 5));
    EXPECT_TRUE(bus.writeBytes(bytes.data(), 3));
    EXPECT_EQ(calls.takeLog(), Log({"i2c write 00 FF 10 7F 80", "i2c write 00 FF 10"}));
}

TEST_F(I2c, TheLongestWriteIs255Bytes)
{
    const std::array<std::uint8_t, 255> bytes{};
    EXPECT_TRUE(bus.writeBytes(bytes.data(), 255));
    calls.writeLimit = 254;
    EXPECT_FALSE(bus.writeBytes(bytes.data(), 255));
}

TEST_F(I2c, AFailedOrShortWriteReturnsFalse)
{
    const std::array<std::uint8_t, 20> bytes{};
    for (const ssize_t moved : {-1, 0, 1}) {
        calls.writeLimit = moved;
        EXPECT_FALSE(bus.writeRegister(1, 2)) << moved;
        EXPECT_FALSE(bus.writeBytes(bytes.data(), 20)) << moved;
    }
}

TEST_F(I2c, ReadRegisterWritesTheNumberAndReadsOneByte)
{
    calls.queueI2cByte(0xA5);
    calls.takeLog();
    EXPECT_EQ(bus.readRegister(0x12), 0xA5);
    EXPECT_EQ(calls.takeLog(), Log({"i2c write 12", "i2c read of 1 bytes"}));
}

TEST_F(I2c, ReadRegisterReturnsZeroIfTheWriteOrTheReadFails)
{
    EXPECT_EQ(bus.readRegister(0x12), 0); // the read fails
    calls.queueI2cByte(0xA5);
    for (const ssize_t moved : {-1, 0}) {
        calls.writeLimit = moved;
        EXPECT_EQ(bus.readRegister(0x12), 0) << moved;
    }
}

TEST_F(I2c, EveryTransferFailsOnABusThatIsNotOpen)
{
    calls.missingDevices = {"/dev/i2c-3"};
    I2cBus missing(3);
    bus.close();
    for (I2cBus* unopened : {&missing, &bus}) {
        const std::uint8_t byte = 0;
        unopened->setSlave(0x6C);
        EXPECT_FALSE(unopened->writeRegister(0, 0));
        EXPECT_FALSE(unopened->writeBytes(&byte, 1));
        EXPECT_EQ(unopened->readRegister(0), 0);
    }
}

} // namespace
