// The shell script and the controller's end of its FIFO.
#include "sim/device/controlled_script.h"

#include "sim/device/simulated_device.h"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace sim {

namespace fs = std::filesystem;

namespace {

constexpr const char* shellScript = R"(#!/bin/sh
name=${0##*/}
echo "$*" >> "$DEVICE_ROOT/calls.$name"
while IFS= read -r command; do
    case $command in
    'exit '*) exit "${command#exit }" ;;
    die) kill -s KILL $$ ;;
    *) printf '%b' "$command" ;;
    esac
done < "$DEVICE_ROOT/commands.$name"
)";

/// Encodes every byte as an escape sequence for printf's %b.
std::string escaped(const std::string& bytes)
{
    std::string text;
    for (const char byte : bytes) {
        std::array<char, 6> code{};
        std::snprintf(code.data(), code.size(), "\\0%03o", static_cast<unsigned char>(byte));
        text += code.data();
    }
    return text;
}

} // namespace

ControlledScript::ControlledScript(const fs::path& deviceRoot, const std::string& name)
    : callsFile(deviceRoot / ("calls." + name))
{
    const fs::path script = deviceRoot / "usr/sbin" / name;
    fs::create_directories(script.parent_path());
    std::ofstream(script) << shellScript;
    fs::permissions(script, fs::perms::owner_all);

    const fs::path queue = deviceRoot / ("commands." + name);
    // Opened for reading and writing, so that neither this open() nor the script's redirection blocks.
    if (mkfifo(queue.c_str(), 0600) != 0 || (commands = open(queue.c_str(), O_RDWR | O_CLOEXEC)) < 0) {
        throw std::runtime_error("cannot create " + queue.string());
    }
}

ControlledScript::~ControlledScript()
{
    close(commands);
}

void ControlledScript::send(const std::string& command) const
{
    const std::string text = command + "\n";
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = write(commands, text.data() + done, text.size() - done);
        if (count < 0) {
            throw std::runtime_error("cannot send a command to a script");
        }
        done += static_cast<std::size_t>(count);
    }
}

void ControlledScript::print(SimulatedDevice& device, const std::string& bytes) const
{
    send(escaped(bytes));
    device.awaitScriptOutput(static_cast<int>(bytes.size()));
}

void ControlledScript::exit(SimulatedDevice& device, int status) const
{
    send("exit " + std::to_string(status));
    device.awaitScriptEnd();
}

void ControlledScript::die(SimulatedDevice& device) const
{
    send("die");
    device.awaitScriptEnd();
}

std::string ControlledScript::calls() const
{
    std::ostringstream text;
    text << std::ifstream(callsFile).rdbuf();
    return text.str();
}

} // namespace sim
