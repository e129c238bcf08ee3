// Operates a simulated device, observes it, and records its inputs.
#pragma once

#include "sim/device/simulated_device.h"
#include "sim/session/device_files.h"
#include "sim/session/observation.h"
#include "sim/session/scenario.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sim {

/// The programs that a session runs.
struct Programs {
    std::filesystem::path updater{};
    std::filesystem::path preload{};
    /// Called at least every 100 ms while waiting for the updater. An exception ends the wait and propagates.
    std::function<void()> whileWaiting{};
    /// The recording of the lines; null for none. Must outlive the session.
    RecordingFile* wires = nullptr;
};

/// Runs in virtual time, which passes only during `run` and for one iteration at each power-on. Equal inputs at equal
/// iterations produce equal frames, on any machine. Operations throw std::runtime_error on failure. They do not throw
/// if the updater ends; `observe` reports its end.
class Session {
public:
    /// The number of iterations from a script's start to its first line, and from each line to the next.
    static constexpr std::uint64_t scriptPace = 250;
    /// How long a click presses the button, in iterations: longer than debouncing takes.
    static constexpr std::uint64_t clickIterations = SimulatedDevice::clickIterations;

    /// Creates the device's files and switches the device on. `files` must outlive the session.
    Session(DeviceFiles& files, Programs chosenPrograms, SessionSetup chosenSetup = {});
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    /// Switches the device off, and removes its files.
    ~Session();

    /// Applies and records an input (see isInput) at the current iteration; ignores its `at`. Throws std::logic_error
    /// if the statement is not an input. Also records inputs that change nothing, such as "unplug" without a drive.
    void apply(const Statement& input);
    /// Like `apply` for "plug" or "plug file", but with an existing image; `apply` itself creates the image if
    /// necessary.
    void plug(const Statement& input, const std::filesystem::path& image);
    /// Runs `iterations` iterations, fewer if the updater ends. Has no effect while the device is off.
    void run(std::uint64_t iterations);

    [[nodiscard]] const Observation& observe() const { return observation; }
    /// All events since the creation of the device, oldest first.
    [[nodiscard]] const std::vector<Event>& events() const { return log; }
    /// A scenario that produces the same frames: the set-up, and every input, with its iteration if the device was on.
    /// It also checks that the updater ends or is running, and that protocol violations occur, as in this session.
    [[nodiscard]] Scenario recording() const;

    /// The folder with the device's files.
    [[nodiscard]] const std::filesystem::path& root() const { return deviceRoot; }

private:
    void powerOn();
    void powerOff();
    [[nodiscard]] std::filesystem::path imageFor(const Statement& plugging) const;
    void record(const Statement& input);
    void exchangeDrive(const std::string& name, const std::filesystem::path& image);
    void setButton(bool isDown);
    void setFault(const std::string& name, bool on);
    void applyToDevice(const Statement& input);

    /// Calls `operation` if the updater is running. If `operation` throws DeviceEnded, records the end of the updater.
    void withDevice(const std::function<void()>& operation);
    void runSlice(std::uint64_t iterations);
    void observeDevice();
    void observeScript();
    void observeText(std::string& seen, const std::string& all, Event::Kind kind);
    void observeViolations();
    void observeEnd();
    void note(Event::Kind kind, const std::string& text);
    [[nodiscard]] std::optional<std::uint64_t> currentIteration() const;

    DeviceFiles& deviceFiles;
    const Programs programs;
    const SessionSetup setup;
    const std::filesystem::path deviceRoot;
    UsbDrive port;
    std::unique_ptr<SimulatedDevice> device;

    Observation observation;
    std::vector<Event> log;
    /// The recorded inputs, with a check before each power-off that follows the end of the updater.
    std::vector<Statement> inputs;
    /// The number of violations before the last power-on.
    std::size_t earlierViolations = 0;
};

} // namespace sim
