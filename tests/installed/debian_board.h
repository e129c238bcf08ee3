// The emulated board with the Debian system of make_system.sh.
#pragma once

#include "tests/board/board_test.h"

#include <filesystem>
#include <string>

/// Unless `observesBoot` is set, the constructor returns when systemd has finished the boot.
class DebianBoard : public Board {
public:
    struct Options {
        std::string kernelOptions = {};
        /// The file name of a device tree; see Board::Setup::tree.
        std::string tree = "wired.dtb";
        /// See Board::Setup::observesBoot.
        bool observesBoot = false;
    };

    /// `card` is the file name of a card that make_system.sh created; changes to it are discarded.
    DebianBoard(const std::string& name, const std::string& card, const Options& options);

    /// Runs a shell command and returns its output. Throws std::runtime_error if the command fails.
    std::string query(const std::string& command);
    /// Runs a shell command. Returns true if it succeeds.
    bool succeeds(const std::string& command);
    /// The messages of the updater and its scripts, and of systemd about the service, since the last call.
    std::string journal();
    /// Creates a file and its folder. `text` must not contain ', % or a backslash.
    void writeFile(const std::string& path, const std::string& text);
    /// Starts the service. Returns the time until the waiting screen, in seconds.
    double startAndMeasure();
};
