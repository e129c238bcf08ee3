// Executes the requests of the controller, the process that started the device, on the main thread while it sleeps.
#pragma once

#include "sim/preload/board.h"
#include "sim/protocol/channel.h"

#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

namespace sim {

/// A request is words separated by blanks, see the table in the source; an answer that begins with "error " refuses it.
/// In virtual time the program stands still at the end of an iteration until it is told how many more to run.
class ControllerLink {
public:
    ControllerLink(Board& simulatedBoard, int socket);

    /// Serves requests until the controller sends "start".
    void waitForStart();
    /// The program sleeps; a sleep of 1000 microseconds is one iteration of its main loop.
    void sleep(std::uint64_t microseconds);
    /// The output of the script that runs now; -1 when none runs.
    void setScript(int fd) { scriptFd = fd; }
    [[nodiscard]] int getScript() const { return scriptFd; }

private:
    using Words = std::istringstream;
    struct Answer {
        std::string_view name;
        std::string (*give)(ControllerLink& link, Words& words);
    };
    static const Answer answers[];

    void serveUntilResumed();
    void serveOne();
    std::string answer(const std::string& request);
    std::string resume(std::uint64_t iterations);
    [[nodiscard]] std::string status();
    [[nodiscard]] bool awaitOutput(int byteCount) const;
    void keepPaceWithScript() const;

    Board& board;
    Channel channel;
    int scriptFd = -1;
    std::uint64_t iteration = 0;
    /// The iteration at whose end the program stands still.
    std::uint64_t stopAt = 1;
    /// Whether virtual time runs no faster than real time while a script runs.
    bool keepsPace = false;
    bool isResumed = false;
    /// To the request to run.
    bool owesReply = false;
};

} // namespace sim
