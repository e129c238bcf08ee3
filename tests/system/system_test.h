// The device as the system tests hold it: the real updater, scripts that obey, and a drive to plug.
#pragma once

#include "sim/device/simulated_device.h"
#include "tests/support/scratch_folder.h"
#include "tests/system/golden_screen.h"
#include "tests/system/ordered_script.h"
#include "tests/system/screen_painter.h"
#include "updater/screen_texts.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>

/// A device in virtual time, off until `switchOn`.
class TestDevice {
public:
    TestDevice();

    /// The setup's paths are filled in.
    sim::SimulatedDevice& switchOn(sim::DeviceSetup setup = {});
    sim::SimulatedDevice& operator*() { return *device; }
    sim::SimulatedDevice* operator->() { return device.get(); }

    [[nodiscard]] const std::filesystem::path& root() const { return folder.path(); }
    void writeFile(const std::string& path, const std::string& contents) const { folder.write(path, contents); }
    [[nodiscard]] std::string readFile(const std::string& path) const { return folder.read(path); }
    /// Puts a shell script of the test's own in the place of an ordered one.
    void replaceScript(const std::string& name, const std::string& body) const;
    void setVersions(const std::string& oldVersion, const std::string& newVersion) const;

    // Ways to get somewhere. Each leaves the device at rest: all that changed is on the screen.

    /// Runs until the next redraw and its transfer are over.
    void settle();
    /// Plugs a drive with a partition before the device is switched on, and waits until it is found.
    void toPreparing();
    void toMenu(const std::string& oldVersion = "1.4.2", const std::string& newVersion = "2.0.0");
    void toUpdateDialog();
    void toFactoryDialog();
    void toFormatting(bool factoryReset);
    void toInstalling(bool factoryReset);
    void turn(int steps);
    void click();

    /// Whether that message stands on the screen over the wheel, whichever way the wheel is turned.
    [[nodiscard]] bool showsAtWork(const std::string& message);

    /// No protocol violation so far, and the updater still runs.
    testing::AssertionResult isHealthy();

private:
    ScratchFolder folder;

public:
    OrderedScript decrypt;
    OrderedScript format;
    OrderedScript install;

private:
    std::unique_ptr<sim::SimulatedDevice> device;
};

/// Checks at its end that the device is healthy, unless the test says that it will not be.
class SystemTest : public testing::Test {
protected:
    void TearDown() override;

    TestDevice device;
    bool expectsHealth = true;
};
