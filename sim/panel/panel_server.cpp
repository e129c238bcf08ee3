// Checks requests and dispatches them with a table of paths.
#include "sim/panel/panel_server.h"

#include "sim/panel/page_files.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <memory>
#include <string_view>

namespace sim {

namespace {

constexpr std::chrono::milliseconds heartbeatInterval(1000);
constexpr int maxUploads = 1;

constexpr unsigned ok = 200;
constexpr unsigned noContent = 204;
constexpr unsigned badRequest = 400;
constexpr unsigned forbidden = 403;
constexpr unsigned notFound = 404;
constexpr unsigned methodNotAllowed = 405;
constexpr unsigned unavailable = 503;

/// The page loads nothing from other servers, and no page can embed it.
constexpr const char* contentPolicy = "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
                                      "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

HttpResponse textResponse(unsigned status, const std::string& text)
{
    return {.status = status, .body = text + "\n"};
}

bool isNumeric(const std::string& host)
{
    std::array<unsigned char, sizeof(in6_addr)> address{};
    if (host.starts_with('[') && host.ends_with(']')) {
        return inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), address.data()) == 1;
    }
    return inet_pton(AF_INET, host.c_str(), address.data()) == 1;
}

/// The Host header without its port.
std::string hostName(const std::string& header)
{
    const std::size_t colon = header.rfind(':');
    const std::size_t bracket = header.rfind(']');
    const bool hasPort = colon != std::string::npos && (bracket == std::string::npos || colon > bracket);
    return hasPort ? header.substr(0, colon) : header;
}

bool isLocal(const HttpRequest& request)
{
    const std::string host = hostName(request.host);
    const bool isOwnOrigin = request.origin.empty() || request.origin == "http://" + request.host;
    return isOwnOrigin && (host == "localhost" || isNumeric(host));
}

const PageFile* findPageFile(const std::string& path)
{
    const std::string_view name = path == "/" ? "/page.html" : std::string_view(path);
    const auto files = pageFiles();
    const auto found =
        std::find_if(files.begin(), files.end(), [&](const PageFile& file) { return file.path == name; });
    return found == files.end() ? nullptr : &*found;
}

HttpResponse actionResponse(const PanelActions::Action& action, const std::string& text)
{
    const auto error = action(text);
    return error ? textResponse(badRequest, *error) : HttpResponse{.status = noContent};
}

/// Occupies one of `limit` places until the result is destroyed. Returns null if no place is free.
std::shared_ptr<void> takePlace(std::atomic<int>& taken, int limit)
{
    const auto leave = [](std::atomic<int>* place) { --*place; };
    const bool isFull = taken++ >= limit;
    std::shared_ptr<void> place(&taken, leave);
    return isFull ? nullptr : place;
}

} // namespace

/// Either `document` or `action` is set; for the stream of events, neither is.
struct PanelServer::Route {
    std::string_view path;
    std::string_view method;
    PanelActions::Document PanelActions::* document = nullptr;
    const char* type = nullptr;
    PanelActions::Action PanelActions::* action = nullptr;
    std::size_t maxBodyBytes = 0;

    static const Route* find(std::string_view path);
};

const PanelServer::Route* PanelServer::Route::find(std::string_view path)
{
    static constexpr Route routes[] = {
        {"/events", "GET"},
        {"/choices", "GET", &PanelActions::choices, "application/json"},
        {"/screen.png", "GET", &PanelActions::picture, "image/png"},
        {"/movie.png", "GET", &PanelActions::movie, "image/apng"},
        {"/recording.scenario", "GET", &PanelActions::scenario, "text/plain; charset=utf-8"},
        {"/input", "POST", nullptr, nullptr, &PanelActions::input, maxTextBytes},
        {"/device", "POST", nullptr, nullptr, &PanelActions::replaceDevice, maxTextBytes},
        {"/firmware", "POST", nullptr, nullptr, &PanelActions::plugFirmware, maxFirmwareBytes},
    };
    const auto* found =
        std::find_if(std::begin(routes), std::end(routes), [&](const Route& route) { return route.path == path; });
    return found == std::end(routes) ? nullptr : found;
}

PanelServer::PanelServer(const std::string& address, std::uint16_t port, Feed& chosenFeed, PanelActions chosenActions)
    : feed(chosenFeed), actions(std::move(chosenActions)),
      server(address, port,
             {.admit = [this](const HttpRequest& request) { return admit(request); },
              .respond = [this](const HttpRequest& request) { return respond(request); }})
{}

PanelServer::~PanelServer()
{
    feed.close();
}

Admission PanelServer::admit(const HttpRequest& request)
{
    if (!isLocal(request)) {
        return {.rejection = textResponse(forbidden, "Open the panel at the address that the program has printed.")};
    }
    const Route* const route = Route::find(request.path);
    if (route == nullptr && findPageFile(request.path) == nullptr) {
        return {.rejection = textResponse(notFound, "There is nothing at this address.")};
    }
    const std::string_view method = route == nullptr ? "GET" : route->method;
    if (request.method != method) {
        HttpResponse response =
            textResponse(methodNotAllowed, "This address accepts only " + std::string(method) + ".");
        response.headers.emplace_back("Allow", method);
        return {.rejection = std::move(response)};
    }
    Admission admission;
    admission.maxBodyBytes = route == nullptr ? 0 : route->maxBodyBytes;
    if (admission.maxBodyBytes == maxFirmwareBytes) {
        admission.permit = takePlace(uploads, maxUploads);
        if (admission.permit == nullptr) {
            admission.rejection = textResponse(unavailable, "Another firmware file is being sent.");
        }
    }
    return admission;
}

HttpResponse PanelServer::respond(const HttpRequest& request)
{
    const Route* const route = Route::find(request.path);
    HttpResponse response;
    if (route == nullptr) {
        const PageFile& file = *findPageFile(request.path);
        response = {.status = ok, .type = std::string(file.type), .body = std::string(file.content)};
    } else if (route->action != nullptr) {
        response = actionResponse(actions.*route->action, request.body);
    } else if (route->document != nullptr) {
        response = {.status = ok, .type = route->type, .body = (actions.*route->document)()};
    } else {
        response = openStream();
    }
    response.headers.insert(response.headers.end(), {{"Cache-Control", "no-store"},
                                                     {"Content-Security-Policy", contentPolicy},
                                                     {"Cross-Origin-Resource-Policy", "same-origin"},
                                                     {"X-Content-Type-Options", "nosniff"}});
    return response;
}

HttpResponse PanelServer::openStream()
{
    auto permit = takePlace(streams, maxStreams);
    if (permit == nullptr) {
        return textResponse(unavailable, "Too many pages are open.");
    }
    auto reader = std::make_shared<Feed::Reader>();
    return {.type = "text/event-stream",
            .stream = [this, reader, permit] { return feed.next(*reader, heartbeatInterval); }};
}

} // namespace sim
