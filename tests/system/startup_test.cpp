// From power-up to the first frame.
#include "tests/system/system_test.h"

#include <algorithm>

namespace {

class Startup : public SystemTest {};

/// Times are in microseconds. A byte on the bus takes 0.64 microseconds at 12.5 MHz.
TEST_F(Startup, SendsTheDocumentedTransfersToLedsAndDisplay)
{
    device.switchOn();
    device->runTo(19); // before the first frame
    const std::vector<std::string> expected = {
        "0 gpio 5 output",      "0 i2c slave 6C",
        "0 i2c write 2F 00",    "0 i2c write 00 01",
        "0 i2c write 14 10",    "0 i2c write 15 10",
        "0 i2c write 16 10",    "0 i2c write 17 10",
        "0 i2c write 18 10",    "0 i2c write 19 10",
        "0 i2c write 1A 10",    "0 i2c write 1B 10",
        "0 i2c write 1C 10",    "0 i2c write 1D 10",
        "0 i2c write 1E 10",    "0 i2c write 1F 10",
        "0 i2c write 20 10",    "0 i2c write 21 10",
        "0 i2c write 22 10",    "0 i2c write 23 10",
        "0 i2c write 24 10",    "0 i2c write 25 10",
        "0 i2c slave 6C",       "0 i2c write 01 00 00 00 00 00 00 00 00 00 00 00 00 FF FF FF FF FF FF 00",
        "0 gpio 7 output",      "0 gpio 25 output",
        "0 spi mode 3",         "0 spi bits 8",
        "0 spi speed 12500000", "0 gpio 25 high",
        "0 wait 20000",         "20000 gpio 25 low",
        "20000 wait 20000",     "40000 gpio 25 high",
        "40000 wait 200000",    "240000 spi C 30",
        "240000 spi C 6E",      "240001 spi C 31",
        "240001 spi C D7",      "240002 spi D 9F",
        "240003 spi C E0",      "240003 spi D 00",
        "240004 wait 20000",    "260004 spi C E3",
        "260005 wait 20000",    "280005 spi C E1",
        "280005 spi C 30",      "280006 spi C 94",
        "280007 spi C AE",      "280007 wait 50000",
        "330007 spi C 20",      "330008 spi D 0B",
        "330008 spi C 0C",      "330009 spi C 81",
        "330010 spi D 10",      "330010 spi D 04",
        "330011 spi C 31",      "330012 spi C 32",
        "330012 spi D 00",      "330013 spi D 01",
        "330014 spi D 02",      "330014 spi C 51",
        "330015 spi D FB",      "330016 spi C 30",
        "330016 spi C F0",      "330017 spi D 11",
        "330017 spi C CA",      "330018 spi D 00",
        "330019 spi D 9F",      "330019 spi D 00",
        "330020 spi C 31",      "330021 spi C F2",
        "330021 spi D 1E",      "330022 spi D 28",
        "330023 spi D 32",      "330023 spi C F0",
        "330024 spi D 16 x4",   "330026 spi C 30",
        "330027 spi C BC",      "330028 spi D 00",
        "330028 spi C A6",      "330029 spi C 31",
        "330030 spi C 40",      "330030 spi C 30",
        "330031 spi C 15",      "330032 spi D 00",
        "330032 spi D FF",      "330033 spi C 75",
        "330033 spi D 00",      "330034 spi D 9F",
        "330035 spi C 5C",      "330035 spi D 00 x10240",
        "336589 spi C AF",
    };
    EXPECT_EQ(device->traffic(), expected);
    EXPECT_EQ(device->standardOutput(), "Starting updater...\n");
    EXPECT_EQ(device->standardError(), "");
}

TEST_F(Startup, SendsTheFirstFrameInTheTwentiethIteration)
{
    device.switchOn();
    // The first iteration begins 336.59 ms after power-up; a frame takes 6.55 ms on the bus.
    device->runTo(19);
    EXPECT_EQ(device->frameCount(), 1U) << "expected only the cleared screen";
    device->runTo(20);
    EXPECT_EQ(device->traffic().back(), "355590 spi C 5C");
    device->runTo(26);
    EXPECT_EQ(device->frameCount(), 1U);
    device->runTo(27);
    EXPECT_EQ(device->frameCount(), 2U);
    EXPECT_EQ(device->traffic().back(), "355590 spi D [10240 bytes]");
}

struct MissingDevice {
    const char* fault;
    const char* message;
};

class StartupFault : public SystemTest, public testing::WithParamInterface<MissingDevice> {};

TEST_P(StartupFault, ContinuesWithTheOtherDevices)
{
    device.switchOn({.injectedFaults = {GetParam().fault}});
    device->runTo(600);
    EXPECT_EQ(device->standardOutput(), "Starting updater...\n");
    EXPECT_EQ(device->standardError(), GetParam().message);
    EXPECT_EQ(device->waitStatus(), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Device, StartupFault,
    testing::Values(MissingDevice{sim::fault::absentDisplay, "Unable to open SPI\n"},
                    MissingDevice{sim::fault::refusedMode, "Unable to set SPI mode\n"},
                    MissingDevice{sim::fault::refusedBits, "Unable to set SPI bits\n"},
                    MissingDevice{sim::fault::refusedSpeed, "Unable to set SPI baud\n"},
                    MissingDevice{sim::fault::failingDisplay, ""},
                    MissingDevice{sim::fault::absentEncoder, "Error opening rotary event device\n"},
                    MissingDevice{sim::fault::failingEncoder, ""}, MissingDevice{sim::fault::absentLeds, ""},
                    MissingDevice{sim::fault::failingLeds, ""}),
    [](const auto& test) {
        std::string name = test.param.fault;
        std::replace(name.begin(), name.end(), ' ', '_');
        return name;
    });

TEST_F(Startup, ReportsAMissingGpioBlockAndCrashes)
{
    expectsHealth = false;
    device.switchOn({.injectedFaults = {sim::fault::absentMemory}});
    EXPECT_EQ(sim::SimulatedDevice::describe(device->waitForEnd()), "signal 11");
    EXPECT_EQ(device->standardError(), "can't open /dev/mem! Make sure you are root!\n");
    EXPECT_EQ(device->standardOutput(), "Starting updater...\n");
}

TEST_F(Startup, ReportsAFailedMappingOfTheGpioBlockAndCrashes)
{
    expectsHealth = false;
    device.switchOn({.injectedFaults = {sim::fault::mappingFails}});
    EXPECT_EQ(sim::SimulatedDevice::describe(device->waitForEnd()), "signal 11");
    EXPECT_EQ(device->standardError(), "mmap error 0xffffffffffffffff\n");
}

} // namespace
