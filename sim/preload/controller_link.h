// Executes the requests of the controller (the process that started the device) before the program starts and while it
// is stopped.
#pragma once

#include "sim/preload/board.h"
#include "sim/preload/script_output.h"
#include "sim/protocol/channel.h"

#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

namespace sim {

/// A request consists of words separated by blanks; `requests` in controller_link.cpp lists all requests. A reply that
/// starts with "error " reports a failure. The program stops after its first iteration, and then after each requested
/// number of iterations, until the controller requests more.
class ControllerLink {
public:
    ControllerLink(Board& simulatedBoard, int socket);

    /// Serves requests until the controller sends "start".
    void waitForStart();
    /// Called when the main thread sleeps. A sleep of 1000 microseconds ends an iteration of the main loop.
    void sleep(std::uint64_t microseconds);
    [[nodiscard]] std::uint64_t getIteration() const { return iteration; }

    ScriptOutput script;

private:
    using Words = std::istringstream;
    struct Request {
        std::string_view name;
        std::string (*execute)(ControllerLink& link, Words& words);
    };
    static const Request requests[];

    void serveUntilResumed();
    void serveOne();
    std::string execute(const std::string& text);
    std::string resume(std::uint64_t iterations);
    [[nodiscard]] std::string status();
    void endIfAbandoned() const;

    Board& board;
    Channel channel;
    std::uint64_t iteration = 0;
    /// The iteration at whose end the program stops.
    std::uint64_t stopAt = 1;
    bool isResumed = false;
    /// Whether the reply to a "run" request is pending.
    bool isReplyPending = false;
};

} // namespace sim
