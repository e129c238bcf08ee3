// A client that sends arbitrary bytes to a server on this computer.
#pragma once

#include <cstdint>
#include <string>

class HttpClient {
public:
    /// Throws std::runtime_error if the server does not accept the connection.
    explicit HttpClient(std::uint16_t port);
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;
    ~HttpClient();

    /// Returns false if the server has closed the connection.
    bool send(const std::string& bytes);
    /// Closes the sending direction of the connection.
    void finishSending();
    /// Waits until `text` has arrived or the server has closed the connection. Returns everything received so far.
    /// Throws std::runtime_error after a minute without a byte.
    std::string receiveUntil(const std::string& text);
    /// Waits until the server closes the connection.
    std::string receiveAll() { return receiveUntil(""); }

private:
    int fd;
    std::string received;
};

/// Sends a request on a new connection and returns the whole response.
std::string fetch(std::uint16_t port, const std::string& method, const std::string& path, const std::string& body = "",
                  const std::string& headers = "Host: localhost\r\n");

/// The status code; 0 if `response` is empty or does not start with an HTTP/1.1 status line.
int statusOf(const std::string& response);
