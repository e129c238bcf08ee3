// Starts the device with scripts that wait for commands.
#include "sim/map/explored_device.h"

#include <fstream>
#include <stdexcept>
#include <utility>

namespace sim {

namespace fs = std::filesystem;

namespace {

constexpr const char* decryptScript = "decrypt.sh";
constexpr const char* formatScript = "format.sh";
constexpr const char* installScript = "install.sh";

/// The progress lines that the golden screens show.
constexpr const char* decryptProgress = "SHOW: Decrypting 10%\n";
constexpr const char* workProgress = "SHOW: Installing... 66%\n";

/// Longer than the period of the updater's drive check (501 iterations) plus a redraw.
constexpr std::uint64_t settlingIterations = 560;

/// Every frame of the wheel is in at least one of the screens if each frame lasts 80 to 250 iterations.
constexpr std::uint64_t screenInterval = 80;
constexpr int screensPerTurn = 25;

constexpr std::uint64_t longPressIterations = 1500;

DeviceSetup setupOf(const ExploredDevice::Programs& programs, const fs::path& root)
{
    return {.updater = programs.updater, .preload = programs.preload, .root = root};
}

} // namespace

ExploredDevice::Root::Root(fs::path newFolder) : folder(std::move(newFolder))
{
    fs::create_directories(folder / "dev");
    fs::create_directories(folder / "tmp/fw");
}

ExploredDevice::Root::~Root()
{
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}

ExploredDevice::ExploredDevice(const Programs& programs)
    : root(programs.work / "device"),
      scripts{{{root.folder, decryptScript}, {root.folder, formatScript}, {root.folder, installScript}}},
      device(setupOf(programs, root.folder))
{}

std::vector<Screen> ExploredDevice::settle()
{
    device.run(settlingIterations);
    std::vector<Screen> screens;
    for (int i = 0; i < screensPerTurn; ++i) {
        device.run(screenInterval);
        screens.push_back(device.screen());
    }
    return screens;
}

State ExploredDevice::state(const WheelFrames& wheel)
{
    const auto screens = settle();
    State state;
    state.place.wheel = wheel.find(screens);
    state.place.screen = state.place.wheel == Wheel::None ? screens.front() : wheel.withFirstFrame(screens.front());
    state.hasDrive = device.hasDrive();
    state.isInstalled = isInstalled;
    state.calls = calls();
    state.place.script = device.isScriptRunning() ? state.calls.back() : "";
    return state;
}

void ExploredDevice::pressLong()
{
    device.press();
    device.run(longPressIterations);
    device.release();
}

void ExploredDevice::plug()
{
    write("drive", "no partition table");
    device.plug(root.folder / "drive");
}

void ExploredDevice::printProgress()
{
    script().print(device, &script() == scripts.data() ? decryptProgress : workProgress);
}

void ExploredDevice::endScript(int status, bool findsInstalled)
{
    if (&script() == scripts.data()) {
        isInstalled = findsInstalled;
        write("tmp/fw/version.txt", "2.0.0\n");
        write("tmp/fw/version.old.txt", isInstalled ? "1.4.2\n" : "");
    }
    script().exit(device, status);
}

void ExploredDevice::killScript()
{
    script().die(device);
}

void ExploredDevice::write(const std::string& name, const std::string& text) const
{
    if (!std::ofstream(root.folder / name).write(text.data(), static_cast<std::streamsize>(text.size())).flush()) {
        throw std::runtime_error("cannot write " + (root.folder / name).string());
    }
}

/// The traffic log records the start of a script as "MICROSECONDS run COMMAND".
std::vector<std::string> ExploredDevice::calls()
{
    constexpr std::string_view mark = " run /usr/sbin/";
    std::vector<std::string> result;
    for (const std::string& event : device.traffic()) {
        if (const auto start = event.find(mark); start != std::string::npos) {
            result.push_back(event.substr(start + mark.size()));
        }
    }
    return result;
}

const ControlledScript& ExploredDevice::script()
{
    const std::string call = calls().back();
    return call.starts_with(decryptScript) ? scripts[0] : call.starts_with(formatScript) ? scripts[1] : scripts[2];
}

} // namespace sim
