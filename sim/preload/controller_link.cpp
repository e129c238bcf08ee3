// The controller's requests, and when they are executed.
#include "sim/preload/controller_link.h"

#include "sim/protocol/injected_faults.h"

#include <chrono>
#include <poll.h>
#include <sstream>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace sim {

namespace {

constexpr std::uint64_t iterationMicroseconds = 1000;
constexpr auto scriptTimeout = std::chrono::minutes(5);

std::string joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

template <typename Value>
Value take(std::istringstream& words)
{
    Value value{};
    words >> value;
    return value;
}

template <typename Bytes>
std::string asText(const Bytes& bytes)
{
    return {bytes.begin(), bytes.end()};
}

} // namespace

ControllerLink::ControllerLink(Board& simulatedBoard, int socket) : board(simulatedBoard), channel(socket)
{}

void ControllerLink::waitForStart()
{
    serveUntilResumed();
}

void ControllerLink::sleep(std::uint64_t microseconds)
{
    board.sync();
    const bool isIteration = microseconds == iterationMicroseconds;
    if (isIteration) {
        ++iteration;
    } else {
        board.note("wait " + std::to_string(microseconds));
    }
    const bool isDone = isIteration && iteration >= stopAt;
    if (isDone) {
        board.timeline.awaitIdle();
    }
    if (isDone && std::exchange(isReplyPending, false)) {
        channel.send(status());
    }
    if (!board.timeline.getVirtual()) {
        while (channel.hasMessage()) {
            serveOne();
        }
    } else if (isDone) {
        serveUntilResumed();
    }
    keepPaceWithScript();
    board.timeline.pass(std::chrono::microseconds(microseconds));
}

void ControllerLink::serveUntilResumed()
{
    isResumed = false;
    while (!isResumed) {
        serveOne();
    }
}

/// Waits for one request and executes it. Ends the program if the controller has closed the connection.
void ControllerLink::serveOne()
{
    const auto request = channel.receive();
    if (!request) {
        _exit(1);
    }
    const std::string reply = execute(*request);
    if (!isReplyPending) {
        channel.send(reply);
    }
}

/// Initialised before any constructor runs, because a constructor serves the first requests.
constinit const ControllerLink::Request ControllerLink::requests[] = {
    // No argument: starts the program.
    {"start",
     [](ControllerLink& link, Words&) {
         link.isResumed = true;
         return std::string();
     }},
    // COUNT: runs that many iterations, then replies.
    {"run", [](ControllerLink& link, Words& words) { return link.resume(take<std::uint64_t>(words)); }},
    // virtual|real: selects the kind of time.
    {"time",
     [](ControllerLink& link, Words& words) {
         link.board.timeline.setVirtual(take<std::string>(words) == "virtual");
         return std::string();
     }},
    // on|off: whether virtual time runs no faster than real time while a script runs.
    {"pace",
     [](ControllerLink& link, Words& words) {
         link.keepsPace = take<std::string>(words) == "on";
         return std::string();
     }},
    // MICROSECONDS: overrides the transfer time of a frame; 0 restores it.
    {"frame-time",
     [](ControllerLink& link, Words& words) {
         link.board.setFrameTime(std::chrono::microseconds(take<std::int64_t>(words)));
         return std::string();
     }},
    // NUMBER: makes that I2C transfer fail, counted from 1; 0 for none.
    {"refuse-i2c",
     [](ControllerLink& link, Words& words) {
         link.board.refuseI2cTransfer(take<int>(words));
         return std::string();
     }},
    // on|off: whether the traffic is logged.
    {"keep-traffic",
     [](ControllerLink& link, Words& words) {
         link.board.keepTraffic(take<std::string>(words) == "on");
         return std::string();
     }},
    // on|off NAME: injects or removes a fault.
    {"fault",
     [](ControllerLink& link, Words& words) {
         const bool on = take<std::string>(words) == "on";
         std::string name;
         std::getline(words >> std::ws, name);
         if (!fault::isKnown(name)) {
             return "error unknown fault: " + name;
         }
         link.board.setInjectedFault(name, on);
         return std::string();
     }},
    // 1|0: presses or releases the button.
    {"button",
     [](ControllerLink& link, Words& words) {
         link.board.setButton(take<int>(words) != 0);
         return std::string();
     }},
    // STEPS: turns the knob.
    {"turn",
     [](ControllerLink& link, Words& words) {
         link.board.turn(take<std::int32_t>(words));
         return std::string();
     }},
    // TYPE CODE VALUE: queues an encoder event.
    {"event",
     [](ControllerLink& link, Words& words) {
         const auto type = take<std::uint16_t>(words);
         const auto code = take<std::uint16_t>(words);
         link.board.queueEvent(type, code, take<std::int32_t>(words));
         return std::string();
     }},
    // BYTES: replies when that many bytes of script output are unread or the script has ended.
    {"await-output",
     [](ControllerLink& link, Words& words) {
         return std::string(link.awaitOutput(take<int>(words)) ? "" : "error timed out while waiting for the script");
     }},
    // No argument: replies with the state of the device.
    {"status", [](ControllerLink& link, Words&) { return link.status(); }},
    {"screen", [](ControllerLink& link, Words&) { return asText(link.board.screen()); }},
    {"leds", [](ControllerLink& link, Words&) { return asText(link.board.leds()); }},
    {"violations", [](ControllerLink& link, Words&) { return joined(link.board.violationList()); }},
    {"traffic", [](ControllerLink& link, Words&) { return joined(link.board.traffic()); }},
};

std::string ControllerLink::execute(const std::string& text)
{
    Words words(text);
    const auto name = take<std::string>(words);
    for (const Request& request : requests) {
        if (request.name == name) {
            return request.execute(*this, words);
        }
    }
    return "error unknown request: " + text;
}

std::string ControllerLink::resume(std::uint64_t iterations)
{
    stopAt = iteration + iterations;
    isResumed = isReplyPending = iterations > 0;
    return {};
}

std::string ControllerLink::status()
{
    return std::to_string(iteration) + " " + std::to_string(board.frameCount()) + " " +
           std::to_string(scriptFd >= 0 ? 1 : 0);
}

bool ControllerLink::awaitOutput(int byteCount) const
{
    if (scriptFd < 0) {
        return true;
    }
    const auto deadline = std::chrono::steady_clock::now() + scriptTimeout;
    while (std::chrono::steady_clock::now() < deadline) {
        constexpr int sliceMs = 1;
        pollfd entry = {scriptFd, 0, 0}; // without requested events, poll reports only that the output was closed
        poll(&entry, 1, sliceMs);
        int available = 0;
        ioctl(scriptFd, FIONREAD, &available);
        if ((entry.revents & POLLHUP) != 0 || (byteCount > 0 && available >= byteCount)) {
            return true;
        }
    }
    return false;
}

void ControllerLink::keepPaceWithScript() const
{
    if (keepsPace && scriptFd >= 0) {
        constexpr int iterationMs = 1;
        pollfd entry = {scriptFd, POLLIN, 0};
        poll(&entry, 1, iterationMs);
    }
}

} // namespace sim
