// The shell script and the test's end of its FIFO.
#include "tests/system/ordered_script.h"

#include "sim/device/simulated_device.h"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr const char* shellScript = R"(#!/bin/sh
name=${0##*/}
echo "$*" >> "$DEVICE_ROOT/calls.$name"
while IFS= read -r order; do
    case $order in
    'exit '*) exit "${order#exit }" ;;
    *) printf '%b' "$order" ;;
    esac
done < "$DEVICE_ROOT/orders.$name"
)";

/// Escapes for printf's %b.
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

OrderedScript::OrderedScript(const fs::path& deviceRoot, const std::string& name)
    : callsFile(deviceRoot / ("calls." + name))
{
    const fs::path script = deviceRoot / "usr/sbin" / name;
    fs::create_directories(script.parent_path());
    std::ofstream(script) << shellScript;
    fs::permissions(script, fs::perms::owner_all);

    const fs::path queue = deviceRoot / ("orders." + name);
    // Opened for reading and writing, so that neither open blocks.
    if (mkfifo(queue.c_str(), 0600) != 0 || (orders = open(queue.c_str(), O_RDWR | O_CLOEXEC)) < 0) {
        throw std::runtime_error("cannot make " + queue.string());
    }
}

OrderedScript::~OrderedScript()
{
    close(orders);
}

void OrderedScript::order(const std::string& line) const
{
    const std::string text = line + "\n";
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = write(orders, text.data() + done, text.size() - done);
        if (count < 0) {
            throw std::runtime_error("cannot order a script");
        }
        done += static_cast<std::size_t>(count);
    }
}

void OrderedScript::print(sim::SimulatedDevice& device, const std::string& bytes) const
{
    order(escaped(bytes));
    device.awaitScriptOutput(static_cast<int>(bytes.size()));
}

void OrderedScript::exit(sim::SimulatedDevice& device, int status) const
{
    order("exit " + std::to_string(status));
    device.awaitScriptEnd();
}

std::string OrderedScript::calls() const
{
    std::ostringstream text;
    text << std::ifstream(callsFile).rdbuf();
    return text.str();
}
