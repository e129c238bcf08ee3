// A person at a device: keys in, the screen out, in real time.
#pragma once

#include "sim/device/simulated_device.h"
#include "sim/run/button_timer.h"
#include "sim/run/frame_folder.h"
#include "sim/run/live_view.h"
#include "sim/run/reference_screens.h"

#include <filesystem>
#include <string>
#include <vector>

namespace sim {

class LiveSession {
public:
    /// Starts the device. Its setup names the updater, the library and the root.
    LiveSession(DeviceSetup setup, std::filesystem::path driveImage, const ReferenceScreens& chosenReferences,
                FrameFolder& chosenFrames);

    /// Until the person quits, or the updater ends. Throws Interrupted, and std::runtime_error when something fails.
    void run();
    /// Tells what there is to tell after the screen is gone; false when something was wrong.
    bool report();

private:
    void showUntilQuit();
    void handle(Command command);
    void plug();
    void pull();
    void saveScreen();
    void updateButton();
    void look();
    void reportEnd();

    const std::filesystem::path drive;
    const ReferenceScreens& references;
    FrameFolder& frames;
    SimulatedDevice device;

    Snapshot snapshot;
    ButtonTimer buttonTimer;
    std::vector<std::string> violations;
    std::vector<std::string> screenshots;
    bool hasQuit = false;
    bool needsReset = false;
};

} // namespace sim
