// Messages between the simulated board, inside the program under test, and its controller.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

/// One end of a stream socket that carries length-prefixed messages. The controller sends requests; the board answers
/// each with one message.
class Channel {
public:
    /// Takes over the descriptor.
    explicit Channel(int socket) : fd(socket) {}
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    ~Channel();

    /// False when the other end is gone.
    bool send(std::string_view message);
    /// Waits for a message. Nothing when the other end is gone.
    std::optional<std::string> receive();
    /// Whether `receive` would return at once, or will so within that time.
    [[nodiscard]] bool hasMessage(std::chrono::milliseconds patience = {}) const;

private:
    int fd;
};

} // namespace sim
