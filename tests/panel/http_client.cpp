#include "http_client.h"

#include <arpa/inet.h>
#include <array>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

HttpClient::HttpClient(std::uint16_t port) : fd(socket(AF_INET, SOCK_STREAM, 0))
{
    const timeval limit = {60, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(fd);
        throw std::runtime_error("cannot connect");
    }
}

HttpClient::~HttpClient()
{
    close(fd);
}

bool HttpClient::send(const std::string& bytes)
{
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t count = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

void HttpClient::finishSending()
{
    shutdown(fd, SHUT_WR);
}

std::string HttpClient::receiveUntil(const std::string& text)
{
    std::array<char, 65536> buffer;
    while (text.empty() || received.find(text) == std::string::npos) {
        const ssize_t count = recv(fd, buffer.data(), buffer.size(), 0);
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            throw std::runtime_error("nothing received for a minute");
        }
        if (count <= 0) {
            break;
        }
        received.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return received;
}

std::string fetch(std::uint16_t port, const std::string& method, const std::string& path, const std::string& body,
                  const std::string& headers)
{
    HttpClient client(port);
    client.send(method + " " + path + " HTTP/1.1\r\n" + headers +
                "Connection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    return client.receiveAll();
}

int statusOf(const std::string& response)
{
    return response.starts_with("HTTP/1.1 ") ? std::stoi(response.substr(9, 3)) : 0;
}
