// Applies each operation to the device and to the model.
#include "tests/system/modelled_device.h"

ModelledDevice::ModelledDevice(const std::string& oldVersion, const std::string& newVersion)
    : model(oldVersion, newVersion)
{
    device.setVersions(oldVersion, newVersion);
}

void ModelledDevice::findDrive()
{
    device.toPreparing();
    model.driveFound(device->iteration());
}

void ModelledDevice::advance(bool isReset)
{
    const bool isChoice = model.place() == FlowModel::Place::Menu;
    if (model.place() == FlowModel::Place::Waiting) {
        findDrive();
    } else if (model.isScriptRunning()) {
        currentScript().exit(*device, 0);
        awaitScriptEnd(0);
        device->run(1);
    } else {
        turn(isChoice ? isReset : true); // selects the operation or "Yes"
        click();
    }
}

void ModelledDevice::turn(bool right)
{
    device->turn(right ? 1 : -1);
    model.turned(right);
}

void ModelledDevice::click()
{
    press(60);
    model.clicked(releaseSeen);
}

void ModelledDevice::pressLong()
{
    press(1500);
}

/// Presses the button for the given number of iterations, starting immediately after a poll.
void ModelledDevice::press(std::uint64_t iterations)
{
    device->runTo((device->iteration() + 9) / 10 * 10);
    device->press();
    device->run(iterations);
    device->release();
    releaseSeen = device->iteration() + 40;
    device->run(40);
}

void ModelledDevice::printProgress(const sim::ControlledScript& script, const std::string& progress)
{
    script.print(*device, "SHOW: " + progress + "\n");
    model.progressPrinted(progress);
}

void ModelledDevice::awaitScriptEnd(int status)
{
    device->awaitScriptEnd();
    model.scriptEnded(status, device->iteration() + 1);
}

const sim::ControlledScript& ModelledDevice::currentScript() const
{
    return model.place() == FlowModel::Place::Preparing    ? device.decrypt
           : model.place() == FlowModel::Place::Formatting ? device.format
                                                           : device.install;
}

void ModelledDevice::settle()
{
    device->runTo(device->iteration() / 20 * 20 + 50);
}

sim::Screen ModelledDevice::expectedScreen()
{
    return model.screenDrawnAt(drawingShownAt(device->iteration()));
}

testing::AssertionResult ModelledDevice::showsExpectedScreen(const std::string& name)
{
    return sameScreen(device->screen(), expectedScreen(), name);
}

testing::AssertionResult ModelledDevice::isAsExpected(const std::string& name)
{
    auto result = showsExpectedScreen(name);
    return result ? device.isHealthy() : result;
}
