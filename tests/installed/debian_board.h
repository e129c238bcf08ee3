// The emulated board with the Debian system of make_system.sh.
#pragma once

#include "tests/board/board_test.h"

#include <filesystem>
#include <string>

/// The constructor returns when systemd has finished the boot.
class DebianBoard : public Board {
public:
    struct Options {
        std::string kernelOptions = {};
        /// The device tree, one of the trees of the board.
        std::string tree = "wired.dtb";
        /// Observes the wires from power-on. The constructor then does not wait for the boot.
        bool observesBoot = false;
    };

    /// `card` names a card of make_system.sh; its changes are discarded.
    DebianBoard(const std::string& name, const std::string& card, const Options& options);

    /// Runs a shell command, which must succeed, and returns its output. Throws std::runtime_error when it fails.
    std::string query(const std::string& command);
    /// Returns true when the shell command succeeds.
    bool succeeds(const std::string& command);
    /// The messages of the updater and its scripts, and of systemd about the service, since the last call.
    std::string journal();
    /// Creates a file and its folder. `text` must not contain ', % or a backslash.
    void writeFile(const std::string& path, const std::string& text);
    /// Starts the service. Returns the time until the waiting screen, in seconds.
    double startAndMeasure();
};
