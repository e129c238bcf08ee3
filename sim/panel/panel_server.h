// The URLs of the front panel: its page, its stream of events, its inputs and its downloads.
#pragma once

#include "sim/panel/feed.h"
#include "sim/panel/http_server.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace sim {

/// The operations that clients can request. They are called by several threads.
struct PanelActions {
    /// Returns an error in one line, or nothing after success.
    using Action = std::function<std::optional<std::string>(const std::string& text)>;
    using Document = std::function<std::string()>;

    /// `text` is one input, such as "plug good" or "pause".
    Action input;
    /// `text` is the set-up of a new device.
    Action replaceDevice;
    /// `text` is the content of a firmware file.
    Action plugFirmware;
    /// In JSON.
    Document choices;
    Document picture;
    Document movie;
    Document scenario;
};

/// Accepts only requests to "localhost" or a numeric address, and no requests from pages of other servers: a foreign
/// page cannot control the device, even if the name of its server resolves to this computer.
class PanelServer {
public:
    static constexpr std::size_t maxTextBytes = 4096;
    static constexpr std::size_t maxFirmwareBytes = std::size_t{64} * 1024 * 1024;
    /// Less than HttpServer::maxClients, so that streams cannot use up the connections that inputs need.
    static constexpr int maxStreams = 32;

    /// See HttpServer for `address` and `port`.
    PanelServer(const std::string& address, std::uint16_t port, Feed& chosenFeed, PanelActions chosenActions);
    PanelServer(const PanelServer&) = delete;
    PanelServer& operator=(const PanelServer&) = delete;
    /// Closes the feed.
    ~PanelServer();

    [[nodiscard]] std::uint16_t port() const { return server.port(); }

private:
    struct Route;

    [[nodiscard]] Admission admit(const HttpRequest& request);
    [[nodiscard]] HttpResponse respond(const HttpRequest& request);
    [[nodiscard]] HttpResponse openStream();

    Feed& feed;
    PanelActions actions;
    std::atomic<int> streams = 0;
    std::atomic<int> uploads = 0;
    HttpServer server;
};

} // namespace sim
