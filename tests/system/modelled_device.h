// A device together with a model of its expected screens.
#pragma once

#include "tests/system/flow_model.h"
#include "tests/system/system_test.h"

#include <cstdint>
#include <string>

/// Each operation acts on both the device and the model. Tests may replace a script before it starts.
class ModelledDevice {
public:
    ModelledDevice(const std::string& oldVersion, const std::string& newVersion);

    /// Plugs in a drive and runs until the updater has found it.
    void findDrive();
    /// Performs the next step of an update or a factory reset: finds the drive, ends the running script with status 0,
    /// chooses the operation, or confirms it.
    void advance(bool isReset);
    void turn(bool right);
    void click();
    /// Presses the button for 1500 iterations, which is too long for a click and has no effect.
    void pressLong();
    /// Makes `script` print the progress line. The script must be running.
    void printProgress(const sim::ControlledScript& script, const std::string& progress);
    /// Waits until the running script has ended or has closed its output. `status` is the exit status that the updater
    /// will read.
    void awaitScriptEnd(int status);
    /// The running script. A script must be running.
    [[nodiscard]] const sim::ControlledScript& currentScript() const;

    /// Runs until the display shows every change.
    void settle();
    /// The screen that the model expects on the display.
    [[nodiscard]] sim::Screen expectedScreen();

    // Call these checks only when the display shows every change. If the screens differ, the checks write pictures with
    // `name` in the file names.

    [[nodiscard]] testing::AssertionResult showsExpectedScreen(const std::string& name);
    /// Also checks that the device is healthy.
    [[nodiscard]] testing::AssertionResult isAsExpected(const std::string& name);

    TestDevice device;
    FlowModel model;

private:
    void press(std::uint64_t iterations);

    /// The iteration in which the updater detects the last release of the button.
    std::uint64_t releaseSeen = 0;
};
