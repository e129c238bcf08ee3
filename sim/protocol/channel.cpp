// Length-prefixed messages on a socket.
#include "sim/protocol/channel.h"

#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace sim {

namespace {

bool sendAll(int fd, const char* bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t sent = ::send(fd, bytes, size, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return false;
        }
        bytes += sent;
        size -= static_cast<std::size_t>(sent);
    }
    return true;
}

bool receiveAll(int fd, char* bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t received = ::recv(fd, bytes, size, 0);
        if (received < 0 && errno == EINTR) {
            continue;
        }
        if (received <= 0) {
            return false;
        }
        bytes += received;
        size -= static_cast<std::size_t>(received);
    }
    return true;
}

} // namespace

Channel::~Channel()
{
    ::close(fd);
}

bool Channel::send(std::string_view message)
{
    const auto size = static_cast<std::uint32_t>(message.size());
    // Sends the size and the message in one call, so that the receiver wakes up only once.
    std::string bytes(reinterpret_cast<const char*>(&size), sizeof size);
    bytes += message;
    return sendAll(fd, bytes.data(), bytes.size());
}

std::optional<std::string> Channel::receive()
{
    std::uint32_t size = 0;
    if (!receiveAll(fd, reinterpret_cast<char*>(&size), sizeof size)) {
        return std::nullopt;
    }
    std::string message(size, '\0');
    if (!receiveAll(fd, message.data(), size)) {
        return std::nullopt;
    }
    return message;
}

bool Channel::hasMessage(std::chrono::milliseconds timeout) const
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
        pollfd entry = {fd, POLLIN, 0};
        const int ready = ::poll(&entry, 1, left > 0 ? static_cast<int>(left) : 0);
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

} // namespace sim
