#include "sim/panel/options.h"

#include <charconv>

namespace sim {

namespace {

std::uint16_t parsePort(const std::string& text)
{
    std::uint16_t port = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc() || rest != end) {
        throw PanelUsageError("--port accepts only a number from 0 to 65535");
    }
    return port;
}

} // namespace

PanelOptions parsePanelOptions(std::span<const std::string> arguments)
{
    PanelOptions options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& name = arguments[i];
        if (name == "--help") {
            options.wantsHelp = true;
            continue;
        }
        if (name != "--port" && name != "--bind") {
            throw PanelUsageError("unknown argument " + name);
        }
        if (++i == arguments.size()) {
            throw PanelUsageError(name + " needs a value");
        }
        if (name == "--port") {
            options.port = parsePort(arguments[i]);
        } else {
            options.address = arguments[i];
        }
    }
    return options;
}

std::string panelHelp()
{
    return R"(usage: ./dev panel [--port N] [--bind ADDRESS]

Runs the updater on a simulated device, and shows the device in a browser.

  --port N        the port of the page; 0 for any free port (default: 7256)
  --bind ADDRESS  the numeric address to listen on (default: 127.0.0.1, which only this computer can reach);
                  everyone who can reach the address can control the device
)";
}

} // namespace sim
