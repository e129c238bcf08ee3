// Makes devices and drives, and makes the scripts wait with a FIFO.
#include "tests/system/held_device.h"

#include "sim/models/sparse_copy.h"
#include "sim/session/process.h"
#include "tests/system/script_tools.h"

#include <fcntl.h>
#include <fstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

/// Appended to images.sh, which the scripts source. Makes the scripts wait for the test, and skips their own delays.
constexpr const char* holding = R"(
wait_for_test() { [ ! -p queue ] || read -r _ <queue; }
show() { echo "$1" >line; printf 'SHOW: %s\n' "$1"; wait_for_test; }
sleep() { :; }
flock() { command flock -n 9; }
# While the file `full` exists, /tmp has no free space, and tar cannot unpack files.
df() { if [ -e full ]; then printf 'header\nnone 0 0 0 0%% /tmp\n'; else command df "$@"; fi; }
tar() { if [ -e full ]; then echo 'No space left on device' >&2; return 2; else command tar "$@"; fi; }
echo "$$" >script
wait_for_test
)";

std::string contentsOf(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void flipLastByte(std::string& bytes)
{
    bytes.back() = static_cast<char>(~bytes.back());
}

pid_t childOf(pid_t process)
{
    const std::string pid = std::to_string(process);
    return std::stoi(contentsOf("/proc/" + pid + "/task/" + pid + "/children"));
}

} // namespace

const DeviceParts& DeviceParts::shared()
{
    static const DeviceParts parts;
    return parts;
}

DeviceParts::DeviceParts()
{
    makeFirmware();
    makeDevice();
    makeDrives();
}

/// Small, because most cells of the fault matrix install it.
void DeviceParts::makeFirmware()
{
    fs::create_directories(folder / "firmware/engine");
    fs::create_directories(folder / "firmware/presets-factory");
    folder.write("firmware/engine/voices.conf", "eight voices\n");
    folder.write("firmware/presets-factory/first.preset", "sine\n");
}

void DeviceParts::makeDevice() const
{
    constexpr const char* memoryKib = "8192";
    for (const char* keys : {"keys", "foreign_keys"}) {
        runTool(MAKER_DIR "/tonecrate-make-keys", {folder / keys});
    }
    runTool(SCRIPTS_DIR "/make_device.sh", {device(), folder / "keys", memoryKib});
    std::ofstream(device() / "usr/lib/tonecrate/images.sh", std::ios::app) << holding;
}

void DeviceParts::makeDrives()
{
    const std::string good = contentsOf(pack("keys"));
    std::string wrong = good;
    flipLastByte(wrong);
    makeDrive("firmware", "tonecrate.fw", good);
    makeDrive("wrong byte", "tonecrate.fw", wrong);
    makeDrive("foreign signature", "tonecrate.fw", contentsOf(pack("foreign_keys")));
    makeDrive("half a file", "tonecrate.fw", good.substr(0, good.size() / 2));
    makeDrive("other file", "tonecrate.fw", std::string(100000, 'x'));
    makeDrive("no firmware", "notes.txt", "notes\n");
    drives["no file system"] = folder / "empty.img";
    folder.write("empty.img", std::string(1 << 20, '\xff'));
}

fs::path DeviceParts::pack(const std::string& keys) const
{
    fs::path file = folder / ("packed_with_" + keys);
    runTool(MAKER_DIR "/tonecrate-pack-firmware", {firmware(), "2.0.0", folder / keys, file});
    return file;
}

void DeviceParts::makeDrive(const std::string& content, const std::string& name, const std::string& bytes)
{
    folder.write(name, bytes);
    const fs::path image = folder / ("drive" + std::to_string(drives.size()) + ".img");
    runTool(SCRIPTS_DIR "/make_drive.sh", {image, folder / name});
    drives[content] = image;
}

HeldDevice::HeldDevice()
{
    sim::copyFolderSparse(DeviceParts::shared().device(), root);
}

HeldDevice::~HeldDevice()
{
    device.reset();
    closeDescriptors();
}

void HeldDevice::switchOn()
{
    openQueue();
    sim::DeviceSetup setup;
    setup.updater = UPDATER;
    setup.preload = PRELOAD;
    setup.root = root;
    device = std::make_unique<sim::SimulatedDevice>(std::move(setup));
}

void HeldDevice::switchOff()
{
    device.reset();
    closeDescriptors();
    for (const char* lost : {"tmp", "run"}) {
        fs::remove_all(root / lost);
        fs::create_directory(root / lost);
    }
}

void HeldDevice::openQueue()
{
    const fs::path fifo = root / "queue";
    // Opened for reading and writing, so that neither this open() nor the scripts' redirections block.
    if (mkfifo(fifo.c_str(), 0600) != 0 || (queue = open(fifo.c_str(), O_RDWR | O_CLOEXEC)) < 0) {
        throw std::runtime_error("cannot create the FIFO of the scripts");
    }
}

void HeldDevice::closeDescriptors()
{
    for (int* descriptor : {&queue, &lock}) {
        if (*descriptor >= 0) {
            close(*descriptor);
        }
        *descriptor = -1;
    }
    fs::remove(root / "queue");
}

std::optional<std::string> HeldDevice::nextLine()
{
    const std::string before = device->standardOutput();
    device->awaitScriptOutput(1);
    device->run(1);
    if (!device->isScriptRunning() || device->standardOutput() != before) {
        return std::nullopt;
    }
    std::string line = contentsOf(root / "line");
    line.pop_back(); // the line feed
    return line;
}

void HeldDevice::release() const
{
    if (write(queue, "\n", 1) != 1) {
        throw std::runtime_error("cannot release a script");
    }
}

pid_t HeldDevice::scriptProcess() const
{
    return std::stoi(contentsOf(root / "script"));
}

pid_t HeldDevice::workProcess() const
{
    return childOf(middleProcess());
}

pid_t HeldDevice::middleProcess() const
{
    return childOf(scriptProcess());
}

void HeldDevice::changeSettings(const std::string& lines) const
{
    std::ofstream(root / "etc/tonecrate/updater.conf", std::ios::app) << lines << '\n';
}
