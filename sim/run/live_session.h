// Runs a device interactively in a terminal, in real time.
#pragma once

#include "sim/device/simulated_device.h"
#include "sim/run/button_timer.h"
#include "sim/run/frame_folder.h"
#include "sim/run/live_view.h"
#include "sim/session/reference_screens.h"

#include <filesystem>
#include <string>
#include <vector>

namespace sim {

class LiveSession {
public:
    /// Starts the device. Only `updater`, `preload` and `root` of `setup` are used.
    LiveSession(DeviceSetup setup, std::filesystem::path driveImage, const ReferenceScreens& chosenReferences,
                FrameFolder& chosenFrames);

    /// Returns when the user quits, SIGINT arrives or the updater ends. Throws Interrupted after any other termination
    /// signal, and std::runtime_error if the terminal or the device fails.
    void run();
    /// Prints the results; call it after `run`. Returns false if the updater ended or violated a protocol.
    [[nodiscard]] bool report();

private:
    void showUntilQuit();
    void handle(Command command);
    void insertDrive();
    void ejectDrive();
    void saveScreen();
    void updateButton();
    void updateSnapshot();
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
