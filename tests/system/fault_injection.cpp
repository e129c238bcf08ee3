// One operation for each fault, except the faults of the display, the knob and the LEDs.
#include "tests/system/fault_injection.h"

#include "sim/session/process.h"
#include "tests/support/process_census.h"
#include "tests/system/script_tools.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/file.h>

namespace fs = std::filesystem;

namespace matrix {

namespace {

void fillWithGarbage(const fs::path& image)
{
    const std::string garbage(fs::file_size(image), '\xa5');
    std::ofstream(image, std::ios::binary) << garbage;
}

void detach(const fs::path& image)
{
    fs::rename(image, image.string() + ".detached");
}

void makeReadOnly(const fs::path& image)
{
    fs::permissions(image, fs::perms::owner_read);
}

/// Removes one file of the firmware and one of the presets; ignores files that do not exist.
void removeFiles(const fs::path& image)
{
    for (const char* lost : {"/firmware/engine/voices.conf", "/presets/night-bus.preset"}) {
        runTool(*sim::findTool("debugfs"), {"-w", "-R", std::string("rm ") + lost, image});
    }
}

void swapDrive(HeldDevice& device, const std::string& content)
{
    device->plug(DeviceParts::shared().driveWith(content));
}

void holdLock(HeldDevice& device)
{
    fs::create_directories(device.file("run/tonecrate"));
    const int lock = open(device.file("run/tonecrate/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    device.keepOpen(lock);
    if (flock(lock, LOCK_EX | LOCK_NB) != 0) {
        throw std::runtime_error("cannot take the lock of the scripts");
    }
}

/// Also kills the shell that popen() starts, unless it has been replaced by the script.
void killScript(HeldDevice& device)
{
    const pid_t script = device.scriptProcess();
    const pid_t parent = parentOf(script);
    if (parent != device->processId()) {
        kill(parent, SIGKILL);
    }
    kill(script, SIGKILL);
}

struct Injection {
    std::string_view fault;
    void (*begin)(HeldDevice& device);
};

constexpr Injection injections[] = {
    {"DrivePulled", [](HeldDevice& device) { device->unplug(); }},
    {"DriveWithWrongByte", [](HeldDevice& device) { swapDrive(device, "wrong byte"); }},
    {"DriveWithForeignSignature", [](HeldDevice& device) { swapDrive(device, "foreign signature"); }},
    {"DriveWithHalfAFile", [](HeldDevice& device) { swapDrive(device, "half a file"); }},
    {"DriveWithOtherFile", [](HeldDevice& device) { swapDrive(device, "other file"); }},
    {"DriveWithoutFirmware", [](HeldDevice& device) { swapDrive(device, "no firmware"); }},
    {"DriveWithoutFileSystem", [](HeldDevice& device) { swapDrive(device, "no file system"); }},
    {"FirmwareTooOld", [](HeldDevice& device) { device.changeSettings("minimum_version=2.0.1"); }},
    {"SigningKeyMissing", [](HeldDevice& device) { fs::remove(device.file("etc/tonecrate/signing.pub")); }},
    {"FirmwareKeyMissing", [](HeldDevice& device) { fs::remove(device.file("etc/tonecrate/firmware.key")); }},
    {"FirmwareKeyWrong",
     [](HeldDevice& device) { std::ofstream(device.file("etc/tonecrate/firmware.key")) << "wrong\n"; }},
    {"NoRoomForFirmware", [](HeldDevice& device) { std::ofstream(device.file("full")); }},
    {"NoRoomForFiles", [](HeldDevice& device) { std::ofstream(device.file("full")); }},
    {"OtherScriptRuns", holdLock},
    {"MemoryDetached", [](HeldDevice& device) { detach(device.memory()); }},
    {"MemoryDestroyed", [](HeldDevice& device) { fillWithGarbage(device.memory()); }},
    {"MemoryReadOnly", [](HeldDevice& device) { makeReadOnly(device.memory()); }},
    {"MemoryLosesFiles", [](HeldDevice& device) { removeFiles(device.memory()); }},
    {"BackupDetached", [](HeldDevice& device) { detach(device.backup()); }},
    {"BackupDestroyed", [](HeldDevice& device) { fillWithGarbage(device.backup()); }},
    {"BackupReadOnly", [](HeldDevice& device) { makeReadOnly(device.backup()); }},
    {"PowerCut", [](HeldDevice& device) { device.switchOff(); }},
    {"WorkKilled", [](HeldDevice& device) { kill(device.workProcess(), SIGKILL); }},
    {"ScriptKilled", killScript},
    {"AllKilled",
     [](HeldDevice& device) {
         const pid_t work = device.workProcess();
         const pid_t middle = device.middleProcess();
         killScript(device);
         kill(middle, SIGKILL);
         kill(work, SIGKILL);
     }},
};

} // namespace

void beginFault(const Fault& fault, HeldDevice& device)
{
    for (const Injection& injection : injections) {
        if (injection.fault == fault.name) {
            injection.begin(device);
            return;
        }
    }
    throw std::runtime_error(std::string("no injection for ") + fault.name);
}

void endFault(const HeldDevice& device)
{
    for (const fs::path& image : {device.memory(), device.backup()}) {
        const fs::path detached = image.string() + ".detached";
        if (fs::exists(detached)) {
            if (fs::exists(image)) {
                throw std::runtime_error("a script has created " + image.string());
            }
            fs::rename(detached, image);
        }
        fs::permissions(image, fs::perms::owner_read | fs::perms::owner_write);
    }
    for (const char* path : {"full", "dev/sda", "dev/sda1"}) {
        fs::remove(device.file(path));
    }
    fs::copy(DeviceParts::shared().device() / "etc", device.file("etc"),
             fs::copy_options::recursive | fs::copy_options::overwrite_existing);
}

} // namespace matrix
