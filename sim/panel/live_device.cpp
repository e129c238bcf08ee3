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

/// How often the page can show something new.
constexpr auto publicationInterval = std::chrono::milliseconds(15);
/// How many iterations "step frame" runs if the device sends no frame.
constexpr std::uint64_t longestStep = 2000;

/// Ends a wait for the updater when the program ends.
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
            throw SyntaxError("expected a statement of a set-up, not \"" + line + "\"");
        }
        setup.add(statement);
    }
    return setup;
}

Statement parseInput(const std::string& text)
{
    Statement statement = parseStatement(text);
    const bool isAccepted = isInput(statement.verb) && statement.verb != Verb::PlugFile;
    if ((!isAccepted && statement.verb != Verb::Click) || statement.at) {
        throw SyntaxError("expected an input without an iteration, not \"" + text + "\"");
    }
    return statement;
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
    enqueue([this, statement = parseInput(text)] { apply(statement); });
}

void LiveDevice::replace(const std::string& setup)
{
    execute([this, parsed = parseSetup(setup)] { create(parsed); });
}

void LiveDevice::plugFirmware(const std::string& content)
{
    execute([&] {
        const std::filesystem::path file = uploadFolder / "tonecrate.fw";
        if (!std::ofstream(file, std::ios::binary)
                 .write(content.data(), static_cast<std::streamsize>(content.size()))) {
            throw std::runtime_error("cannot write " + file.string());
        }
        session->apply({Verb::PlugFile, {file.string()}});
    });
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
    execute([&] { result = print(session->recording()); });
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
    // Also executes the jobs that others wait for when the program ends.
    for (std::optional<Job> job = nextJob(); !isStopping || job; job = nextJob()) {
        if (job) {
            tryJob(*job);
            isPublicationDue = true;
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
    } else if (isPublicationDue) {
        hasWork.wait_for(lock, publicationInterval, isReady);
    } else {
        hasWork.wait(lock, isReady);
    }
}

void LiveDevice::create(const SessionSetup& setup)
{
    session = std::make_unique<Session>(files, programs, setup);
    clickEnd.reset();
    eventsPublished = 0;
    observe();
}

void LiveDevice::apply(const Statement& statement)
{
    if (statement.verb == Verb::Click) {
        return beginClick();
    }
    if (statement.verb == Verb::PowerOff && clickEnd) {
        endClick();
    }
    session->apply(statement);
    observe();
}

/// Ignored while another click is under way.
void LiveDevice::beginClick()
{
    if (!clickEnd && session->observe().isOn) {
        session->apply({Verb::Press});
        clickEnd = session->observe().iteration + Session::clickIterations;
    }
}

void LiveDevice::endClick()
{
    clickEnd.reset();
    session->apply({Verb::Release});
}

void LiveDevice::run(std::uint64_t iterations)
{
    const std::uint64_t before = session->observe().iteration;
    const std::uint64_t limit = clickEnd ? std::min(before + iterations, *clickEnd) : before + iterations;
    session->run(limit - before);
    elapsed += session->observe().iteration - before;
    if (clickEnd && session->observe().iteration >= *clickEnd) {
        endClick();
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

/// At most once in each interval, because a page cannot show more.
void LiveDevice::publish()
{
    publishLog();
    const auto now = Clock::now();
    if (!isPublicationDue || now < lastPublication + publicationInterval) {
        return;
    }
    const Observation& seen = session->observe();
    if (published != seen.screen) {
        published = seen.screen;
        screenName = references.nameOf(seen.screen);
        feed.publishFrame(frameText(seen.screen));
    }
    feed.publishState(stateJson({seen, clock.isRunning(), clock.getSpeed(), screenName}));
    lastPublication = now;
    isPublicationDue = false;
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
