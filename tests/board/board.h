// The emulated board: boots it, operates its controls, and observes its wires.
#pragma once

#include "tests/board/bus.h"
#include "tests/board/emulator.h"
#include "tests/board/scene.h"

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// Every wait throws std::runtime_error when its condition is not met within three minutes or the board has ended. The
/// console output, the events on the wires and the last screen are kept in the build folder's board_runs/NAME/; after a
/// failed test, so is the card.
class Board {
public:
    struct Setup {
        std::string name;
        /// The SD card image, which the board modifies; default: a copy of the prepared card.
        std::filesystem::path card = {};
        /// Kernel options that the updater needs.
        std::string kernelOptions = "iomem=relaxed spidev.bufsiz=10240";
        bool hasI2cInterrupt = true;
    };

    /// Returns when the board has booted.
    explicit Board(const Setup& setup);
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;
    ~Board();

    // Operating the board.

    void startUpdater();
    /// Kills the updater and its scripts; the kernel continues.
    void stopUpdater();
    void turn(int detents);
    /// Presses and releases the button, each until the debounced state has changed.
    void click();
    /// Plugs a drive; `image` names a prepared image.
    void plug(const std::string& image);
    void pull();
    /// Ends the emulator between two instructions. Only the destructor may follow.
    void cutPower();

    // Observing the board.

    /// Runs a shell command on the board. Returns the console output, which ends with the line of the exit status.
    std::vector<std::string> run(const std::string& command);
    /// Waits for a screen of the scene among the screens sent since the last wait.
    void waitForScene(const Scene& scene);
    /// Waits for `line` among the console lines since the last wait.
    void waitForLine(const std::string& line);
    void waitFor(const std::string& what, const std::function<bool(const Bus&)>& condition);
    /// Waits for `count` polls of the button; the updater polls in every tenth iteration.
    void waitForPolls(int count);
    /// The console lines since the last wait.
    [[nodiscard]] std::vector<std::string> lines();
    /// Calls `operation` with the bus locked.
    template <typename Operation>
    auto withBus(Operation&& operation)
    {
        const std::lock_guard lock(mutex);
        return operation(bus);
    }
    [[nodiscard]] const std::filesystem::path& card() const { return cardFile; }
    /// True when the emulator's standard error contains `text`.
    [[nodiscard]] bool hasEmulatorReported(const std::string& text) const;

private:
    void readTrace();
    void readConsole();
    [[nodiscard]] bool tryExecute(const std::string& command, const nlohmann::json& arguments);
    void trace(const std::string& event, bool on);
    void waitUntil(const std::string& what, const std::function<bool()>& condition);
    static void askUntil(const std::string& what, const std::function<bool()>& condition);
    void keepRecords();
    void readLines(int fd, const std::function<void(std::string_view)>& take);

    std::filesystem::path folder;
    std::filesystem::path cardFile;
    Emulator emulator;

    std::mutex mutex;
    std::condition_variable changed;
    Bus bus;
    std::size_t screensSeen = 0;
    std::vector<std::string> console;
    std::size_t linesSeen = 0;
    bool hasEnded = false;

    std::thread traceReader;
    std::thread consoleReader;
};
