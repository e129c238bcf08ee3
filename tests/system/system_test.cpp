// Brings the device to the state in which a test begins.
#include "tests/system/system_test.h"

#include <utility>

namespace fs = std::filesystem;

TestDevice::TestDevice()
    : decrypt(folder.path(), "decrypt.sh"), format(folder.path(), "format.sh"), install(folder.path(), "install.sh")
{
    fs::create_directories(folder.path() / "dev");
    fs::create_directories(folder.path() / "tmp/fw");
}

sim::SimulatedDevice& TestDevice::switchOn(sim::DeviceSetup setup)
{
    setup.updater = UPDATER;
    setup.preload = PRELOAD;
    setup.root = root();
    device = std::make_unique<sim::SimulatedDevice>(std::move(setup));
    return *device;
}

void TestDevice::replaceScript(const std::string& name, const std::string& body) const
{
    writeFile("usr/sbin/" + name, "#!/bin/sh\n" + body + "\n");
}

void TestDevice::setVersions(const std::string& oldVersion, const std::string& newVersion) const
{
    writeFile("tmp/fw/version.old.txt", oldVersion);
    writeFile("tmp/fw/version.txt", newVersion);
}

void TestDevice::settle()
{
    device->run(40);
}

void TestDevice::toPreparing()
{
    writeFile("dev/sda", "");
    writeFile("dev/sda1", "");
    if (device == nullptr) {
        switchOn();
    }
    device->runTo(usbCheckPeriod);
}

void TestDevice::toMenu(const std::string& oldVersion, const std::string& newVersion)
{
    setVersions(oldVersion, newVersion);
    toPreparing();
    decrypt.exit(*device, 0);
    settle();
}

void TestDevice::toUpdateDialog()
{
    toMenu();
    turn(-1);
    click();
}

void TestDevice::toFactoryDialog()
{
    toMenu();
    turn(1);
    click();
}

void TestDevice::toFormatting(bool factoryReset)
{
    factoryReset ? toFactoryDialog() : toUpdateDialog();
    turn(1);
    click();
}

void TestDevice::toInstalling(bool factoryReset)
{
    toFormatting(factoryReset);
    format.exit(*device, 0);
    settle();
}

void TestDevice::turn(int steps)
{
    device->turn(steps);
    settle();
}

void TestDevice::click()
{
    device->click();
    settle();
}

bool TestDevice::showsMessageAndWheel(const std::string& message)
{
    return frameUnder(message) >= 0;
}

int TestDevice::shownWheel()
{
    return frameUnder(texts::waiting);
}

int TestDevice::frameUnder(const std::string& message)
{
    const sim::Screen screen = device->screen();
    for (int frame = 0; frame < 8; ++frame) {
        if (screen == ScreenPainter().message(message).wheel(frame).screen()) {
            return frame;
        }
    }
    return -1;
}

testing::AssertionResult TestDevice::isHealthy()
{
    if (const auto status = device->waitStatus()) {
        return testing::AssertionFailure() << "the updater ended: " << sim::SimulatedDevice::describe(*status) << "\n"
                                           << device->standardError();
    }
    for (const std::string& violation : device->violations()) {
        return testing::AssertionFailure() << "protocol violation: " << violation;
    }
    return testing::AssertionSuccess();
}

void SystemTest::TearDown()
{
    if (!HasFatalFailure()) {
        EXPECT_TRUE(device.isHealthy());
    }
}
