// The fixture for the system tests: the real updater on a simulated device, with scripts that the test controls.
#pragma once

#include "sim/device/controlled_script.h"
#include "sim/device/simulated_device.h"
#include "tests/support/scratch_folder.h"
#include "tests/system/golden_screen.h"
#include "tests/system/screen_painter.h"
#include "updater/screen_texts.h"
#include "updater/timing.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <linux/input.h>
#include <memory>
#include <string>

/// A simulated device in virtual time. It is off at first.
class TestDevice {
public:
    TestDevice();

    /// Sets the paths in `setup` and switches the device on.
    sim::SimulatedDevice& switchOn(sim::DeviceSetup setup = {});
    sim::SimulatedDevice& operator*() { return *device; }
    sim::SimulatedDevice* operator->() { return device.get(); }

    [[nodiscard]] const std::filesystem::path& root() const { return folder.path(); }
    void writeFile(const std::string& path, const std::string& contents) const { folder.write(path, contents); }
    [[nodiscard]] std::string readFile(const std::string& path) const { return folder.read(path); }
    /// Replaces a controlled script with a shell script that contains `body`.
    void replaceScript(const std::string& name, const std::string& body) const;
    void setVersions(const std::string& oldVersion, const std::string& newVersion) const;

    /// Plugs in a drive with a partition, switches the device on if it is off, and runs until the updater finds the
    /// drive. Must be called before iteration 501, in which the updater first checks for the drive.
    void toPreparing();

    // Each of these operations returns once the display shows every change.

    /// Runs until the next redraw has reached the display.
    void settle();
    void toMenu(const std::string& oldVersion = "1.4.2", const std::string& newVersion = "2.0.0");
    void toUpdateDialog();
    void toFactoryDialog();
    void toFormatting(bool factoryReset);
    void toInstalling(bool factoryReset);
    void turn(int steps);
    void click();

    /// True if the screen shows exactly `message` and any frame of the wheel.
    [[nodiscard]] bool showsMessageAndWheel(const std::string& message);
    /// The wheel's frame (0 to 7) on the waiting screen; -1 for any other screen.
    [[nodiscard]] int shownWheel();

    /// Fails if the updater has ended or has violated a device protocol.
    testing::AssertionResult isHealthy();

private:
    [[nodiscard]] int frameUnder(const std::string& message);

    ScratchFolder folder;

public:
    sim::ControlledScript decrypt;
    sim::ControlledScript format;
    sim::ControlledScript install;

private:
    std::unique_ptr<sim::SimulatedDevice> device;
};

/// Checks after each test that the device is healthy.
class SystemTest : public testing::Test {
protected:
    void TearDown() override;

    TestDevice device;
};
