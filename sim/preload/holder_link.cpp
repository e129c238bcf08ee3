// The requests of the device's holder.
#include "sim/preload/holder_link.h"

#include <poll.h>
#include <sstream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace sim {

namespace {

constexpr std::uint64_t iterationMicroseconds = 1000;
constexpr int scriptTimeoutMs = 20000;

std::string joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

template <typename Bytes> std::string asText(const Bytes& bytes)
{
    return {bytes.begin(), bytes.end()};
}

} // namespace

HolderLink::HolderLink(Board& simulatedBoard, int socket) : board(simulatedBoard), channel(socket)
{}

void HolderLink::waitForStart()
{
    while (serveOne() == Next::Serve) {
    }
}

void HolderLink::sleep(std::uint64_t microseconds)
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
        board.timeline.awaitRest();
    }
    if (isDone && hasPendingReply) {
        channel.send("ok " + status());
        hasPendingReply = false;
    }
    if (!board.timeline.getVirtual()) {
        while (channel.hasMessage()) {
            serveOne();
        }
    } else if (isDone) {
        while (serveOne() == Next::Serve) {
        }
    }
    keepPaceWithScript();
    board.timeline.pass(std::chrono::microseconds(microseconds));
}

/// Serves one request, waiting for it. The program ends with its holder.
HolderLink::Next HolderLink::serveOne()
{
    const auto request = channel.receive();
    if (!request) {
        _exit(1);
    }
    std::string reply;
    const Next next = answer(*request, reply);
    if (!hasPendingReply) {
        channel.send(reply);
    }
    return next;
}

HolderLink::Next HolderLink::answer(const std::string& request, std::string& reply)
{
    std::istringstream words(request);
    std::string verb;
    words >> verb;
    reply = "ok";
    if (verb == "start") {
        return Next::Resume;
    }
    if (verb == "run") { // N: lets the program run that many iterations, and answers when they are done
        std::uint64_t count = 0;
        words >> count;
        stopAt = iteration + count;
        hasPendingReply = count > 0;
        return count > 0 ? Next::Resume : Next::Serve;
    }
    if (verb == "time") { // virtual | real
        std::string kind;
        words >> kind;
        board.timeline.setVirtual(kind == "virtual");
    } else if (verb == "pace") { // on | off
        std::string value;
        words >> value;
        keepsPace = value == "on";
    } else if (verb == "frame-time") { // MICROSECONDS
        std::int64_t microseconds = 0;
        words >> microseconds;
        board.setFrameTime(std::chrono::microseconds(microseconds));
    } else if (verb == "trouble") { // on | off NAME
        std::string value;
        std::string name;
        words >> value >> std::ws;
        std::getline(words, name);
        board.setTrouble(name, value == "on");
    } else if (verb == "button") { // 1 | 0
        int pressed = 0;
        words >> pressed;
        board.setButton(pressed != 0);
    } else if (verb == "turn") { // STEPS
        std::int32_t steps = 0;
        words >> steps;
        board.turn(steps);
    } else if (verb == "event") { // TYPE CODE VALUE
        std::uint16_t type = 0;
        std::uint16_t code = 0;
        std::int32_t value = 0;
        words >> type >> code >> value;
        board.queueEvent(type, code, value);
    } else if (verb == "await-output") { // BYTES: until the script has written that much, or has ended
        int count = 0;
        words >> count;
        reply = awaitOutput(count) ? "ok" : "error the script wrote nothing in time";
    } else if (verb == "status") {
        reply = "ok " + status();
    } else if (verb == "screen") {
        reply = asText(board.screen());
    } else if (verb == "leds") {
        reply = asText(board.leds());
    } else if (verb == "faults") {
        reply = joined(board.faultList());
    } else if (verb == "traffic") {
        reply = joined(board.traffic());
    } else {
        reply = "error unknown request: " + request;
    }
    return Next::Serve;
}

std::string HolderLink::status()
{
    return std::to_string(iteration) + " " + std::to_string(board.frameCount()) + " " +
           std::to_string(scriptFd >= 0 ? 1 : 0);
}

bool HolderLink::awaitOutput(int byteCount) const
{
    for (int waited = 0; waited < scriptTimeoutMs; ++waited) {
        pollfd entry = {scriptFd, POLLIN, 0};
        poll(&entry, 1, 0);
        int available = 0;
        ioctl(scriptFd, FIONREAD, &available);
        if (scriptFd < 0 || (entry.revents & POLLHUP) != 0 || (byteCount > 0 && available >= byteCount)) {
            return true;
        }
        constexpr int pauseMs = 1;
        poll(nullptr, 0, pauseMs);
    }
    return false;
}

void HolderLink::keepPaceWithScript() const
{
    if (keepsPace && scriptFd >= 0) {
        constexpr int iterationMs = 1;
        pollfd entry = {scriptFd, POLLIN, 0};
        poll(&entry, 1, iterationMs);
    }
}

} // namespace sim
