// A device with the example scripts, which wait for the test at their start and after every progress line.
#pragma once

#include "sim/device/simulated_device.h"
#include "tests/support/scratch_folder.h"

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>

/// The folder that a test program copies for each device, the firmware, and the images of the drives; created once.
class DeviceParts {
public:
    static const DeviceParts& shared();

    [[nodiscard]] std::filesystem::path device() const { return folder / "device"; }
    [[nodiscard]] std::filesystem::path firmware() const { return folder / "firmware"; }
    [[nodiscard]] std::filesystem::path goodDrive() const { return drives.at("firmware"); }
    /// The image of a drive. `content` is a key of `drives`, such as "wrong byte".
    [[nodiscard]] std::filesystem::path driveWith(const std::string& content) const { return drives.at(content); }

private:
    DeviceParts();
    void makeFirmware();
    void makeDevice() const;
    void makeDrives();
    [[nodiscard]] std::filesystem::path pack(const std::string& keys) const;
    void makeDrive(const std::string& content, const std::string& name, const std::string& bytes);

    ScratchFolder folder;
    std::map<std::string, std::filesystem::path> drives;
};

/// `switchOn` and `release` throw std::runtime_error if they cannot use the FIFO that makes the scripts wait.
class HeldDevice {
public:
    HeldDevice();
    HeldDevice(const HeldDevice&) = delete;
    HeldDevice& operator=(const HeldDevice&) = delete;
    ~HeldDevice();

    void switchOn();
    /// Kills the updater and the scripts. The contents of /tmp and /run are lost.
    void switchOff();
    sim::SimulatedDevice* operator->() { return device.get(); }
    [[nodiscard]] bool isOn() const { return device != nullptr; }

    void plugGoodDrive() { device->plug(DeviceParts::shared().goodDrive()); }

    /// Waits for the next progress line of the running script and returns it; the script then waits for `release`.
    /// Returns nothing if the script has ended; the next script may already be running.
    std::optional<std::string> nextLine();
    /// Continues the waiting script.
    void release() const;

    /// The first process of the running script, and its descendant that does the work.
    [[nodiscard]] pid_t scriptProcess() const;
    [[nodiscard]] pid_t workProcess() const;
    /// The child of scriptProcess() and parent of workProcess().
    [[nodiscard]] pid_t middleProcess() const;

    /// Keeps `descriptor` open until the device is switched off, then closes it.
    void keepOpen(int descriptor) { lock = descriptor; }
    /// Appends lines to the settings of the scripts.
    void changeSettings(const std::string& lines) const;
    [[nodiscard]] std::filesystem::path file(const std::string& path) const { return root / path; }
    [[nodiscard]] std::filesystem::path memory() const { return root / "dev/memory"; }
    [[nodiscard]] std::filesystem::path backup() const { return root / "dev/backup"; }
    [[nodiscard]] const std::filesystem::path& path() const { return root; }

private:
    void openQueue();
    void closeDescriptors();

    ScratchFolder folder;
    const std::filesystem::path root = folder / "device";
    std::unique_ptr<sim::SimulatedDevice> device;
    int queue = -1;
    int lock = -1;
};
