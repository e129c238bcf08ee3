// Runs the scripts that create devices and drives, and removes their files.
#include "sim/run/device_files.h"

#include "sim/run/process.h"
#include "sim/run/signals.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace sim {

namespace fs = std::filesystem;

namespace {

struct Tool {
    const char* name;
    const char* package;
};

/// The external programs that the scripts call and that a minimal system may lack.
constexpr Tool neededTools[] = {
    {"bash", "bash"},        {"openssl", "openssl"},    {"mcopy", "mtools"},     {"mdir", "mtools"},
    {"sfdisk", "fdisk"},     {"zstd", "zstd"},          {"tar", "tar"},          {"mkfs.vfat", "dosfstools"},
    {"diff", "diffutils"},   {"cmp", "diffutils"},      {"mke2fs", "e2fsprogs"}, {"debugfs", "e2fsprogs"},
    {"e2fsck", "e2fsprogs"}, {"dumpe2fs", "e2fsprogs"}, {"flock", "util-linux"},
};

void requireTools()
{
    for (const Tool& tool : neededTools) {
        if (!findTool(tool.name)) {
            throw std::runtime_error(std::string("missing tool: ") + tool.name + " (package " + tool.package + ")");
        }
    }
}

std::string lastLineOf(const std::string& text)
{
    std::string last;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        last = line.empty() ? last : line;
    }
    return last;
}

void flipByteInTheMiddle(const fs::path& path)
{
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    const auto middle = static_cast<std::streamoff>(fs::file_size(path) / 2);
    file.seekg(middle);
    const int byte = file.get();
    file.seekp(middle);
    file.put(static_cast<char>(~byte));
    if (!file.flush()) {
        throw std::runtime_error("cannot change " + path.string());
    }
}

} // namespace

DeviceFiles::DeviceFiles(fs::path scriptFolder, fs::path firmwareFolder)
    : scripts(std::move(scriptFolder)), firmware(std::move(firmwareFolder))
{
    requireTools();
    makeFolder();
}

DeviceFiles::~DeviceFiles()
{
    // A script that has just been killed may still create a file.
    constexpr int attempts = 20;
    constexpr auto pause = std::chrono::milliseconds(50);
    std::error_code error;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        fs::remove_all(folder, error);
        if (!error) {
            return;
        }
        std::this_thread::sleep_for(pause);
    }
}

void DeviceFiles::makeFolder()
{
    const char* temporary = std::getenv("TMPDIR");
    const std::string parent = temporary == nullptr || *temporary == '\0' ? "/tmp" : temporary;
    std::string path = fs::absolute(parent) / "tonecrate.XXXXXX";
    if (mkdtemp(path.data()) == nullptr) {
        throw std::runtime_error("cannot create a folder in " + parent + ": " + std::strerror(errno));
    }
    folder = path;
}

std::string DeviceFiles::run(const std::string& script, const std::vector<std::string>& arguments) const
{
    ProcessResult result = runProcess(scripts / script, arguments);
    checkSignals();
    if (result.waitStatus != 0) {
        const std::string reason = lastLineOf(result.output);
        throw std::runtime_error(reason.empty() ? script + " failed without a message" : reason);
    }
    return std::move(result.output);
}

fs::path DeviceFiles::keys() const
{
    fs::path path = folder / "keys";
    if (!fs::exists(path)) {
        run(TONECRATE_MAKER "/tonecrate-make-keys", {path});
    }
    return path;
}

fs::path DeviceFiles::makeDevice(MemorySize memory) const
{
    fs::path device = folder / "device";
    run("make_device.sh", {device, keys(), std::to_string(memory.kib), std::to_string(memory.usableKib)});
    return device;
}

fs::path DeviceFiles::firmwareFile() const
{
    fs::path file = folder / "tonecrate.fw";
    run(TONECRATE_MAKER "/tonecrate-pack-firmware", {firmware, std::string(version), keys(), file});
    return file;
}

fs::path DeviceFiles::makeDrive(DriveKind kind) const
{
    fs::path drive = folder / "drive.img";
    std::vector<std::string> arguments;
    if (kind == DriveKind::FirmwareWithoutPartition) {
        arguments.emplace_back("--no-partition");
    }
    arguments.push_back(drive);
    if (kind == DriveKind::NoFirmware) {
        arguments.push_back(firmware / "release-notes.txt");
    } else {
        arguments.push_back(firmwareFile());
    }
    if (kind == DriveKind::CorruptFirmware) {
        flipByteInTheMiddle(arguments.back());
    }
    run("make_drive.sh", arguments);
    return drive;
}

std::string DeviceFiles::verify(const fs::path& device, Outcome outcome) const
{
    const std::string presets = outcome == Outcome::Reset ? "lost" : "kept";
    const std::string installed(outcome == Outcome::Formatted ? "none" : version);
    return lastLineOf(run("verify_memory.sh", {device, firmware, installed, presets}));
}

std::string memoryContent(const fs::path& device)
{
    const fs::path memory = device / "dev/memory";
    std::string bytes(fs::file_size(memory), '\0');
    if (!std::ifstream(memory, std::ios::binary).read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
        throw std::runtime_error("cannot read " + memory.string());
    }
    return bytes;
}

} // namespace sim
