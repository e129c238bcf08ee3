// Alternates between inputs, due iterations and publications.
#include "sim/panel/live_device.h"

#include "sim/panel/panel_json.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace sim {

namespace {

using Clock = std::chrono::steady_clock;

/// The minimum time between two publications of the state and the screen.
constexpr auto publicationInterval = std::chrono::milliseconds(15);
/// The same while only the counters change. It is longer, because drawing them in the browser slows down the device.
constexpr auto counterInterval = std::chrono::milliseconds(50);
/// The number of iterations after which "step frame" stops if the device sends no frame.
constexpr std::uint64_t longestStep = 2000;

/// Limits the disk space: each file has up to 64 MiB, and the drive image that contains it up to 72 MiB.
constexpr std::size_t maxOwnFiles = 10;

/// Thrown to end a wait for the updater when the program ends.
class Stopped : public std::exception {};

constexpr std::pair<const char*, int> speeds[] = {
    {"speed 1", 1}, {"speed 4", 4}, {"speed 16", 16}, {"speed full", LiveClock::fullSpeed}};

SessionSetup parseSetup(const std::string& text)
{
    SessionSetup setup;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (isBlank(line)) {
            continue;
        }
        const Statement statement = parseStatement(line);
        if (!isSetUp(statement.verb)) {
            throw SyntaxError("expected a set-up statement, not \"" + line + "\"");
        }
        setup.add(statement);
    }
    return setup;
}

Statement parseInput(const std::string& text)
{
    Statement statement = parseStatement(text);
    const bool isAccepted = (isInput(statement.verb) && statement.verb != Verb::PlugFile) ||
                            statement.verb == Verb::Click || statement.verb == Verb::Hold;
    if (!isAccepted || statement.at) {
        throw SyntaxError(R"(expected an input without "at", not ")" + text + "\"");
    }
    return statement;
}

std::string contentOf(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void write(const std::filesystem::path& file, const std::string& content)
{
    if (!(std::ofstream(file, std::ios::binary) << content).flush()) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

} // namespace

LiveDevice::LiveDevice(DeviceFiles& deviceFiles, Programs chosenPrograms, const ReferenceScreens& chosenReferences,
                       std::filesystem::path uploads, Feed& chosenFeed)
    : files(deviceFiles), programs(std::move(chosenPrograms)), references(chosenReferences),
      uploadFolder(std::move(uploads)), feed(chosenFeed), clock(Clock::now())
{
    programs.whileWaiting = [this] {
        if (isStopping) {
            throw Stopped();
        }
    };
    std::promise<void> started;
    std::future<void> isStarted = started.get_future();
    thread = std::thread([this, &started] { runUntilStopped(started); });
    try {
        isStarted.get();
    } catch (...) {
        thread.join();
        throw;
    }
}

LiveDevice::~LiveDevice()
{
    isStopping = true;
    enqueue([] {});
    thread.join();
}

void LiveDevice::input(const std::string& text)
{
    if (text == "pause") {
        return enqueue([this] { clock.pause(); });
    }
    if (text == "resume") {
        return enqueue([this] { clock.resume(Clock::now()); });
    }
    if (text == "step iteration") {
        return enqueue([this] { run(1); });
    }
    if (text == "step frame") {
        return enqueue([this] { runToNextFrame(); });
    }
    for (const auto& [name, speed] : speeds) {
        if (text == name) {
            return enqueue([this, newSpeed = speed] { clock.setSpeed(newSpeed, Clock::now()); });
        }
    }
    const Statement statement = parseInput(text);
    if (statement.verb == Verb::Plug) {
        return enqueue([this, statement, image = files.drive(statement.text())] { plug(statement, image); });
    }
    enqueue([this, statement] { apply(statement); });
}

void LiveDevice::replace(const std::string& setup)
{
    execute([this, parsed = parseSetup(setup)] { create(parsed); });
}

void LiveDevice::plugFirmware(const std::string& content)
{
    execute([this, file = keep(content)] {
        plug({Verb::PlugFile, {file.name}}, file.image);
        const bool isNew = std::none_of(pluggedFiles.begin(), pluggedFiles.end(),
                                        [&](const OwnFile& other) { return other.name == file.name; });
        if (isNew) {
            pluggedFiles.push_back(file);
        }
    });
}

/// Returns the file with this content. If there is none, creates it under a new name.
LiveDevice::OwnFile LiveDevice::keep(const std::string& content)
{
    const std::lock_guard lock(ownFilesMutex);
    for (const OwnFile& file : ownFiles) {
        if (file.size == content.size() && contentOf(uploadFolder / file.name) == content) {
            return file;
        }
    }
    if (ownFiles.size() == maxOwnFiles) {
        throw std::runtime_error("The panel keeps only " + std::to_string(maxOwnFiles) +
                                 " firmware files. Restart it to use more.");
    }
    const std::string number = ownFiles.empty() ? "" : "-" + std::to_string(ownFiles.size() + 1);
    const std::string name = "tonecrate" + number + ".fw";
    write(uploadFolder / name, content);
    ownFiles.push_back({name, content.size(), files.makeDriveWith(uploadFolder / name)});
    return ownFiles.back();
}

Screen LiveDevice::screen()
{
    Screen result;
    execute([&] { result = session->observe().screen; });
    return result;
}

std::vector<TimedScreen> LiveDevice::movie()
{
    std::vector<TimedScreen> result;
    execute([&] { result = shots.screens(elapsed); });
    return result;
}

std::string LiveDevice::recording()
{
    std::string result;
    execute([&] {
        Scenario scenario = session->recording();
        for (const OwnFile& file : pluggedFiles) {
            scenario.summary += (scenario.summary.empty() ? "Needs in its folder: " : ", ") + file.name + " (" +
                                std::to_string(file.size) + " bytes)";
        }
        result = print(scenario);
    });
    return result;
}

void LiveDevice::enqueue(Job job)
{
    {
        const std::lock_guard lock(mutex);
        jobs.push_back(std::move(job));
    }
    hasWork.notify_all();
}

void LiveDevice::execute(const Job& job)
{
    std::promise<void> done;
    enqueue([&] {
        try {
            job();
            done.set_value();
        } catch (...) {
            done.set_exception(std::current_exception());
        }
    });
    done.get_future().get();
}

void LiveDevice::runUntilStopped(std::promise<void>& started)
{
    try {
        create({});
        started.set_value();
    } catch (...) {
        return started.set_exception(std::current_exception());
    }
    // When the program ends, executes the remaining jobs too, because other threads wait for them.
    for (std::optional<Job> job = nextJob(); !isStopping || job; job = nextJob()) {
        if (job) {
            tryJob(*job);
            isPublicationDue = isUrgent = true;
        } else {
            tryJob([this] { runDueIterations(); });
        }
        publish();
    }
}

std::optional<LiveDevice::Job> LiveDevice::nextJob()
{
    const std::lock_guard lock(mutex);
    if (jobs.empty()) {
        return std::nullopt;
    }
    Job job = std::move(jobs.front());
    jobs.pop_front();
    return job;
}

void LiveDevice::tryJob(const Job& job)
{
    try {
        job();
    } catch (const Stopped&) {
        isStopping = true;
    } catch (const std::exception& error) {
        reportFailure(error.what());
    }
}

void LiveDevice::runDueIterations()
{
    const std::uint64_t due = clock.takeDue(Clock::now());
    if (due > 0 && session->observe().isOn && !session->observe().end) {
        run(due);
        clock.getSpeed() == 1 ? pace.add(due, Clock::now()) : pace.interrupt();
    } else {
        waitForWork();
    }
}

void LiveDevice::waitForWork()
{
    std::unique_lock lock(mutex);
    const auto isReady = [this] { return !jobs.empty(); };
    const Observation& seen = session->observe();
    if (clock.isRunning() && seen.isOn && !seen.end) {
        hasWork.wait_for(lock, clock.untilDue(Clock::now()), isReady);
        return;
    }
    pace.interrupt();
    if (isPublicationDue) {
        hasWork.wait_for(lock, publicationInterval, isReady);
    } else {
        hasWork.wait(lock, isReady);
    }
}

void LiveDevice::create(const SessionSetup& setup)
{
    session = std::make_unique<Session>(files, programs, setup);
    pressEnd.reset();
    pluggedFiles.clear();
    eventsPublished = 0;
    observe();
}

void LiveDevice::apply(const Statement& statement)
{
    if (statement.verb == Verb::Click) {
        return beginPress(Session::clickIterations);
    }
    if (statement.verb == Verb::Hold) {
        return beginPress(static_cast<std::uint64_t>(statement.number()));
    }
    if (statement.verb == Verb::PowerOff && pressEnd) {
        endPress();
    }
    session->apply(statement);
    observe();
}

void LiveDevice::plug(const Statement& statement, const std::filesystem::path& image)
{
    session->plug(statement, image);
    observe();
}

/// Has no effect while another click or hold is under way, or while the device is off.
void LiveDevice::beginPress(std::uint64_t iterations)
{
    if (!pressEnd && session->observe().isOn) {
        session->apply({Verb::Press});
        pressEnd = session->observe().iteration + iterations;
    }
}

void LiveDevice::endPress()
{
    pressEnd.reset();
    session->apply({Verb::Release});
}

void LiveDevice::run(std::uint64_t iterations)
{
    const std::uint64_t before = session->observe().iteration;
    const std::uint64_t limit = pressEnd ? std::min(before + iterations, *pressEnd) : before + iterations;
    session->run(limit - before);
    elapsed += session->observe().iteration - before;
    if (pressEnd && session->observe().iteration >= *pressEnd) {
        endPress();
    }
    observe();
    isPublicationDue = true;
}

void LiveDevice::runToNextFrame()
{
    const std::uint64_t frames = session->observe().frames;
    for (std::uint64_t i = 0; i < longestStep && session->observe().frames == frames; ++i) {
        run(1);
    }
}

void LiveDevice::observe()
{
    shots.add(elapsed, session->observe().screen);
}

/// Publishes new log entries immediately, but the state and the screen at most once in each `publicationInterval`,
/// because a page cannot show more.
void LiveDevice::publish()
{
    publishLog();
    const auto now = Clock::now();
    if (!isPublicationDue || now < lastPublication + publicationInterval) {
        return;
    }
    const Observation& seen = session->observe();
    const bool hasNewScreen = published != seen.screen;
    Appearance appearance = appearanceOf(seen);
    if (!isUrgent && !hasNewScreen && appearance == publishedAppearance && now < lastPublication + counterInterval) {
        return;
    }
    if (hasNewScreen) {
        published = seen.screen;
        screenName = references.nameOf(seen.screen);
        feed.publishFrame(frameText(seen.screen));
    }
    publishedAppearance = std::move(appearance);
    feed.publishState(stateJson({seen, clock.isRunning(), clock.getSpeed(), screenName, pace, namesOf(pluggedFiles)}));
    lastPublication = now;
    isPublicationDue = isUrgent = false;
}

std::vector<std::string> LiveDevice::namesOf(const std::vector<OwnFile>& files)
{
    std::vector<std::string> names;
    std::transform(files.begin(), files.end(), std::back_inserter(names),
                   [](const OwnFile& file) { return file.name; });
    return names;
}

LiveDevice::Appearance LiveDevice::appearanceOf(const Observation& seen)
{
    return {seen.isOn, seen.isButtonDown, seen.display, seen.leds, seen.script, seen.end};
}

void LiveDevice::publishLog()
{
    const std::vector<Event>& events = session->events();
    for (; eventsPublished < events.size(); ++eventsPublished) {
        feed.addLogEntry(eventJson(events[eventsPublished]));
    }
}

void LiveDevice::reportFailure(const std::string& text)
{
    feed.addLogEntry(eventJson({session->observe().iteration, Event::Kind::Error, text}));
}

} // namespace sim
