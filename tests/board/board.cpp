// Boots and operates the emulated board and keeps its records.
#include "tests/board/board.h"

#include "sim/device/png_file.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds longestWait(180);

constexpr std::chrono::milliseconds readInterval(2);

constexpr std::uint32_t gpioBase = 0xFE200000;
constexpr std::uint32_t setRegister = gpioBase + 0x1C;
constexpr std::uint32_t clearRegister = gpioBase + 0x28;
constexpr std::uint32_t pullRegister = gpioBase + 0xE4;
constexpr std::uint32_t buttonLine = 1U << 6;
constexpr unsigned dataCommandLine = 7;
constexpr unsigned resetLine = 25;

/// A level change takes effect at the fourth poll. At the fifth poll, the updater has handled it.
constexpr int debouncePolls = 5;

fs::path makeFolder(const std::string& name)
{
    fs::path folder = fs::path(RUNS_DIR) / name;
    fs::remove_all(folder);
    fs::create_directories(folder);
    return folder;
}

fs::path copyOfCard(const fs::path& folder)
{
    fs::path card = folder / "card.img";
    fs::copy_file(fs::path(STAGE_DIR) / "card.img", card);
    return card;
}

std::uint64_t wiresLimit()
{
    constexpr std::uint64_t usual = std::uint64_t{16} << 20;
    const char* const requested = std::getenv("BOARD_WIRES_LIMIT");
    return requested == nullptr ? usual
                                : std::max<std::uint64_t>(std::stoull(requested), sim::RecordingFile::smallestLimit);
}

std::vector<std::string> argumentsFor(const Board::Setup& setup, const fs::path& card)
{
    const fs::path stage = STAGE_DIR;
    // With thread=single, the emulation is faster than with one thread per processor.
    std::vector<std::string> arguments = {
        stage / "emulator", "-machine", "raspi4b", "-m", "2G", "-accel", "tcg,thread=single", "-kernel",
        stage / "kernel", "-initrd", setup.initramfs, "-dtb", stage / setup.tree, "-append",
        // The emulator does not connect the interrupts of the SPI and I2C controllers. Therefore the kernel polls the
        // SPI controller, and the I2C controller of wired.dtb shares the USB controller's interrupt. Without
        // cryptomgr.notests, the kernel's cryptographic self-tests take a sixth of the boot.
        "console=ttyAMA0,115200 loglevel=1 panic=-1 spi-bcm2835.polling_limit_us=9000000 usbcore.autosuspend=-1 "
        "cryptomgr.notests " +
            setup.processors + " " + setup.kernelOptions,
        "-display", "none", "-monitor", "none", "-no-reboot",
        // An EEPROM replaces the LED controller: it accepts the same writes and stores their bytes.
        "-device", "at24c-eeprom,bus=i2c-bus.1,address=0x6c,rom-size=256", "-drive",
        "if=sd,id=card,format=raw,file=" + card.string() + (setup.discardsChanges ? ",snapshot=on,cache=unsafe" : ""),
        "-trace", "i2c_event", "-trace", "i2c_send", "-msg", "timestamp=on"};
    if (setup.tree == "wired.dtb") {
        arguments.insert(arguments.end(), {"-device", "usb-hub,id=hub"}); // keeps the shared interrupt active
    }
    return arguments;
}

} // namespace

Board::Board(const Setup& setup)
    : folder(makeFolder(setup.name)), cardFile(setup.card.empty() ? copyOfCard(folder) : setup.card),
      recording(folder / "wires.vcd", wiresLimit()), recorder(recording.descriptor(), recording.getState()),
      emulator(argumentsFor(setup, cardFile), folder / "emulator.log"), traceReader(&Board::readTrace, this),
      consoleReader(&Board::readConsole, this)
{
    withBus([this](Bus& wires) { wires.recordWires(&recorder); });
    try {
        setup.observesBoot ? observeWires() : waitForLine("BOARD ready");
    } catch (...) {
        cutPower();
        keepRecords();
        throw;
    }
}

Board::~Board()
{
    cutPower();
    keepRecords();
    if (!testing::UnitTest::GetInstance()->Failed()) {
        fs::remove(folder / "card.img");
    }
}

void Board::cutPower()
{
    emulator.kill();
    for (std::thread* reader : {&traceReader, &consoleReader}) {
        if (reader->joinable()) {
            reader->join();
        }
    }
}

void Board::keepRecords()
{
    std::ofstream consoleLog(folder / "console.log");
    for (const std::string& line : console) {
        consoleLog << line << '\n';
    }
    std::ofstream wires(folder / "wires.log");
    for (const std::string& event : bus.events()) {
        wires << event << '\n';
    }
    if (!bus.screens().empty()) {
        sim::writePng(folder / "last_screen.png", sim::pictureOf(bus.screens().back()));
    }
}

fs::path Board::recordedWires()
{
    withBus([this](const Bus&) { recorder.flush(); });
    return folder / "wires.vcd";
}

/// Calls take(line) for every line with the mutex locked; locks the mutex once for all lines of one read. Sleeps after
/// each read, because waking this thread for every line costs the emulator more time than writing the line.
void Board::readLines(int fd, const std::function<void(std::string_view)>& take)
{
    std::string pending;
    std::array<char, 65536> buffer;
    for (ssize_t count = 0; (count = ::read(fd, buffer.data(), buffer.size())) > 0;) {
        pending.append(buffer.data(), static_cast<std::size_t>(count));
        takeLines(pending, take);
        std::this_thread::sleep_for(readInterval);
    }
}

void Board::takeLines(std::string& pending, const std::function<void(std::string_view)>& take)
{
    const std::lock_guard lock(mutex);
    std::size_t start = 0;
    for (std::size_t end = 0; (end = pending.find('\n', start)) != std::string::npos; start = end + 1) {
        take(std::string_view(pending).substr(start, end - start));
    }
    pending.erase(0, start);
    changed.notify_all();
}

void Board::readTrace()
{
    readLines(emulator.trace(), [this](std::string_view line) { bus.take(line); });
}

void Board::readConsole()
{
    readLines(emulator.consoleOutput(),
              [this](std::string_view line) { console.emplace_back(line.substr(0, line.find('\r'))); });
    const std::lock_guard lock(mutex);
    hasEnded = true;
    changed.notify_all();
}

void Board::waitUntil(const std::string& what, const std::function<bool()>& condition)
{
    std::unique_lock lock(mutex);
    const bool came = changed.wait_for(lock, longestWait, [&] { return hasEnded || condition(); });
    if (!came || (hasEnded && !condition())) {
        throw std::runtime_error((hasEnded ? "the board ended while waiting for " : "timed out waiting for ") + what +
                                 " (see " + folder.string() + ")");
    }
}

/// Polls `condition`, because neither the trace nor the console reports when it becomes true.
void Board::pollUntil(const std::string& what, const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + longestWait;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("timed out waiting for " + what);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

void Board::waitFor(const std::string& what, const std::function<bool(const Bus&)>& condition)
{
    waitUntil(what, [&] { return condition(bus); });
}

void Board::waitForScene(const Scene& scene)
{
    waitUntil("the screen \"" + scene.name + "\"", [&] {
        while (screensSeen < bus.screens().size()) {
            if (scene.has(bus.screens()[screensSeen++])) {
                return true;
            }
        }
        return false;
    });
}

void Board::waitForLine(const std::string& line)
{
    waitUntil("the line \"" + line + "\"", [&] {
        const auto from = console.begin() + static_cast<std::ptrdiff_t>(linesSeen);
        const auto found = std::find(from, console.end(), line);
        if (found == console.end()) {
            return false;
        }
        linesSeen = static_cast<std::size_t>(found - console.begin()) + 1;
        return true;
    });
}

std::vector<std::string> Board::lines()
{
    const std::lock_guard lock(mutex);
    return {console.begin() + static_cast<std::ptrdiff_t>(linesSeen), console.end()};
}

std::vector<std::string> Board::linesOfUpdater()
{
    std::vector<std::string> all = lines();
    std::erase_if(all, [](const std::string& line) { return line.starts_with("recovery: "); });
    return all;
}

bool Board::tryExecute(const std::string& command, const nlohmann::json& arguments)
{
    try {
        emulator.execute(command, arguments);
        return true;
    } catch (const Emulator::Refusal&) {
        return false;
    }
}

void Board::trace(const std::string& event, bool on)
{
    emulator.execute("trace-event-set-state", {{"name", event}, {"enable", on}});
}

Pins Board::readPins()
{
    Pins pins;
    for (std::uint32_t i = 0; i < pins.selects.size(); ++i) {
        pins.selects[i] = emulator.readWord(gpioBase + 4 * i);
    }
    for (std::uint32_t i = 0; i < pins.pulls.size(); ++i) {
        pins.pulls[i] = emulator.readWord(pullRegister + 4 * i);
    }
    return pins;
}

void Board::observeWires()
{
    emulator.writeWord(setRegister, buttonLine); // replaces the pull-up, which does not affect the emulated level
    const Pins pins = readPins();
    withBus([&](const Bus&) { bus.setFunctionSelects(pins.selects); });
    trace("memory_region_ops_write", true);
}

void Board::startUpdater()
{
    Pins pins = readPins();
    for (const unsigned line : {dataCommandLine, resetLine}) {
        pins.makeInput(line);
        emulator.writeWord(gpioBase + 4 * Pins::selectIndex(line), pins.selects[Pins::selectIndex(line)]);
    }
    observeWires();
    emulator.typeOnConsole("start\n");
}

void Board::stopUpdater()
{
    emulator.typeOnConsole("stop\n");
    waitForLine("BOARD stopped");
    trace("memory_region_ops_write", false);
}

void Board::turn(int detents)
{
    emulator.typeOnConsole("turn " + std::to_string(detents) + "\n");
}

void Board::click()
{
    trace("memory_region_ops_read", true);
    for (const std::uint32_t level : {clearRegister, setRegister}) {
        const int writes = withBus([](const Bus& wires) { return wires.testWrites(); });
        emulator.writeWord(level, buttonLine);
        waitFor("polls of the button", [=](const Bus& wires) {
            return wires.testWrites() > writes && wires.pollsSinceTestWrite() >= debouncePolls;
        });
    }
    trace("memory_region_ops_read", false);
}

void Board::plug(const std::string& image)
{
    const fs::path file = fs::path(STAGE_DIR) / image;
    emulator.execute("blockdev-add", {{"driver", "raw"},
                                      {"node-name", "drive"},
                                      {"read-only", true},
                                      {"file", {{"driver", "file"}, {"filename", file.string()}}}});
    emulator.execute("device_add", {{"driver", "usb-storage"}, {"id", "plugged"}, {"drive", "drive"}});
}

void Board::pull()
{
    emulator.execute("device_del", {{"id", "plugged"}});
    // The emulator releases the image only after the board's kernel has released the device.
    pollUntil("the release of the drive image",
              [this] { return tryExecute("blockdev-del", {{"node-name", "drive"}}); });
}

std::vector<std::string> Board::run(const std::string& command)
{
    const std::size_t from = withBus([this](const Bus&) { return console.size(); });
    emulator.typeOnConsole("run " + command + "\n");
    std::size_t end = 0;
    waitUntil("the end of " + command, [&] {
        const auto found = std::find_if(console.begin() + static_cast<std::ptrdiff_t>(from), console.end(),
                                        [](const std::string& line) { return line.starts_with("BOARD exit status "); });
        end = static_cast<std::size_t>(found - console.begin());
        return found != console.end();
    });
    return withBus([&](const Bus&) {
        return std::vector<std::string>(console.begin() + static_cast<std::ptrdiff_t>(from),
                                        console.begin() + static_cast<std::ptrdiff_t>(end) + 1);
    });
}

bool Board::hasEmulatorReported(const std::string& text) const
{
    std::ifstream file(folder / "emulator.log");
    return std::string(std::istreambuf_iterator<char>(file), {}).find(text) != std::string::npos;
}

void Board::waitForPolls(int count)
{
    trace("memory_region_ops_read", true);
    const int before = withBus([](const Bus& wires) { return wires.buttonPolls(); });
    waitFor("polls of the button", [=](const Bus& wires) { return wires.buttonPolls() >= before + count; });
    trace("memory_region_ops_read", false);
}
