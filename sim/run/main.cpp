// Runs the updater on a simulated device, interactively or in a scenario.
#include "sim/run/live_session.h"
#include "sim/run/options.h"
#include "sim/run/pictures.h"
#include "sim/run/scenario_printer.h"
#include "sim/session/device_files.h"
#include "sim/session/reference_screens.h"
#include "sim/session/scenario_player.h"
#include "sim/session/signals.h"
#include "sim/wires/recording_file.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <optional>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;

sim::Options defaultOptions()
{
    return {.updater = TONECRATE_UPDATER,
            .preload = TONECRATE_PRELOAD,
            .scripts = TONECRATE_SIM_FOLDER "/scripts",
            .scenarios = TONECRATE_SCENARIOS};
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

/// The objects that every session uses.
struct SessionObjects {
    explicit SessionObjects(const sim::Options& options)
        : references(TONECRATE_SCREENS), pictures(options.frames, options.movie),
          deviceFiles(options.scripts, TONECRATE_SIM_FOLDER "/firmware")
    {
        if (!options.wires.empty()) {
            wires.emplace(options.wires, options.wiresLimit);
        }
    }

    const sim::ReferenceScreens references;
    sim::Pictures pictures;
    sim::DeviceFiles deviceFiles;
    std::optional<sim::RecordingFile> wires;
};

sim::Programs programsOf(const sim::Options& options, SessionObjects& objects)
{
    return {fs::absolute(options.updater), fs::absolute(options.preload), sim::checkSignals,
            objects.wires ? &*objects.wires : nullptr};
}

/// Completes the recording of the lines if --wires is given.
void finishWires(const sim::Options& options, SessionObjects& objects)
{
    if (!objects.wires) {
        return;
    }
    objects.wires->finish();
    if (objects.wires->isFull()) {
        std::cerr << "tonecrate-simulator: " << options.wires.string() << " ends at " << objects.wires->seconds()
                  << " s of device time, at the limit of " << options.wiresLimit << " bytes (--wires-limit)\n";
    }
}

/// Writes the session as a scenario if --record is given.
void record(const sim::Options& options, const sim::Session& session)
{
    if (!options.recording.empty()) {
        sim::writeScenario(session.recording(), options.recording);
    }
}

std::string play(const sim::Options& options, const fs::path& file)
{
    const sim::Scenario scenario = sim::readScenario(file);
    SessionObjects objects(options);
    sim::Session session(objects.deviceFiles, programsOf(options, objects), scenario.setup);
    sim::ScenarioPrinter printer(session, objects.references, objects.pictures, std::cout);
    sim::ScenarioPlayer player(session, objects.deviceFiles, objects.references, [&] {
        sim::checkSignals();
        printer.update();
    });
    std::string result = player.play(scenario, file.string());
    record(options, session);
    finishWires(options, objects);
    objects.pictures.writeMovie(session.observe());
    return result;
}

int runScenario(const sim::Options& options, const fs::path& file)
{
    const std::string name = file.stem().string();
    try {
        const std::string result = play(options, file);
        std::cout << name << ": passed" << (result.empty() ? "" : ": ") << result << std::endl;
        return std::cout ? 0 : failed;
    } catch (const std::runtime_error& error) {
        sim::checkSignals();
        std::cerr << name << ": failed: " << error.what() << '\n';
        return failed;
    }
}

int runLive(const sim::Options& options)
{
    SessionObjects objects(options);
    std::cout << "Creating a device and a drive ..." << std::endl;
    (void)objects.deviceFiles.drive(sim::LiveSession::drive);
    sim::Session session(objects.deviceFiles, programsOf(options, objects));
    sim::LiveSession live(session, objects.references, objects.pictures);
    live.run();
    record(options, session);
    finishWires(options, objects);
    objects.pictures.writeMovie(session.observe());
    return live.report() ? 0 : failed;
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
    const bool isDefault = options.scenario.empty();
    return runScenario(options, isDefault ? sim::scenarioFile(options.scenarios, "update") : options.scenario);
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
            std::cout << sim::helpText(TONECRATE_SCENARIOS);
            return 0;
        }
        return run(options);
    } catch (const sim::UsageError& error) {
        const std::string help = sim::helpText(TONECRATE_SCENARIOS);
        std::cerr << "tonecrate-simulator: " << error.what() << '\n' << help.substr(0, help.find("\n\n")) << '\n';
        return wrongUsage;
    } catch (const sim::Interrupted&) {
        sim::endBySignal(sim::caughtSignal());
    } catch (const std::exception& error) {
        std::cerr << "tonecrate-simulator: " << error.what() << '\n';
        return failed;
    }
}
