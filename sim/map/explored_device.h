// A device whose inputs and script results the explorer chooses.
#pragma once

#include "sim/device/controlled_script.h"
#include "sim/device/simulated_device.h"
#include "sim/map/wheel.h"
#include "sim/models/screen.h"

#include <array>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

namespace sim {

/// What the owner sees, and the script that runs.
struct Place {
    /// If it shows the busy indicator, the indicator is always in the same frame; see WheelFrames.
    Screen screen{};
    Wheel wheel = Wheel::None;
    /// The file name and the arguments; empty if no script is running.
    std::string script{};

    bool operator==(const Place&) const = default;
    friend bool operator<(const Place& a, const Place& b)
    {
        return std::tie(a.screen, a.wheel, a.script) < std::tie(b.screen, b.wheel, b.script);
    }
};

/// Devices in equal states react in the same way to every act.
struct State {
    Place place{};
    bool hasDrive = false;
    /// Whether decrypt.sh has found an installed version.
    bool isInstalled = false;
    /// The scripts that have been started, with their arguments.
    std::vector<std::string> calls{};

    bool operator==(const State&) const = default;
    friend bool operator<(const State& a, const State& b)
    {
        return std::tie(a.place, a.hasDrive, a.isInstalled, a.calls) <
               std::tie(b.place, b.hasDrive, b.isInstalled, b.calls);
    }
};

/// A new device, switched on. Operations throw DeviceEnded if the updater has ended, and std::runtime_error on any
/// other failure.
class ExploredDevice {
public:
    struct Programs {
        std::filesystem::path updater;
        std::filesystem::path preload;
        /// The folder in which the device's folder is created.
        std::filesystem::path work;
    };

    explicit ExploredDevice(const Programs& programs);
    ExploredDevice(const ExploredDevice&) = delete;
    ExploredDevice& operator=(const ExploredDevice&) = delete;

    /// Waits until the device has reacted to the last operation. Then returns one screen for each frame of the wheel.
    [[nodiscard]] std::vector<Screen> settle();
    [[nodiscard]] State state(const WheelFrames& wheel);
    /// The protocol violations so far.
    [[nodiscard]] std::vector<std::string> violations() { return device.violations(); }

    void turn(int steps) { device.turn(steps); }
    void click() { device.click(); }
    void pressLong();
    void plug();
    void unplug() { device.unplug(); }

    // The running script.

    void printProgress();
    /// Makes the script exit. For decrypt.sh, first writes the files with the new and the installed version; the latter
    /// is empty unless `findsInstalled`.
    void endScript(int status, bool findsInstalled = false);
    void killScript();

private:
    /// The device's files, removed by the destructor.
    struct Root {
        explicit Root(std::filesystem::path newFolder);
        Root(const Root&) = delete;
        Root& operator=(const Root&) = delete;
        ~Root();

        std::filesystem::path folder;
    };

    void write(const std::string& name, const std::string& text) const;
    /// The scripts that have been started, with their arguments.
    [[nodiscard]] std::vector<std::string> calls();
    [[nodiscard]] const ControlledScript& script();

    const Root root;
    const std::array<ControlledScript, 3> scripts;
    SimulatedDevice device;
    bool isInstalled = false;
};

} // namespace sim
