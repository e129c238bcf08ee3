// A session that runs in its own thread, at a chosen speed.
#pragma once

#include "sim/panel/feed.h"
#include "sim/panel/pace.h"
#include "sim/session/live_clock.h"
#include "sim/session/movie.h"
#include "sim/session/reference_screens.h"
#include "sim/session/session.h"

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace sim {

/// Publishes the state, the screen and the log in a feed. The operations are thread-safe. After a termination signal,
/// operations may throw Interrupted.
class LiveDevice {
public:
    /// Creates the device and switches it on. `uploads` is an existing folder for users' firmware files. All references
    /// must outlive the object. Throws std::runtime_error if the device cannot be created.
    LiveDevice(DeviceFiles& deviceFiles, Programs chosenPrograms, const ReferenceScreens& chosenReferences,
               std::filesystem::path uploads, Feed& chosenFeed);
    LiveDevice(const LiveDevice&) = delete;
    LiveDevice& operator=(const LiveDevice&) = delete;
    ~LiveDevice();

    /// Accepts "click", "hold N" and the inputs of the scenario language except "plug file", and also "pause",
    /// "resume", "speed 1", "speed 4", "speed 16", "speed full", "step iteration" and "step frame". Throws SyntaxError
    /// for all other texts. "plug" first creates the image of the drive if it does not exist, while the device runs on;
    /// throws std::runtime_error if that fails. Does not wait until the input is applied; if applying it fails, the log
    /// contains the reason.
    void input(const std::string& text);
    /// Replaces the device. `setup` consists of set-up statements. Throws std::runtime_error if a statement is invalid
    /// or the device cannot be created.
    void replace(const std::string& setup);
    /// Plugs in a drive with a firmware file that has this content. The recording names the first content
    /// "tonecrate.fw", and further ones "tonecrate-2.fw" to "tonecrate-10.fw"; equal contents have the same name.
    /// Throws std::runtime_error for an eleventh content, or if the drive cannot be created.
    void plugFirmware(const std::string& content);

    [[nodiscard]] Screen screen();
    [[nodiscard]] std::vector<TimedScreen> movie();
    /// The text of a scenario.
    [[nodiscard]] std::string recording();

private:
    using Job = std::function<void()>;
    /// The parts of the state, besides the screen, that `publish` compares to detect changes between jobs.
    using Appearance =
        std::tuple<bool, bool, DisplayRegisters, std::array<std::uint8_t, 18>, std::string, std::optional<std::string>>;

    /// A user's firmware file.
    struct OwnFile {
        /// The name in recordings and in the upload folder.
        std::string name;
        std::size_t size;
        /// The image of a drive that contains the file.
        std::filesystem::path image;
    };

    [[nodiscard]] static std::vector<std::string> namesOf(const std::vector<OwnFile>& files);
    [[nodiscard]] static Appearance appearanceOf(const Observation& seen);
    [[nodiscard]] OwnFile keep(const std::string& content);

    void enqueue(Job job);
    /// Executes the job in the thread, and waits until it has finished. Its exceptions propagate to the caller.
    void execute(const Job& job);

    // These functions run in the thread.

    void runUntilStopped(std::promise<void>& started);
    void runDueIterations();
    void waitForWork();
    [[nodiscard]] std::optional<Job> nextJob();
    void tryJob(const Job& job);
    void create(const SessionSetup& setup);
    void apply(const Statement& statement);
    void plug(const Statement& statement, const std::filesystem::path& image);
    void beginPress(std::uint64_t iterations);
    void endPress();
    void run(std::uint64_t iterations);
    void runToNextFrame();
    void observe();
    void publish();
    void publishLog();
    void reportFailure(const std::string& text);

    DeviceFiles& files;
    Programs programs;
    const ReferenceScreens& references;
    const std::filesystem::path uploadFolder;
    Feed& feed;

    std::mutex mutex;
    std::condition_variable hasWork;
    std::deque<Job> jobs;
    std::atomic<bool> isStopping = false;

    std::mutex ownFilesMutex;
    std::vector<OwnFile> ownFiles;

    // Used only by the thread.

    std::unique_ptr<Session> session;
    LiveClock clock;
    /// The movie of the last minute of device time.
    Movie shots{60000};
    /// The number of iterations of all devices so far.
    std::uint64_t elapsed = 0;
    /// Measured only at speed 1.
    Pace pace;
    /// The iteration at which the current click or hold releases the button.
    std::optional<std::uint64_t> pressEnd;
    /// The users' files that the recording names.
    std::vector<OwnFile> pluggedFiles;
    std::size_t eventsPublished = 0;
    std::optional<Screen> published;
    std::string screenName;
    LiveClock::TimePoint lastPublication{};
    Appearance publishedAppearance;
    bool isPublicationDue = true;
    /// Whether a job has been executed since the last publication.
    bool isUrgent = true;

    std::thread thread;
};

} // namespace sim
