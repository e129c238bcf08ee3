// The emulated board with a hand on its knob: boots, is driven, and tells what went over its wires.
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

/// Waits are for conditions; one that does not come true within three minutes, or whose board has ended, throws
/// std::runtime_error. What came over the console and the wires, and the last screen, stay in the build folder's
/// board_runs/NAME/; so does the card when a test has failed.
class Board {
public:
    struct Setup {
        std::string name;
        /// The SD card, which the board writes on; a copy of the prepared one when empty.
        std::filesystem::path card = {};
        /// Options of the kernel that the updater needs; a test of their absence leaves one out.
        std::string kernelOptions = "iomem=relaxed spidev.bufsiz=10240";
        bool hasI2cInterrupt = true;
    };

    /// Comes back when the board has booted and waits for `startUpdater`.
    explicit Board(const Setup& setup);
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;
    ~Board();

    // The hand.

    void startUpdater();
    /// As a loss of power would, for the updater and its scripts; the kernel goes on.
    void stopUpdater();
    void turn(int detents);
    /// Holds the button down until the updater must have seen it, and likewise up.
    void click();
    /// Puts in a drive: one of the prepared images, by its name.
    void plug(const std::string& image);
    void pull();
    /// Between two instructions. Nothing but the destructor may follow.
    void cutPower();

    // What is seen.

    /// Runs a shell command on the board. Returns what the console told until its end.
    std::vector<std::string> run(const std::string& command);
    /// Until a screen of the scene was sent after the last one waited for.
    void waitForScene(const Scene& scene);
    /// Until a line of the console is exactly this, since the last one waited for.
    void waitForLine(const std::string& line);
    void waitFor(const std::string& what, const std::function<bool(const Bus&)>& condition);
    /// Until the updater has looked at the button so often, once in ten of its iterations.
    void waitForPolls(int count);
    /// What the console told since the last line waited for.
    [[nodiscard]] std::vector<std::string> lines();
    /// Holds what comes over the wires still while it looks.
    template <typename Look>
    auto look(Look&& look)
    {
        const std::lock_guard lock(mutex);
        return look(bus);
    }
    [[nodiscard]] const std::filesystem::path& card() const { return cardFile; }

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
