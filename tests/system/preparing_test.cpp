// The states that wait for the drive and that decrypt the firmware.
#include "tests/system/system_test.h"

namespace {

class Waiting : public SystemTest {};

TEST_F(Waiting, ChecksForTheDriveEvery501Iterations)
{
    device.switchOn();
    device->runTo(501);
    device.writeFile("dev/sda", "");
    device->runTo(1001);
    EXPECT_FALSE(device->isScriptRunning());
    device->runTo(1002);
    EXPECT_TRUE(device->isScriptRunning());
}

TEST_F(Waiting, AnUnexpectedErrorInTheDriveCheckEndsTheProgram)
{
    expectsHealth = false;
    device.switchOn();
    device->setInjectedFault(sim::fault::forbiddenDrive, true);
    EXPECT_THROW(device->runTo(501), sim::DeviceEnded);
    EXPECT_EQ(sim::SimulatedDevice::describe(device->waitForEnd()), "signal 6");
    EXPECT_NE(device->standardError().find("filesystem error"), std::string::npos) << device->standardError();
}

TEST_F(Waiting, AScriptThatCannotBeStartedEndsTheProgram)
{
    expectsHealth = false;
    device.switchOn();
    device->setInjectedFault(sim::fault::noProcesses, true);
    device.writeFile("dev/sda", "");
    EXPECT_THROW(device->runTo(501), sim::DeviceEnded);
    EXPECT_EQ(sim::SimulatedDevice::describe(device->waitForEnd()), "signal 6");
    EXPECT_NE(device->standardError().find("popen() failed"), std::string::npos) << device->standardError();
}

class Preparing : public SystemTest {};

TEST_F(Preparing, EachProgressLineReplacesThePreviousLine)
{
    device.toPreparing();
    for (const std::string progress : {"Decrypting 10%", "Decrypting 20%", ""}) {
        device.decrypt.print(*device, "noise\nSHOW: " + progress + "\n");
        device.settle();
        EXPECT_TRUE(device.showsMessageAndWheel(texts::preparingHeader + progress)) << progress;
    }
    EXPECT_EQ(device.decrypt.calls(), "/dev/sda1\n");
}

TEST_F(Preparing, FailureStopsTheWheel)
{
    device.toPreparing();
    device.decrypt.exit(*device, 1);
    device.settle();
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().message(texts::driveFailed).screen(), "failed"));
    EXPECT_EQ(device->standardOutput(), "Starting updater...\nA command failed...\n");
    const std::uint64_t frames = device->frameCount();
    device->run(10 * wheelPeriod);
    EXPECT_EQ(device->frameCount(), frames);
}

} // namespace
