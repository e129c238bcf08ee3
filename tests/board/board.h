// The emulated board: boots it, operates its controls, and observes its wires.
#pragma once

#include "sim/wires/recording_file.h"
#include "tests/board/bus.h"
#include "tests/board/emulator.h"
#include "tests/board/pins.h"
#include "tests/board/scene.h"

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// Every wait throws std::runtime_error if the emulator ends, or if three minutes pass, before its condition is met.
/// The folder board_runs/NAME/ in the build folder contains the emulator's standard error and wires.vcd, a recording of
/// the lines (see Bus::recordWires). The destructor adds the console output, the events on the wires and the last
/// screen, and removes the board's copy of the card unless a test has failed. The environment variable
/// BOARD_WIRES_LIMIT sets the largest size of wires.vcd in bytes, at least 1024; default: 16 MiB.
class Board {
public:
    struct Setup {
        std::string name;
        /// The SD card image, which the board modifies unless `discardsChanges` is set; default: a copy of the prepared
        /// card (card.img of make_board.sh).
        std::filesystem::path card = {};
        /// Discards all changes to the card.
        bool discardsChanges = false;
        std::filesystem::path initramfs = std::filesystem::path(STAGE_DIR) / "initramfs";
        /// Observes the wires from power-on, not only from `startUpdater` on. The constructor then does not wait for
        /// the boot.
        bool observesBoot = false;
        /// Default: the kernel options that the updater needs.
        std::string kernelOptions = "iomem=relaxed spidev.bufsiz=10240";
        /// A kernel option that isolates processors, or empty; default: all processes run on the first processor. The
        /// emulator runs the four processors in turn, so a processor that polls the SPI controller delays the others.
        std::string processors = "isolcpus=1-3";
        /// The file name of a device tree that make_board.sh created. With wired.dtb the I2C bus works, at the cost of
        /// continual interrupts; with unwired.dtb every I2C transfer times out; without_i2c.dtb has no I2C controller.
        std::string tree = "without_i2c.dtb";
    };

    /// Switches the board on. Unless `observesBoot` is set, waits until the board accepts commands.
    explicit Board(const Setup& setup);
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;
    ~Board();

    // Operating the board.

    /// Starts the updater. First makes the display's reset and data/command lines inputs, as they are at power-on
    /// without the overlay, so that the events include the updater's selection of their functions.
    void startUpdater();
    /// Stops the updater and its scripts; the kernel keeps running.
    void stopUpdater();
    void turn(int detents);
    /// Presses and releases the button. After each change, waits until the debounced state has changed too.
    void click();
    /// Plugs in a drive; `image` is the file name of an image that make_board.sh created.
    void plug(const std::string& image);
    /// Unplugs the drive, and returns when the board's kernel has released it.
    void pull();
    /// Kills the emulator at once. Afterwards, call only operations that do not need the emulator.
    void cutPower();

    // Observing the board.

    /// Runs a shell command on the board and returns the console lines; the last line is "BOARD exit status N".
    std::vector<std::string> run(const std::string& command);
    /// Waits for a screen of the scene. Ignores all screens up to the one that the previous call found.
    void waitForScene(const Scene& scene);
    /// Waits for `line` on the console. Ignores all lines up to the one that the previous call found.
    void waitForLine(const std::string& line);
    void waitFor(const std::string& what, const std::function<bool(const Bus&)>& condition);
    /// Waits until the updater has polled the button `count` more times; it polls in every tenth iteration.
    void waitForPolls(int count);
    /// The console lines after the line that `waitForLine` found last.
    [[nodiscard]] std::vector<std::string> lines();
    /// `lines()` without the messages of the recovery image ("recovery: ...").
    [[nodiscard]] std::vector<std::string> linesOfUpdater();
    /// The registers that route the GPIO lines, read from outside the board's processors.
    [[nodiscard]] Pins readPins();
    /// Calls `operation` with the bus locked.
    template <typename Operation>
    auto withBus(Operation&& operation)
    {
        const std::lock_guard lock(mutex);
        return operation(bus);
    }
    /// The recording of the wires up to now.
    [[nodiscard]] std::filesystem::path recordedWires();
    [[nodiscard]] const std::filesystem::path& card() const { return cardFile; }
    /// True if the emulator's standard error contains `text`.
    [[nodiscard]] bool hasEmulatorReported(const std::string& text) const;

private:
    void observeWires();
    void readTrace();
    void readConsole();
    [[nodiscard]] bool tryExecute(const std::string& command, const nlohmann::json& arguments);
    void trace(const std::string& event, bool on);
    void waitUntil(const std::string& what, const std::function<bool()>& condition);
    static void pollUntil(const std::string& what, const std::function<bool()>& condition);
    void keepRecords();
    void readLines(int fd, const std::function<void(std::string_view)>& take);
    void takeLines(std::string& pending, const std::function<void(std::string_view)>& take);

    std::filesystem::path folder;
    std::filesystem::path cardFile;
    sim::RecordingFile recording;
    sim::WireRecorder recorder;
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
