// Messages between the simulated board, which runs inside the program under test, and its controller.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

/// One end of a stream socket that carries length-prefixed messages. The controller sends requests; the board replies
/// to each request with one message.
class Channel {
public:
    /// Takes ownership of the descriptor.
    explicit Channel(int socket) : fd(socket) {}
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    ~Channel();

    /// Returns false if the other end is closed.
    bool send(std::string_view message);
    /// Blocks until a message arrives. Returns nothing if the other end is closed.
    std::optional<std::string> receive();
    /// Waits at most `timeout` for a message. Returns true if a message has arrived or the other end is closed.
    [[nodiscard]] bool hasMessage(std::chrono::milliseconds timeout = {}) const;

private:
    int fd;
};

} // namespace sim
