// Tests of the transfers on an I2C bus.
#include "hw/i2c_bus.h"

#include "tests/support/system_calls.h"

#include <array>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/i2c-dev.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string readWrite = std::to_string(O_RDWR | O_CLOEXEC);

class I2c : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "nothing is ever printed"; }

    // Both before the bus, which the capture is to cover.
    bool isCapturing = (testing::internal::CaptureStderr(), true);
    SystemCalls calls;
    I2cBus bus{22};
};

TEST_F(I2c, BusIsOpenedForReadingAndWritingByItsNumber)
{
    EXPECT_THAT(calls.takeLog(), ElementsAre("open /dev/i2c-22 flags " + readWrite));
    I2cBus first(0);
    I2cBus last(255);
    EXPECT_THAT(calls.takeLog(),
                ElementsAre("open /dev/i2c-0 flags " + readWrite, "open /dev/i2c-255 flags " + readWrite));
}

TEST_F(I2c, BusIsClosedOnceByCloseAndTheDestructor)
{
    {
        I2cBus other(1);
        calls.takeLog();
        other.close();
        EXPECT_THAT(calls.takeLog(), ElementsAre("close /dev/i2c-1"));
    }
    EXPECT_THAT(calls.takeLog(), IsEmpty());
    {
        I2cBus other(2);
    }
    EXPECT_THAT(calls.takeLog(), ElementsAre("open /dev/i2c-2 flags " + readWrite, "close /dev/i2c-2"));
}

TEST_F(I2c, BusOnDescriptorZeroIsClosedToo)
{
    calls.giveDescriptorZero();
    bus.open(23);
    calls.takeLog();
    bus.close();
    EXPECT_THAT(calls.takeLog(), ElementsAre("close /dev/i2c-23"));
}

TEST_F(I2c, NothingIsTransferredOnAClosedBus)
{
    bus.close();
    EXPECT_FALSE(bus.writeRegister(1, 2));
    EXPECT_EQ(bus.readRegister(1), 0);
}

TEST_F(I2c, OpeningAnotherBusClosesTheFirst)
{
    bus.open(23);
    EXPECT_EQ(calls.openDevices(), 1U);
    calls.takeLog();
    bus.close();
    EXPECT_THAT(calls.takeLog(), ElementsAre("close /dev/i2c-23"));
}

TEST_F(I2c, SetSlaveSelectsTheAddressAndIgnoresARefusal)
{
    calls.refuseIoctl(I2C_SLAVE);
    calls.takeLog();
    bus.setSlave(0x6C);
    EXPECT_THAT(calls.takeLog(), ElementsAre("address 6C"));
}

TEST_F(I2c, ARegisterIsWrittenInOneWriteOfTwoBytes)
{
    calls.takeLog();
    EXPECT_TRUE(bus.writeRegister(0x2F, 0x81));
    EXPECT_THAT(calls.takeLog(), ElementsAre("i2c write 2F 81"));
}

TEST_F(I2c, BytesAreWrittenInOneWrite)
{
    calls.takeLog();
    const std::array<std::uint8_t, 5> bytes = {0x00, 0xFF, 0x10, 0x7F, 0x80};
    EXPECT_TRUE(bus.writeBytes(bytes.data(), 5));
    EXPECT_TRUE(bus.writeBytes(bytes.data(), 3));
    EXPECT_THAT(calls.takeLog(), ElementsAre("i2c write 00 FF 10 7F 80", "i2c write 00 FF 10"));
}

TEST_F(I2c, TheLongestWriteIs255Bytes)
{
    const std::array<std::uint8_t, 255> bytes{};
    EXPECT_TRUE(bus.writeBytes(bytes.data(), 255));
    calls.limitWrites(254);
    EXPECT_FALSE(bus.writeBytes(bytes.data(), 255));
}

TEST_F(I2c, AWriteThatFailsOrMovesTooFewBytesIsNoSuccess)
{
    const std::array<std::uint8_t, 20> bytes{};
    for (const ssize_t moved : {-1, 0, 1}) {
        calls.limitWrites(moved);
        EXPECT_FALSE(bus.writeRegister(1, 2)) << moved;
        EXPECT_FALSE(bus.writeBytes(bytes.data(), 20)) << moved;
    }
}

TEST_F(I2c, ARegisterIsReadWithAWriteOfItsNumberAndAReadOfOneByte)
{
    calls.queueI2cByte(0xA5);
    calls.takeLog();
    EXPECT_EQ(bus.readRegister(0x12), 0xA5);
    EXPECT_THAT(calls.takeLog(), ElementsAre("i2c write 12", "i2c read of 1 bytes"));
}

TEST_F(I2c, AFailingReadGivesZeroAsARegisterThatHoldsZeroDoes)
{
    EXPECT_EQ(bus.readRegister(0x12), 0); // the read fails
    calls.queueI2cByte(0);
    EXPECT_EQ(bus.readRegister(0x12), 0);
    calls.queueI2cByte(0xA5);
    calls.limitWrites(-1);
    EXPECT_EQ(bus.readRegister(0x12), 0);
    calls.limitWrites(0);
    EXPECT_EQ(bus.readRegister(0x12), 0);
}

TEST_F(I2c, EveryTransferFailsQuietlyOnABusThatCannotBeOpened)
{
    calls.removeDevice("/dev/i2c-3");
    I2cBus missing(3);
    const std::uint8_t byte = 0;
    missing.setSlave(0x6C);
    EXPECT_FALSE(missing.writeRegister(0, 0));
    EXPECT_FALSE(missing.writeBytes(&byte, 1));
    EXPECT_EQ(missing.readRegister(0), 0);
    missing.close();
}

} // namespace
