// Runs commands on the Debian system.
#include "tests/installed/debian_board.h"

#include <chrono>
#include <stdexcept>

namespace {

Board::Setup setupOf(const std::string& name, const std::string& card, const DebianBoard::Options& options)
{
    const std::filesystem::path folder = SYSTEM_DIR;
    Board::Setup setup{.name = name, .card = folder / card};
    setup.initramfs = folder / "initramfs";
    setup.discardsChanges = true;
    setup.observesBoot = options.observesBoot;
    setup.tree = options.tree;
    setup.processors = "maxcpus=1";
    setup.kernelOptions += " systemd.show_status=false " + options.kernelOptions;
    return setup;
}

} // namespace

DebianBoard::DebianBoard(const std::string& name, const std::string& card, const Options& options)
    : Board(setupOf(name, card, options))
{}

std::string DebianBoard::query(const std::string& command)
{
    std::vector<std::string> output = run(command);
    const std::string status = output.back();
    output.pop_back();
    std::string text;
    for (const std::string& line : output) {
        text += line + "\n";
    }
    if (status != "BOARD exit status 0") {
        throw std::runtime_error(command + ": " + status + "\n" + text);
    }
    return text;
}

bool DebianBoard::succeeds(const std::string& command)
{
    return run(command).back() == "BOARD exit status 0";
}

std::string DebianBoard::journal()
{
    return query(
        "journalctl --sync; journalctl --cursor-file=/run/journal-cursor --output=cat --unit=tonecrate-updater");
}

void DebianBoard::writeFile(const std::string& path, const std::string& text)
{
    std::string lines;
    for (const char character : text) {
        lines += character == '\n' ? "\\n" : std::string(1, character);
    }
    query("mkdir -p $(dirname " + path + ") && printf '" + lines + "' >" + path);
}

double DebianBoard::startAndMeasure()
{
    const Scene waiting = scenes::waiting();
    const std::size_t first = boardTest::screensFrom(*this).size();
    const auto start = std::chrono::steady_clock::now();
    startUpdater();
    waitFor("the waiting screen", [&](const Bus& wires) {
        const auto& screens = wires.screens();
        return screens.size() > first && waiting.has(screens.back());
    });
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}
