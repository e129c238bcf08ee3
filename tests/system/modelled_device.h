// A device together with a model of its expected screens.
#pragma once

#include "tests/system/flow_model.h"
#include "tests/system/system_test.h"

#include <cstdint>
#include <string>

/// Each operation acts on the device and on the model. Tests may replace the scripts until the drive is found.
class ModelledDevice {
public:
    ModelledDevice(const std::string& oldVersion, const std::string& newVersion);

    void findDrive();
    /// Performs the next step of a whole update or factory reset: finds the drive, ends the running script with status
    /// 0, chooses the operation, or confirms it.
    void advance(bool isReset);
    void turn(bool right);
    void click();
    void pressLong();
    /// Prints the progress from `script`, which must be running.
    void printProgress(const ControlledScript& script, const std::string& progress);
    /// Waits for the end of the running script, which has received the command to exit with `status`.
    void awaitScriptEnd(int status);
    /// The running script, if there is one.
    [[nodiscard]] const ControlledScript& currentScript() const;

    /// Runs until the display shows every change.
    void settle();
    /// The screen that the model expects on the display.
    [[nodiscard]] sim::Screen expectedScreen();

    // Call these when the device has settled. If the screens differ, they write pictures under `name`.

    [[nodiscard]] testing::AssertionResult showsExpectedScreen(const std::string& name);
    /// Also checks that the device is healthy.
    [[nodiscard]] testing::AssertionResult isAsExpected(const std::string& name);

    TestDevice device;
    FlowModel model;

private:
    void press(std::uint64_t iterations);

    std::uint64_t releaseSeen = 0;
};
