// From power-up to the first frame.
#include "tests/system/system_test.h"

#include <algorithm>

namespace {

class Startup : public SystemTest {};

/// Times are in microseconds. A byte on the display's bus takes 0.64 microseconds at 12.5 MHz, and 1 microsecond passes
/// between two transfers. Writing a register of the LED controller takes 290 microseconds at 100 kHz.
TEST_F(Startup, SendsTheDocumentedTransfersToLedsAndDisplay)
{
    device.switchOn();
    device->runTo(19); // before the first frame
    const std::vector<std::string> expected = {
        "0 gpio 5 output",         "0 i2c slave 6C",
        "0 i2c write 2F 00",       "290 i2c write 00 01",
        "580 i2c write 14 10",     "870 i2c write 15 10",
        "1160 i2c write 16 10",    "1450 i2c write 17 10",
        "1740 i2c write 18 10",    "2030 i2c write 19 10",
        "2320 i2c write 1A 10",    "2610 i2c write 1B 10",
        "2900 i2c write 1C 10",    "3190 i2c write 1D 10",
        "3480 i2c write 1E 10",    "3770 i2c write 1F 10",
        "4060 i2c write 20 10",    "4350 i2c write 21 10",
        "4640 i2c write 22 10",    "4930 i2c write 23 10",
        "5220 i2c write 24 10",    "5510 i2c write 25 10",
        "5800 i2c slave 6C",       "5800 i2c write 01 00 00 00 00 00 00 00 00 00 00 00 00 FF FF FF FF FF FF 00",
        "7710 gpio 7 output",      "7710 gpio 25 output",
        "7710 spi mode 3",         "7710 spi bits 8",
        "7710 spi speed 12500000", "7710 gpio 25 high",
        "7710 wait 20000",         "27710 gpio 25 low",
        "27710 wait 20000",        "47710 gpio 25 high",
        "47710 wait 200000",       "247710 spi C 30",
        "247711 spi C 6E",         "247713 spi C 31",
        "247714 spi C D7",         "247716 spi D 9F",
        "247718 spi C E0",         "247719 spi D 00",
        "247720 wait 20000",       "267720 spi C E3",
        "267721 wait 20000",       "287721 spi C E1",
        "287722 spi C 30",         "287724 spi C 94",
        "287726 spi C AE",         "287726 wait 50000",
        "337726 spi C 20",         "337728 spi D 0B",
        "337729 spi C 0C",         "337731 spi C 81",
        "337733 spi D 10",         "337734 spi D 04",
        "337736 spi C 31",         "337738 spi C 32",
        "337739 spi D 00",         "337741 spi D 01",
        "337743 spi D 02",         "337744 spi C 51",
        "337746 spi D FB",         "337748 spi C 30",
        "337749 spi C F0",         "337751 spi D 11",
        "337752 spi C CA",         "337754 spi D 00",
        "337756 spi D 9F",         "337757 spi D 00",
        "337759 spi C 31",         "337761 spi C F2",
        "337762 spi D 1E",         "337764 spi D 28",
        "337766 spi D 32",         "337767 spi C F0",
        "337769 spi D 16 x4",      "337775 spi C 30",
        "337777 spi C BC",         "337779 spi D 00",
        "337780 spi C A6",         "337782 spi C 31",
        "337784 spi C 40",         "337785 spi C 30",
        "337787 spi C 15",         "337789 spi D 00",
        "337790 spi D FF",         "337792 spi C 75",
        "337793 spi D 00",         "337795 spi D 9F",
        "337797 spi C 5C",         "337798 spi D 00 x10240",
        "354592 spi C AF",
    };
    EXPECT_EQ(device->traffic(), expected);
    EXPECT_EQ(device->standardOutput(), "Starting updater...\n");
    EXPECT_EQ(device->standardError(), "");
}

TEST_F(Startup, SendsTheFirstFrameInTheTwentiethIteration)
{
    device.switchOn();
    // The first iteration begins 354.59 ms after power-up; a frame takes 6.55 ms on the bus.
    device->runTo(19);
    EXPECT_EQ(device->frameCount(), 1U) << "expected only the cleared screen";
    device->runTo(20);
    EXPECT_EQ(device->traffic().back(), "373593 spi C 5C");
    device->runTo(26);
    EXPECT_EQ(device->frameCount(), 1U);
    device->runTo(27);
    EXPECT_EQ(device->frameCount(), 2U);
    EXPECT_EQ(device->traffic().back(), "373594 spi D [10240 bytes]");
}

struct MissingDevice {
    const char* fault;
    const char* message;
};

class StartupFault : public SystemTest, public testing::WithParamInterface<MissingDevice> {};

TEST_P(StartupFault, DoesNotEndTheUpdater)
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

} // namespace
