// Runs the scripts that create devices and drives, and removes their files.
#include "sim/session/device_files.h"

#include "sim/models/sparse_copy.h"
#include "sim/session/process.h"
#include "sim/session/signals.h"

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

constexpr const char* firmwareName = "tonecrate.fw";
constexpr const char* deviceKeys = "keys";

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

fs::path DeviceFiles::keys(const std::string& name) const
{
    fs::path path = folder / name;
    if (!fs::exists(path)) {
        run(TONECRATE_MAKER "/tonecrate-make-keys", {path});
    }
    return path;
}

fs::path DeviceFiles::makeDevice(const SessionSetup& setup)
{
    const std::lock_guard lock(mutex);
    const std::string memory = std::to_string(setup.memoryKib);
    const std::string usable = std::to_string(setup.usableKib);
    const std::string version = setup.installedVersion.empty() ? "none" : setup.installedVersion;
    // Copying takes a tenth of the time of making.
    const fs::path pattern = folder / ("new-" + memory + "-" + usable + "-" + version);
    if (!fs::exists(pattern)) {
        run("make_device.sh", {pattern, keys(deviceKeys), memory, usable, version});
    }
    fs::path device = folder / ("device" + std::to_string(++devices));
    copyFolderSparse(pattern, device);
    return device;
}

fs::path DeviceFiles::firmwareFile(const std::string& version, const std::string& keyName) const
{
    const fs::path parent = folder / ("firmware-" + version + "-" + keyName);
    fs::path file = parent / firmwareName;
    if (!fs::exists(file)) {
        fs::create_directory(parent);
        run(TONECRATE_MAKER "/tonecrate-pack-firmware", {firmware, version, keys(keyName), file});
    }
    return file;
}

/// The file that a drive with a file system contains.
fs::path DeviceFiles::contentOf(std::string_view drive) const
{
    constexpr const char* version = "2.0.0";
    if (drive == "empty") {
        return firmware / "release-notes.txt";
    }
    if (drive == "older") {
        return firmwareFile("1.0.0", deviceKeys);
    }
    if (drive == "unsigned") {
        return firmwareFile(version, "foreign-keys");
    }
    fs::path file = firmwareFile(version, deviceKeys);
    if (drive != "corrupt") {
        return file;
    }
    fs::path corrupt = folder / "corrupt" / firmwareName;
    fs::create_directory(corrupt.parent_path());
    fs::copy_file(file, corrupt);
    flipByteInTheMiddle(corrupt);
    return corrupt;
}

fs::path DeviceFiles::drive(std::string_view name) const
{
    const std::lock_guard lock(mutex);
    fs::path image = folder / (std::string(name) + ".img");
    if (fs::exists(image)) {
        return image;
    }
    if (name == "unreadable") {
        std::ofstream(image) << std::string(1 << 20, '\xff');
    } else if (name == "whole-disk") {
        run("make_drive.sh", {"--no-partition", image, contentOf(name)});
    } else {
        run("make_drive.sh", {image, contentOf(name)});
    }
    return image;
}

fs::path DeviceFiles::makeDriveWith(const fs::path& file) const
{
    const std::lock_guard lock(mutex);
    const fs::path copy = folder / "own" / firmwareName;
    std::error_code error;
    fs::create_directory(copy.parent_path());
    if (!fs::copy_file(file, copy, fs::copy_options::overwrite_existing, error)) {
        throw std::runtime_error("cannot copy " + file.string() + ": " + error.message());
    }
    fs::path image = folder / ("own" + std::to_string(++ownDrives) + ".img");
    run("make_drive.sh", {image, copy});
    return image;
}

std::string DeviceFiles::verify(const fs::path& device, const std::string& version, const std::string& presets) const
{
    return lastLineOf(run("verify_memory.sh", {device, firmware, version, presets}));
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
