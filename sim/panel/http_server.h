// An HTTP server for a few clients, with a limit on everything that a client sends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

struct MHD_Daemon;

namespace sim {

struct HttpRequest {
    std::string method{};
    /// Without the query.
    std::string path{};
    /// The Host and Origin headers; empty if missing.
    std::string host{};
    std::string origin{};
    std::string body{};
};

struct HttpResponse {
    /// Returns the next part of the body, or nothing at the end of the body; may block.
    using Stream = std::function<std::optional<std::string>()>;

    unsigned status = 200;
    std::string type = "text/plain; charset=utf-8";
    std::string body{};
    std::vector<std::pair<std::string, std::string>> headers{};
    /// If set, sent instead of `body`.
    Stream stream{};
};

/// Whether a request is accepted; decided before its body arrives.
struct Admission {
    std::size_t maxBodyBytes = 0;
    /// If set, sent at once; the body of the request is not read.
    std::optional<HttpResponse> rejection{};
    /// Kept until the end of the request, then released.
    std::shared_ptr<void> permit{};
};

/// Each client has its own thread, so a client that stalls blocks only itself. A client is disconnected after 10
/// seconds without traffic. While `maxClients` are connected, further clients wait or are disconnected.
class HttpServer {
public:
    static constexpr unsigned maxClients = 64;
    /// For the request line and all headers together.
    static constexpr std::size_t maxHeadBytes = 32768;

    /// If a handler throws, the response is 500 with the message of the exception.
    struct Handlers {
        std::function<Admission(const HttpRequest&)> admit;
        std::function<HttpResponse(const HttpRequest&)> respond;
    };

    /// `address`: numeric. `port`: 0 for any free port. Throws std::runtime_error if the server cannot listen there.
    /// The handlers are called by several threads.
    HttpServer(const std::string& address, std::uint16_t port, Handlers chosenHandlers);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;
    /// Disconnects the clients. Requires that no stream blocks any longer. libmicrohttpd 0.9.75 crashes if it rejects a
    /// malformed request during this call; the program destroys its only server just before it exits.
    ~HttpServer();

    [[nodiscard]] std::uint16_t port() const { return listeningPort; }

private:
    Handlers handlers;
    std::uint16_t listeningPort = 0;
    MHD_Daemon* daemon = nullptr;
};

} // namespace sim
