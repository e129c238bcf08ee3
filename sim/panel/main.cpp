// Runs the updater on a simulated device, and shows the device in a browser.
#include "sim/panel/live_device.h"
#include "sim/panel/options.h"
#include "sim/panel/panel_json.h"
#include "sim/panel/panel_server.h"
#include "sim/session/signals.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <thread>

namespace {

namespace fs = std::filesystem;

constexpr int failed = 1;
constexpr int wrongUsage = 2;
constexpr auto signalCheckInterval = std::chrono::milliseconds(50);

/// A temporary folder for users' firmware files. The destructor removes it.
class UploadFolder {
public:
    UploadFolder()
    {
        std::string pattern = fs::temp_directory_path() / "tonecrate-panel.XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot create a folder in " + fs::temp_directory_path().string());
        }
        folder = pattern;
    }
    UploadFolder(const UploadFolder&) = delete;
    UploadFolder& operator=(const UploadFolder&) = delete;
    ~UploadFolder()
    {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }

    [[nodiscard]] const fs::path& path() const { return folder; }

private:
    fs::path folder;
};

/// Creates the images of all drives in the background, so that plugging in does not have to wait for them.
class DrivePreparation {
public:
    explicit DrivePreparation(const sim::DeviceFiles& files) : thread([this, &files] { prepare(files); }) {}
    DrivePreparation(const DrivePreparation&) = delete;
    DrivePreparation& operator=(const DrivePreparation&) = delete;
    ~DrivePreparation()
    {
        isStopping = true;
        thread.join();
    }

private:
    void prepare(const sim::DeviceFiles& files)
    {
        try {
            for (const sim::DriveKind& kind : sim::driveKinds) {
                if (!isStopping) {
                    (void)files.drive(kind.name);
                }
            }
        } catch (const std::exception&) {
            // Plugging in the drive repeats the attempt and reports the reason.
        }
    }

    std::atomic<bool> isStopping = false;
    std::thread thread;
};

/// Turns an exception into an error message.
template <typename Operation>
sim::PanelActions::Action actionOf(Operation operation)
{
    return [operation](const std::string& text) -> std::optional<std::string> {
        try {
            operation(text);
            return std::nullopt;
        } catch (const std::exception& error) {
            return error.what();
        }
    };
}

sim::PanelActions actionsOf(sim::LiveDevice& device)
{
    return {.input = actionOf([&](const std::string& text) { device.input(text); }),
            .replaceDevice = actionOf([&](const std::string& text) { device.replace(text); }),
            .plugFirmware = actionOf([&](const std::string& text) { device.plugFirmware(text); }),
            .choices = sim::choicesJson,
            .picture = [&] { return sim::pngOf(device.screen()); },
            .movie = [&] { return sim::animatedPngOf(device.movie()); },
            .scenario = [&] { return device.recording(); }};
}

std::string addressOf(const std::string& host, std::uint16_t port)
{
    const bool isIpv6 = host.find(':') != std::string::npos;
    return "http://" + (isIpv6 ? "[" + host + "]" : host) + ":" + std::to_string(port) + "/";
}

void serve(const sim::PanelOptions& options)
{
    const sim::ReferenceScreens references(TONECRATE_SCREENS);
    const UploadFolder uploads;
    sim::DeviceFiles files(TONECRATE_SIM_FOLDER "/scripts", TONECRATE_SIM_FOLDER "/firmware");
    std::cout << "Creating a device and a drive ..." << std::endl;
    (void)files.drive(sim::driveKinds[0].name);
    sim::Feed feed;
    sim::LiveDevice device(files, {TONECRATE_UPDATER, TONECRATE_PRELOAD, {}}, references, uploads.path(), feed);
    const DrivePreparation preparation(files);
    const sim::PanelServer server(options.address, options.port, feed, actionsOf(device));
    std::cout << "Open " << addressOf(options.address, server.port()) << " in a browser. Ctrl+C ends the program."
              << std::endl;
    while (sim::caughtSignal() == 0) {
        std::this_thread::sleep_for(signalCheckInterval);
    }
}

} // namespace

int main(int argc, char** argv)
{
    sim::watchSignals();
    try {
        const std::vector<std::string> arguments(argv + 1, argv + argc);
        const sim::PanelOptions options = sim::parsePanelOptions(arguments);
        if (options.wantsHelp) {
            std::cout << sim::panelHelp();
            return 0;
        }
        serve(options);
        sim::endBySignal(sim::caughtSignal());
    } catch (const sim::PanelUsageError& error) {
        const std::string help = sim::panelHelp();
        std::cerr << "panel: " << error.what() << '\n' << help.substr(0, help.find('\n')) << '\n';
        return wrongUsage;
    } catch (const sim::Interrupted&) {
        sim::endBySignal(sim::caughtSignal());
    } catch (const std::exception& error) {
        std::cerr << "panel: " << error.what() << '\n';
        return failed;
    }
}
