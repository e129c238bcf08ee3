// The controller's requests, and when they are executed.
#include "sim/preload/controller_link.h"

#include "sim/protocol/injected_faults.h"
#include "sim/wires/recording_file.h"

#include <chrono>
#include <fcntl.h>
#include <sstream>
#include <unistd.h>
#include <utility>

namespace sim {

namespace {

constexpr std::uint64_t iterationMicroseconds = 1000;

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

ControllerLink::ControllerLink(Board& simulatedBoard, int socket)
    : script(simulatedBoard.getRoot(), [this] { endIfAbandoned(); }), board(simulatedBoard), channel(socket)
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
        script.pass(iteration);
    } else {
        board.note("wait " + std::to_string(microseconds));
    }
    if (isIteration && iteration >= stopAt) {
        board.timeline.awaitIdle();
        board.observeWires();
        if (std::exchange(isReplyPending, false)) {
            channel.send(status());
        }
        serveUntilResumed();
    }
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

/// Initialised at compile time, because setUp in system_calls.cpp serves the first requests when the library is loaded.
constinit const ControllerLink::Request ControllerLink::requests[] = {
    // No argument: starts the program.
    {"start",
     [](ControllerLink& link, Words&) {
         link.isResumed = true;
         return std::string();
     }},
    // COUNT: runs COUNT iterations, then replies like "status"; if COUNT is 0, replies immediately, without the status.
    {"run", [](ControllerLink& link, Words& words) { return link.resume(take<std::uint64_t>(words)); }},
    // ITERATIONS: the time from a script's start to its first line, and from each line to the next; 0 for no delay.
    {"script-pace",
     [](ControllerLink& link, Words& words) {
         return std::string(link.script.setPace(take<std::uint64_t>(words)) ? "" : "error cannot create script-steps");
     }},
    // MICROSECONDS: overrides the transfer time of a frame; 0 restores the time that follows from the bus speed.
    {"frame-time",
     [](ControllerLink& link, Words& words) {
         link.board.setFrameTime(std::chrono::microseconds(take<std::int64_t>(words)));
         return std::string();
     }},
    // NUMBER: makes I2C transfer NUMBER fail, counted from 1; 0 for none.
    {"refuse-i2c",
     [](ControllerLink& link, Words& words) {
         link.board.refuseI2cTransfer(take<int>(words));
         return std::string();
     }},
    // on|off: enables or disables the traffic log.
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
    // FILE STATE: records the lines to descriptor FILE, with a RecordingState in the memory of descriptor STATE.
    {"wires",
     [](ControllerLink& link, Words& words) {
         const int file = take<int>(words);
         const int memory = take<int>(words);
         fcntl(file, F_SETFD, FD_CLOEXEC);
         RecordingState* const state = mapRecordingState(memory);
         close(memory);
         if (state == nullptr) {
             return std::string("error cannot map the state of the recording");
         }
         link.board.recordWires(file, *state);
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
    // BYTES: at pace 0, replies when at least BYTES bytes of script output are unread or the script has closed its
    // output; if BYTES is 0, only when the script has closed its output.
    {"await-output",
     [](ControllerLink& link, Words& words) {
         return std::string(link.script.awaitBytes(take<int>(words)) ? "" : "error timed out while waiting for the script");
     }},
    // No argument: at a pace other than 0, replies when the script has written its next line or has closed its output.
    {"await-step",
     [](ControllerLink& link, Words&) {
         link.script.awaitStep();
         return std::string();
     }},
    // No argument: these reply with the state of the device.
    {"status", [](ControllerLink& link, Words&) { return link.status(); }},
    {"screen", [](ControllerLink& link, Words&) { return asText(link.board.screen()); }},
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

/// A line with the fields of SimulatedDevice::Status, the running script last; then a byte for each LED output.
std::string ControllerLink::status()
{
    const DisplayRegisters display = board.displayRegisters();
    std::ostringstream text;
    text << iteration << ' ' << board.frameCount() << ' ' << display.isOn << ' ' << display.sleeps << ' '
         << display.isInverse << ' ' << display.contrast << ' ' << board.violationList().size() << ' ' << script.name()
         << '\n'
         << asText(board.leds());
    return text.str();
}

/// Ends the program if the controller has closed the connection. Called while the controller waits for a reply and
/// sends no requests, so `hasMessage` returns true only if the connection is closed.
void ControllerLink::endIfAbandoned() const
{
    if (channel.hasMessage()) {
        _exit(1);
    }
}

} // namespace sim
