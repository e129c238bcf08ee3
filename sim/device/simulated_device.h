// A whole device to hold in one's hands: the updater runs on it, unmodified.
#pragma once

#include "sim/device/process_group.h"
#include "sim/models/screen.h"
#include "sim/models/usb_drive.h"
#include "sim/protocol/channel.h"
#include "sim/protocol/injected_faults.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sim {

enum class Time {
    /// For a person: an iteration takes a millisecond.
    Real,
    /// For a test: the device stands still until it is told to run on. Scripts run in no time at all.
    Virtual,
    /// Virtual, but no faster than real time while a script runs.
    VirtualPaced,
};

struct DeviceSetup {
    std::filesystem::path updater{};
    std::filesystem::path preload{};
    /// The folder in which the device keeps its files; the folders it needs are made.
    std::filesystem::path root{};
    Time time = Time::Virtual;
    std::vector<std::string> injectedFaults{};
    /// How long the bus takes for one frame, if not the time that the bus speed gives.
    std::chrono::microseconds frameTime{0};
    /// The one transfer on the I2C bus that is refused, counted from 1; 0 for none. Selecting a device counts as one.
    int refusedI2cTransfer = 0;
    /// Not for a run of days, as `traffic` keeps all of it in the memory of the updater.
    bool keepsTraffic = true;
    /// Added to the environment of the updater and its scripts, as NAME=VALUE.
    std::vector<std::string> environment{};
    /// How long to wait for an answer; zero for as long as it takes.
    std::chrono::milliseconds patience{0};
    /// Called again and again while the device lets itself be waited for; what it throws ends the waiting.
    std::function<void()> whileWaiting{};
};

/// The device cannot be used any longer: its program has ended.
class DeviceEnded : public std::exception {
public:
    [[nodiscard]] const char* what() const noexcept override { return "the updater has ended"; }
};

/// Operations throw DeviceEnded when the updater has ended, and std::runtime_error when the device cannot be built or
/// does not answer.
class SimulatedDevice {
public:
    /// How long a press, and the pause after it, are for a click: enough for the debouncing of the button.
    static constexpr std::uint64_t clickIterations = 60;

    /// Switches the device on. In virtual time it then stands at the end of its first iteration.
    explicit SimulatedDevice(DeviceSetup deviceSetup);
    SimulatedDevice(const SimulatedDevice&) = delete;
    SimulatedDevice& operator=(const SimulatedDevice&) = delete;
    /// Switches it off, and ends its scripts.
    ~SimulatedDevice() = default;

    // The owner's hands.

    void turn(std::int32_t steps);
    void press();
    void release();
    void plug(const std::filesystem::path& driveImage) { drive.plug(driveImage); }
    void unplug() { drive.unplug(); }
    [[nodiscard]] bool hasDrive() const { return drive.isPlugged(); }

    // Virtual time.

    /// Lets the device run that many iterations.
    void run(std::uint64_t iterations);
    /// Lets it run to the end of that iteration.
    void runTo(std::uint64_t targetIteration);
    /// Presses and releases the button, each long enough to count.
    void click();
    /// Holds time still until the running script has written that many bytes that are not read yet, or has ended.
    void awaitScriptOutput(int byteCount);
    void awaitScriptEnd() { awaitScriptOutput(0); }

    // What can be seen.

    [[nodiscard]] Screen screen();
    /// The brightness of the eighteen LED outputs, the bar last.
    [[nodiscard]] std::array<std::uint8_t, 18> leds();
    [[nodiscard]] std::uint64_t iteration();
    /// Frames received whole by the display.
    [[nodiscard]] std::uint64_t frameCount();
    [[nodiscard]] bool isScriptRunning();
    /// What the program did that its devices do not allow.
    [[nodiscard]] std::vector<std::string> violations();
    /// All that happened on the wires: the time in microseconds, a blank, and the event.
    [[nodiscard]] std::vector<std::string> traffic();
    [[nodiscard]] std::string standardOutput() const;
    [[nodiscard]] std::string standardError() const;

    /// How the updater has ended (as waitpid tells it), if it has.
    [[nodiscard]] std::optional<int> waitStatus() { return process.waitStatus(); }
    /// Waits for the updater to end by itself.
    int waitForEnd() { return process.waitForEnd(); }
    /// That of the updater.
    [[nodiscard]] pid_t processId() const { return process.getPid(); }
    /// In words, such as "exit status 1" or "signal 11".
    [[nodiscard]] static std::string describe(int waitStatus);
    /// For a person, such as "signal 11 (Segmentation fault)".
    [[nodiscard]] static std::string explain(int waitStatus);

    // What goes wrong.

    void setInjectedFault(const std::string& name, bool on);
    void queueEncoderEvent(std::uint16_t type, std::uint16_t code, std::int32_t value);

    [[nodiscard]] const std::filesystem::path& root() const { return setup.root; }

private:
    struct Status {
        std::uint64_t iteration;
        std::uint64_t frames;
        bool script;
    };

    void makeFolders() const;
    void startProgram();
    [[noreturn]] void becomeProgram(int socket) const;
    void configure();
    void askFirst(const std::string& request);
    std::string ask(const std::string& request);
    void awaitAnswer() const;
    void awaitEnd();
    void callWhileWaiting() const;
    Status status();

    DeviceSetup setup;
    UsbDrive drive;
    std::unique_ptr<Channel> channel;
    ProcessGroup process;
};

} // namespace sim
