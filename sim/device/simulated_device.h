// The simulated device, which runs the unmodified updater.
#pragma once

#include "sim/device/process_group.h"
#include "sim/models/led_controller.h"
#include "sim/models/screen.h"
#include "sim/models/usb_drive.h"
#include "sim/protocol/channel.h"
#include "sim/protocol/injected_faults.h"
#include "sim/wires/recording_file.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace sim {

struct DeviceSetup {
    std::filesystem::path updater{};
    std::filesystem::path preload{};
    /// The folder with the device's files. Missing subfolders are created.
    std::filesystem::path root{};
    /// Names from injected_faults.h.
    std::vector<std::string> injectedFaults{};
    /// The transfer time of a frame; 0 for the time that follows from the bus speed.
    std::chrono::microseconds frameTime{0};
    /// The number of iterations from a script's start to its first line, and from each line to the next; 0 passes lines
    /// on immediately. See sim/preload/script_output.h.
    std::uint64_t scriptPace = 0;
    /// The I2C transfer that fails, counted from 1; 0 for none. Selecting a device counts as a transfer.
    int refusedI2cTransfer = 0;
    /// Whether the traffic is logged. Set to false for long runs, because the log grows in the updater's memory.
    bool keepsTraffic = true;
    /// The recording of the lines, which this device continues; null for none. Must outlive the device.
    RecordingFile* wires = nullptr;
    /// Added to the environment of the updater and its scripts, as NAME=VALUE.
    std::vector<std::string> environment{};
    /// How long to wait for a reply from the updater; 0 for no limit.
    std::chrono::milliseconds timeout{0};
    /// How long the updater may run after it has closed its socket, before it is killed.
    std::chrono::milliseconds endTimeout{20000};
    /// Called at least every 100 ms while waiting for the updater, except in `waitForEnd`. An exception ends the wait
    /// and propagates.
    std::function<void()> whileWaiting{};
};

/// Thrown by a request if the updater has ended or ends before it replies. All later requests throw it too.
class DeviceEnded : public std::exception {
public:
    [[nodiscard]] const char* what() const noexcept override { return "the updater has ended"; }
};

/// Runs in virtual time, which passes only during construction, `run`, `runTo` and `click`, and jumps from one event to
/// the next. Operations that send a request to the updater throw DeviceEnded if it has ended, and std::runtime_error if
/// it does not reply in time or reports an error.
class SimulatedDevice {
public:
    /// For how many iterations `click` presses, and then releases, the button: longer than debouncing takes.
    static constexpr std::uint64_t clickIterations = 60;

    /// Switches the device on. Returns at the end of the first iteration, or when the updater ends in that iteration.
    /// Throws std::runtime_error if the updater cannot be started.
    explicit SimulatedDevice(DeviceSetup deviceSetup);
    SimulatedDevice(const SimulatedDevice&) = delete;
    SimulatedDevice& operator=(const SimulatedDevice&) = delete;
    /// Switches the device off and kills its scripts.
    ~SimulatedDevice() = default;

    // Input.

    void turn(std::int32_t steps);
    void press();
    void release();
    void plug(const std::filesystem::path& driveImage) { drive.plug(driveImage); }
    void unplug() { drive.unplug(); }
    [[nodiscard]] bool hasDrive() const { return drive.isPlugged(); }

    // Time.

    /// Returns when `iterations` more iterations have run.
    void run(std::uint64_t iterations);
    /// Runs to the end of `targetIteration`. Throws std::logic_error if it has passed.
    void runTo(std::uint64_t targetIteration);
    /// Presses and releases the button, for `clickIterations` each.
    void click();
    /// Without a script pace, waits until at least `byteCount` bytes of script output are unread or the script has
    /// closed its output; if `byteCount` is 0, waits only for the output to be closed. Runs no iterations. Returns
    /// immediately if no script is running.
    void awaitScriptOutput(int byteCount);
    void awaitScriptEnd() { awaitScriptOutput(0); }
    /// With a script pace, waits until the script has written its next line or has closed its output.
    void awaitScriptStep() { request("await-step"); }

    // Output.

    [[nodiscard]] Screen screen();
    /// The brightness of the eighteen LED outputs; the last six are the bar.
    [[nodiscard]] std::array<std::uint8_t, LedController::outputCount> leds() { return status().leds; }
    [[nodiscard]] std::uint64_t iteration();
    /// The number of frames that the display has received in full.
    [[nodiscard]] std::uint64_t frameCount();
    [[nodiscard]] DisplayRegisters displayRegisters() { return status().display; }
    [[nodiscard]] bool isScriptRunning() { return !status().script.empty(); }
    /// The name and the arguments of the running script, such as "format.sh 0"; empty if no script is running.
    [[nodiscard]] std::string runningScript() { return status().script; }
    [[nodiscard]] std::size_t violationCount() { return status().violations; }
    /// The protocol violations so far.
    [[nodiscard]] std::vector<std::string> violations();
    /// The traffic log. Each line is the time in microseconds, a blank, and an event. See Board::traffic.
    [[nodiscard]] std::vector<std::string> traffic();
    /// Everything that the updater has written. Standard error also contains what its scripts have written there.
    [[nodiscard]] const std::string& standardOutput();
    [[nodiscard]] const std::string& standardError();

    /// The wait status of the updater (see waitpid) if it has ended.
    [[nodiscard]] std::optional<int> waitStatus() { return process.waitStatus(); }
    /// Waits for the updater to end, and returns its wait status.
    int waitForEnd() { return process.waitForEnd(); }
    [[nodiscard]] pid_t processId() const { return process.getPid(); }
    /// A description such as "exit status 1" or "signal 11".
    [[nodiscard]] static std::string describe(int waitStatus);
    /// Like `describe`, with the name of the signal: "signal 11 (Segmentation fault)".
    [[nodiscard]] static std::string explain(int waitStatus);

    // Faults.

    void setInjectedFault(const std::string& name, bool on);
    void queueEncoderEvent(std::uint16_t type, std::uint16_t code, std::int32_t value);

    [[nodiscard]] const std::filesystem::path& root() const { return setup.root; }

private:
    struct Status {
        std::uint64_t iteration;
        std::uint64_t frames;
        DisplayRegisters display;
        std::size_t violations;
        std::string script;
        std::array<std::uint8_t, LedController::outputCount> leds;
    };

    void makeFolders() const;
    void startProgram();
    [[noreturn]] void becomeProgram(int socket) const;
    void configure();
    [[nodiscard]] std::vector<std::string> configuration() const;
    [[nodiscard]] std::runtime_error startFailure();
    std::string request(const std::string& text);
    std::string receiveReply();
    void awaitReply() const;
    void awaitEnd();
    void callWhileWaiting() const;
    void setStatus(const std::string& text);
    const Status& status();

    DeviceSetup setup;
    UsbDrive drive;
    std::unique_ptr<Channel> channel;
    ProcessGroup process;
    /// The status after the last iteration; empty until the first iteration has ended.
    std::optional<Status> lastStatus;
    std::string output;
    std::string error;
};

} // namespace sim
