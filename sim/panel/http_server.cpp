// Uses libmicrohttpd, because it limits the number of clients, the memory per client, and the time that a client may
// stall. Debian 12 and 13 contain it.
#include "sim/panel/http_server.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <exception>
#include <microhttpd.h>
#include <netdb.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace sim {

namespace {

constexpr unsigned idleSeconds = 10;
constexpr std::size_t streamBlockBytes = 16384;

struct AddressList {
    explicit AddressList(addrinfo* first) : list(first) {}
    AddressList(const AddressList&) = delete;
    AddressList& operator=(const AddressList&) = delete;
    ~AddressList() { freeaddrinfo(list); }
    addrinfo* list;
};

int listenOn(const addrinfo& address)
{
    const int fd = socket(address.ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (fd >= 0 && bind(fd, address.ai_addr, address.ai_addrlen) == 0 && listen(fd, SOMAXCONN) == 0) {
        return fd;
    }
    const int error = errno;
    close(fd);
    errno = error;
    return -1;
}

int listenOn(const std::string& address, std::uint16_t port)
{
    const std::string name = address + " port " + std::to_string(port);
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    addrinfo* found = nullptr;
    if (getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
        throw std::runtime_error("not a numeric address: " + address);
    }
    const AddressList addresses(found);
    const int fd = listenOn(*addresses.list);
    if (fd < 0) {
        throw std::runtime_error("cannot listen on " + name + ": " + std::strerror(errno));
    }
    return fd;
}

std::uint16_t portOf(MHD_Daemon* daemon)
{
    return MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_BIND_PORT)->port;
}

std::string headerOf(MHD_Connection* connection, const char* name)
{
    const char* value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value == nullptr ? "" : value;
}

/// A request while its body arrives.
struct Exchange {
    HttpRequest request;
    std::size_t maxBodyBytes = 0;
    std::shared_ptr<void> permit{};
};

struct StreamState {
    HttpResponse::Stream next;
    /// The rest of the last part, which did not fit into the buffer of the library.
    std::string rest;
};

ssize_t readStream(void* data, std::uint64_t /*position*/, char* buffer, std::size_t size)
{
    auto& state = *static_cast<StreamState*>(data);
    while (state.rest.empty()) {
        std::optional<std::string> part = state.next();
        if (!part) {
            return MHD_CONTENT_READER_END_OF_STREAM;
        }
        state.rest = std::move(*part);
    }
    const std::size_t count = std::min(size, state.rest.size());
    std::copy_n(state.rest.data(), count, buffer);
    state.rest.erase(0, count);
    return static_cast<ssize_t>(count);
}

void deleteStream(void* data)
{
    delete static_cast<StreamState*>(data);
}

MHD_Response* makeResponse(const HttpResponse& response)
{
    if (response.stream) {
        return MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, streamBlockBytes, readStream,
                                                 new StreamState{response.stream, {}}, deleteStream);
    }
    // The library does not change the body; it copies it.
    return MHD_create_response_from_buffer(response.body.size(), const_cast<char*>(response.body.data()),
                                           MHD_RESPMEM_MUST_COPY);
}

MHD_Result send(MHD_Connection* connection, const HttpResponse& response)
{
    MHD_Response* made = makeResponse(response);
    if (made == nullptr) {
        return MHD_NO;
    }
    MHD_add_response_header(made, MHD_HTTP_HEADER_CONTENT_TYPE, response.type.c_str());
    for (const auto& [name, value] : response.headers) {
        MHD_add_response_header(made, name.c_str(), value.c_str());
    }
    const MHD_Result result = MHD_queue_response(connection, response.status, made);
    MHD_destroy_response(made);
    return result;
}

bool isLongerThan(const std::string& contentLength, std::size_t limit)
{
    std::size_t length = 0;
    const char* const end = contentLength.data() + contentLength.size();
    const auto [stop, error] = std::from_chars(contentLength.data(), end, length);
    return error == std::errc::result_out_of_range || length > limit;
}

MHD_Result begin(const HttpServer::Handlers& handlers, MHD_Connection* connection, Exchange& exchange)
{
    exchange.request.host = headerOf(connection, MHD_HTTP_HEADER_HOST);
    exchange.request.origin = headerOf(connection, MHD_HTTP_HEADER_ORIGIN);
    Admission admission = handlers.admit(exchange.request);
    if (!admission.rejection &&
        isLongerThan(headerOf(connection, MHD_HTTP_HEADER_CONTENT_LENGTH), admission.maxBodyBytes)) {
        admission.rejection = HttpResponse{.status = MHD_HTTP_CONTENT_TOO_LARGE, .body = "The body is too large.\n"};
    }
    exchange.maxBodyBytes = admission.maxBodyBytes;
    exchange.permit = std::move(admission.permit);
    return admission.rejection ? send(connection, *admission.rejection) : MHD_YES;
}

/// Adds a part of the body to the request. Disconnects the client if a body of undeclared length exceeds the limit.
MHD_Result takeBody(Exchange& exchange, const char* data, std::size_t size)
{
    if (size > exchange.maxBodyBytes - exchange.request.body.size()) {
        return MHD_NO;
    }
    exchange.request.body.append(data, size);
    return MHD_YES;
}

MHD_Result handle(void* data, MHD_Connection* connection, const char* path, const char* method, const char* /*version*/,
                  const char* bodyPart, std::size_t* bodyPartSize, void** context)
{
    const auto& handlers = *static_cast<const HttpServer::Handlers*>(data);
    try {
        if (*context == nullptr) {
            auto* exchange = new Exchange{{.method = method, .path = path}};
            *context = exchange;
            return begin(handlers, connection, *exchange);
        }
        auto& exchange = *static_cast<Exchange*>(*context);
        if (*bodyPartSize > 0) {
            return takeBody(exchange, bodyPart, std::exchange(*bodyPartSize, 0));
        }
        return send(connection, handlers.respond(exchange.request));
    } catch (const std::exception& error) {
        return send(connection, {.status = MHD_HTTP_INTERNAL_SERVER_ERROR, .body = std::string(error.what()) + "\n"});
    }
}

void forget(void* /*data*/, MHD_Connection* /*connection*/, void** context, MHD_RequestTerminationCode /*reason*/)
{
    delete static_cast<Exchange*>(*context);
    *context = nullptr;
}

} // namespace

HttpServer::HttpServer(const std::string& address, std::uint16_t port, Handlers chosenHandlers)
    : handlers(std::move(chosenHandlers))
{
    const int fd = listenOn(address, port);
    daemon =
        MHD_start_daemon(MHD_USE_THREAD_PER_CONNECTION | MHD_USE_POLL_INTERNAL_THREAD | MHD_USE_ITC, port, nullptr,
                         nullptr, handle, &handlers, MHD_OPTION_LISTEN_SOCKET, fd, MHD_OPTION_NOTIFY_COMPLETED, forget,
                         nullptr, MHD_OPTION_CONNECTION_LIMIT, maxClients, MHD_OPTION_CONNECTION_MEMORY_LIMIT,
                         maxHeadBytes, MHD_OPTION_CONNECTION_TIMEOUT, idleSeconds, MHD_OPTION_END);
    if (daemon == nullptr) {
        close(fd);
        throw std::runtime_error("cannot start the server on " + address);
    }
    listeningPort = portOf(daemon);
}

HttpServer::~HttpServer()
{
    MHD_stop_daemon(daemon);
}

} // namespace sim
