// The state of a session as a view shows it.
#pragma once

#include "sim/models/led_controller.h"
#include "sim/models/screen.h"

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace sim {

/// While the device is off, the screen and the LEDs are 0, `display` has its initial values, and `script` and `end` are
/// empty. `drive`, `isButtonDown` and `faults` stay current; everything else keeps its last value.
struct Observation {
    bool isOn = false;
    /// The number of completed iterations since the last power-on; an upper bound if the updater has ended.
    std::uint64_t iteration = 0;
    /// The number of complete frames since the last power-on.
    std::uint64_t frames = 0;
    /// The total iterations and frames before the last power-on.
    std::uint64_t earlierIterations = 0;
    std::uint64_t earlierFrames = 0;
    /// The picture on the display. It depends on all display registers except the contrast.
    Screen screen{};
    DisplayRegisters display{};
    /// The brightness of the LED controller's outputs.
    std::array<std::uint8_t, LedController::outputCount> leds{};
    /// The name of the drive as in the scenario language, "file" for a drive made from a file, empty for none.
    std::string drive{};
    bool isButtonDown = false;
    /// The name and the arguments of the running script, such as "format.sh 0"; empty if no script is running.
    std::string script{};
    /// The names of the injected faults, some of which take effect only at the next power-on.
    std::set<std::string> faults{};
    /// The updater's standard output and standard error since the last power-on; `error` includes the standard error of
    /// its scripts.
    std::string output{};
    std::string error{};
    /// The protocol violations since the creation of the device.
    std::vector<std::string> violations{};
    /// How the updater ended, such as "signal 11 (Segmentation fault)"; none while it runs or the device is off.
    std::optional<std::string> end{};
};

/// An entry of the log of a session.
struct Event {
    enum class Kind {
        /// A line of the updater's standard output, perhaps incomplete.
        Output,
        /// A line of the updater's standard error, perhaps incomplete.
        Error,
        Violation,
        /// The start of a script.
        Script,
        /// An input, as a statement.
        Input,
        /// The end of the updater.
        End,
    };

    std::uint64_t iteration;
    Kind kind;
    std::string text;
};

} // namespace sim
