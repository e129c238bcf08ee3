// Runs the updater on a simulated device, interactively or in a scenario.
#include "sim/run/frame_folder.h"
#include "sim/run/live_session.h"
#include "sim/run/options.h"
#include "sim/run/scenario_runner.h"
#include "sim/session/device_files.h"
#include "sim/session/reference_screens.h"
#include "sim/session/signals.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;

sim::Options defaultOptions()
{
    return {.updater = TONECRATE_UPDATER, .preload = TONECRATE_PRELOAD, .scripts = TONECRATE_SIM_FOLDER "/scripts"};
}

void require(const fs::path& path, int mode)
{
    if (access(path.c_str(), mode) != 0) {
        throw std::runtime_error("cannot use " + path.string() + ": " + std::strerror(errno));
    }
}

void requireFiles(const sim::Options& options)
{
    require(options.updater, X_OK);
    require(options.preload, R_OK);
    require(options.scripts, X_OK);
}

sim::DeviceSetup setupOf(const sim::Options& options, fs::path root)
{
    return {
        .updater = fs::absolute(options.updater), .preload = fs::absolute(options.preload), .root = std::move(root)};
}

int runScenario(const sim::Options& options, const sim::Play& scenario)
{
    try {
        const sim::ReferenceScreens references(TONECRATE_SCREENS);
        sim::FrameFolder frames(options.frames);
        sim::ScenarioLog log(std::cout);
        sim::DeviceFiles deviceFiles(options.scripts, TONECRATE_SIM_FOLDER "/firmware");
        sim::ScenarioRunner runner(scenario, deviceFiles, {references, frames, log},
                                   setupOf(options, deviceFiles.makeDevice(scenario.memory)));
        const std::string verified = runner.run();
        std::cout << scenario.name << ": passed: " << verified << std::endl;
        return std::cout ? 0 : failed;
    } catch (const std::runtime_error& error) {
        sim::checkSignals();
        std::cerr << scenario.name << ": failed: " << error.what() << '\n';
        return failed;
    }
}

int runLive(const sim::Options& options)
{
    const sim::ReferenceScreens references(TONECRATE_SCREENS);
    sim::FrameFolder frames(options.frames);
    sim::DeviceFiles deviceFiles(options.scripts, TONECRATE_SIM_FOLDER "/firmware");
    std::cout << "Creating a device and a drive ..." << std::endl;
    const fs::path drive = deviceFiles.drive("good");
    sim::LiveSession session(setupOf(options, deviceFiles.makeDevice({})), drive, references, frames);
    session.run();
    return session.report() ? 0 : failed;
}

/// Opens /dev/null for each standard stream that is closed, so that no other file gets its descriptor.
void occupyStandardStreams()
{
    int fd = STDIN_FILENO;
    while (fd >= STDIN_FILENO && fd <= STDERR_FILENO) {
        fd = open("/dev/null", O_RDWR);
    }
    close(fd);
}

int run(const sim::Options& options)
{
    requireFiles(options);
    const bool isInteractive = isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
    if (options.scenario.empty() && isInteractive) {
        return runLive(options);
    }
    return runScenario(options, *sim::findScenario(options.scenario.empty() ? sim::defaultScenario : options.scenario));
}

} // namespace

int main(int argc, char** argv)
{
    occupyStandardStreams();
    sim::watchSignals();
    try {
        const std::vector<std::string> arguments(argv + 1, argv + argc);
        const sim::Options options = sim::parseOptions(arguments, defaultOptions());
        if (options.wantsHelp) {
            std::cout << sim::helpText();
            return 0;
        }
        return run(options);
    } catch (const sim::UsageError& error) {
        const std::string help = sim::helpText();
        std::cerr << "tonecrate-simulator: " << error.what() << '\n' << help.substr(0, help.find('\n')) << '\n';
        return wrongUsage;
    } catch (const sim::Interrupted&) {
        sim::endBySignal(sim::caughtSignal());
    } catch (const std::exception& error) {
        std::cerr << "tonecrate-simulator: " << error.what() << '\n';
        return failed;
    }
}
