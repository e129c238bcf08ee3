#include "sim/panel/panel_server.h"

#include "http_client.h"
#include "sim/panel/page_files.h"

#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace sim {

namespace {

/// A server whose inputs are recorded.
class PanelServerTest : public testing::Test {
protected:
    PanelServerTest() : server("127.0.0.1", 0, feed, actions()) {}

    PanelActions actions()
    {
        const auto take = [this](const std::string& text) -> std::optional<std::string> {
            const std::lock_guard lock(mutex);
            inputs.push_back(text);
            return text == "wrong" ? std::optional<std::string>("expected an input") : std::nullopt;
        };
        return {.input = take,
                .replaceDevice = take,
                .plugFirmware = take,
                .choices = [] { return "{}"; },
                .picture = [] { return "picture"; },
                .movie = [] { return "movie"; },
                .scenario = []() -> std::string { throw std::runtime_error("no recording"); }};
    }

    int status(const std::string& method, const std::string& path, const std::string& body = "",
               const std::string& headers = "Host: localhost\r\n") const
    {
        return statusOf(fetch(server.port(), method, path, body, headers));
    }

    /// Repeats the request until the server responds, for at most about 10 seconds. While connections of earlier
    /// clients are still closing, the server may disconnect the client without a response.
    int statusWhenFree(const std::string& method, const std::string& path, const std::string& body = "") const
    {
        constexpr int attempts = 1000;
        constexpr auto pause = std::chrono::milliseconds(10);
        int result = status(method, path, body);
        for (int i = 1; i < attempts && result == disconnected; ++i) {
            std::this_thread::sleep_for(pause);
            result = status(method, path, body);
        }
        return result;
    }

    void expectWorks() const { EXPECT_EQ(status("GET", "/choices"), 200); }

    /// The status if no response arrives.
    static constexpr int disconnected = 0;

    std::mutex mutex;
    std::vector<std::string> inputs;
    Feed feed;
    PanelServer server;
};

std::string streamRequest(const std::string& connection)
{
    return "GET /events HTTP/1.1\r\nHost: localhost\r\nConnection: " + connection + "\r\n\r\n";
}

} // namespace

TEST_F(PanelServerTest, ServesEveryFileOfThePage)
{
    EXPECT_NE(fetch(server.port(), "GET", "/").find("<title>"), std::string::npos);
    ASSERT_FALSE(pageFiles().empty());
    for (const PageFile& file : pageFiles()) {
        const std::string response = fetch(server.port(), "GET", std::string(file.path));
        EXPECT_TRUE(response.ends_with(file.content)) << file.path;
        EXPECT_NE(response.find(file.type), std::string::npos) << file.path;
    }
}

TEST_F(PanelServerTest, PageMayLoadOnlyItsOwnFiles)
{
    const std::string response = fetch(server.port(), "GET", "/");
    EXPECT_NE(response.find("Content-Security-Policy: default-src 'none'; script-src 'self'"), std::string::npos);
}

TEST_F(PanelServerTest, PassesInputsOn)
{
    EXPECT_EQ(status("POST", "/input", "turn +1"), 204);
    EXPECT_EQ(status("POST", "/device", "device installed none\nfault absent encoder\n"), 204);
    EXPECT_EQ(status("POST", "/firmware", std::string(1000000, 'x')), 204);
    EXPECT_EQ(inputs, (std::vector<std::string>{"turn +1", "device installed none\nfault absent encoder\n",
                                                std::string(1000000, 'x')}));
}

TEST_F(PanelServerTest, ReportsWhyAnInputIsRejected)
{
    const std::string response = fetch(server.port(), "POST", "/input", "wrong");
    EXPECT_EQ(statusOf(response), 400);
    EXPECT_TRUE(response.ends_with("\r\n\r\nexpected an input\n"));
}

TEST_F(PanelServerTest, ReportsAnExceptionAndContinues)
{
    const std::string response = fetch(server.port(), "GET", "/recording.scenario");
    EXPECT_EQ(statusOf(response), 500);
    EXPECT_TRUE(response.ends_with("\r\n\r\nno recording\n"));
    expectWorks();
}

TEST_F(PanelServerTest, AcceptsLocalAndNumericHosts)
{
    for (const char* host :
         {"localhost", "localhost:7256", "127.0.0.1:80", "192.168.1.2:7256", "[::1]", "[fe80::1]:80"}) {
        EXPECT_EQ(status("GET", "/", "", std::string("Host: ") + host + "\r\n"), 200) << host;
    }
}

TEST_F(PanelServerTest, RejectsForeignHosts)
{
    for (const char* host : {"example.com", "example.com:80", "localhost.example.com", "127.0.0.1.example.com",
                             "[::1].example.com", "[example.com]", "1.2.3", "", "localhost@example.com"}) {
        EXPECT_EQ(status("GET", "/", "", std::string("Host: ") + host + "\r\n"), 403) << host;
        EXPECT_EQ(status("POST", "/input", "press", std::string("Host: ") + host + "\r\n"), 403) << host;
    }
    EXPECT_TRUE(inputs.empty());
}

TEST_F(PanelServerTest, RejectsARequestWithoutAHost)
{
    // Since version 1.0, libmicrohttpd rejects the request itself, with 400.
    const int answer = status("POST", "/input", "press", "");
    EXPECT_TRUE(answer == 400 || answer == 403) << answer;
    EXPECT_TRUE(inputs.empty());
}

TEST_F(PanelServerTest, RejectsForeignOrigins)
{
    for (const char* origin : {"http://example.com", "https://localhost", "http://localhost:1", "null", "localhost"}) {
        const std::string headers = std::string("Host: localhost\r\nOrigin: ") + origin + "\r\n";
        for (const char* path : {"/input", "/device", "/firmware"}) {
            EXPECT_EQ(status("POST", path, "press", headers), 403) << origin << path;
        }
        EXPECT_EQ(status("GET", "/events", "", headers), 403) << origin;
    }
    EXPECT_TRUE(inputs.empty());
    EXPECT_EQ(status("POST", "/input", "press", "Host: localhost:7\r\nOrigin: http://localhost:7\r\n"), 204);
}

TEST_F(PanelServerTest, RejectsUnknownPathsAndWrongMethods)
{
    for (const char* path : {"/nothing", "/page", "/../page.html", "/events/", "//", "/input%20"}) {
        EXPECT_EQ(status("GET", path), 404) << path;
    }
    for (const char* path : {"/", "/events", "/choices", "/page.css"}) {
        EXPECT_EQ(status("POST", path), 405) << path;
    }
    for (const char* method : {"GET", "PUT", "DELETE", "OPTIONS", "INVENTED"}) {
        EXPECT_EQ(status(method, "/input"), 405) << method;
    }
    EXPECT_TRUE(inputs.empty());
}

TEST_F(PanelServerTest, LimitsBodies)
{
    const std::string longest(PanelServer::maxTextBytes, 'x');
    EXPECT_EQ(status("POST", "/input", longest), 204);
    EXPECT_EQ(status("POST", "/input", longest + "x"), 413);
    EXPECT_EQ(status("POST", "/device", longest + "x"), 413);
    EXPECT_EQ(status("GET", "/choices", "x"), 413);
    EXPECT_EQ(inputs, std::vector<std::string>{longest});
}

TEST_F(PanelServerTest, RejectsALargeBodyBeforeItArrives)
{
    for (const char* length : {"67108865", "99999999999999999999999999"}) {
        HttpClient client(server.port());
        client.send(std::string("POST /firmware HTTP/1.1\r\nHost: localhost\r\nContent-Length: ") + length +
                    "\r\n\r\n");
        EXPECT_EQ(statusOf(client.receiveAll()), 413) << length;
    }
    expectWorks();
}

TEST_F(PanelServerTest, DisconnectsAClientWhoseBodyOfUnknownLengthIsTooLong)
{
    HttpClient client(server.port());
    client.send("POST /input HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n");
    const std::string part = "400\r\n" + std::string(0x400, 'x') + "\r\n";
    while (client.send(part)) {
    }
    EXPECT_TRUE(inputs.empty());
    expectWorks();
}

TEST_F(PanelServerTest, LimitsHeadersAndPaths)
{
    const std::string tooLong(HttpServer::maxHeadBytes, 'x');
    EXPECT_NE(status("GET", "/" + tooLong), 200);
    EXPECT_NE(status("GET", "/choices", "", "Host: localhost\r\nX-Long: " + tooLong + "\r\n"), 200);
    expectWorks();
}

TEST_F(PanelServerTest, DisconnectsAClientThatSendsEndlessHeaders)
{
    HttpClient client(server.port());
    client.send("GET /choices HTTP/1.1\r\nHost: localhost\r\n");
    while (client.send("X-Header: value\r\n")) {
    }
    expectWorks();
}

TEST_F(PanelServerTest, SurvivesMalformedRequests)
{
    using namespace std::string_literals;
    const std::string requests[] = {
        "\r\n\r\n",
        "GET\r\n\r\n",
        "GET / HTTP/9.9\r\n\r\n",
        "GET / HTTP/1.1\r\nno colon\r\n\r\n",
        "GET / HTTP/1.1\r\nHost: localhost\r\nContent-Length: -1\r\n\r\n",
        "POST /input HTTP/1.1\r\nHost: localhost\r\nContent-Length: x\r\n\r\n",
        "POST /input HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\nZZ\r\n",
        "POST /input HTTP/1.1\r\nHost: localhost\r\nContent-Length: 10\r\n\r\nshort",
        "GET /\0 HTTP/1.1\r\nHost: local\0host\r\n\r\n"s,
        "\x16\x03\x01\x02\x00\x01\x00\x01\xFC\x03\x03",
        std::string(1000, '\xFF') + "\r\n\r\n",
    };
    for (const std::string& request : requests) {
        HttpClient client(server.port());
        client.send(request);
        client.finishSending();
        client.receiveAll(); // because the server must not be destroyed while it rejects a request; see ~HttpServer
    }
    EXPECT_TRUE(inputs.empty());
    expectWorks();
}

TEST_F(PanelServerTest, StreamSendsTheNewestStateAndTheLogToEachReader)
{
    feed.publishState("old");
    feed.publishState("new");
    feed.addLogEntry("first");
    feed.addLogEntry("second");
    const std::string expected = "event: state\ndata: new\n\nevent: log\ndata: first\n\nevent: log\ndata: second\n\n";
    HttpClient one(server.port());
    HttpClient other(server.port());
    for (HttpClient* client : {&one, &other}) {
        client->send(streamRequest("keep-alive"));
        EXPECT_NE(client->receiveUntil("second\n\n").find(expected), std::string::npos);
    }
    feed.publishFrame("pixels");
    for (HttpClient* client : {&one, &other}) {
        EXPECT_NE(client->receiveUntil("pixels\n\n").find("event: frame\ndata: pixels\n\n"), std::string::npos);
    }
}

TEST_F(PanelServerTest, AStalledReaderDelaysNoOtherClient)
{
    HttpClient stalled(server.port());
    stalled.send(streamRequest("keep-alive"));
    HttpClient reader(server.port());
    reader.send(streamRequest("keep-alive"));
    const std::string frame(14000, 'x');
    for (int i = 0; i < 2000; ++i) {
        feed.publishFrame(frame + std::to_string(i));
    }
    EXPECT_NE(reader.receiveUntil("x1999\n\n").find("x1999\n\n"), std::string::npos);
    expectWorks();
}

TEST_F(PanelServerTest, AnswersOrDisconnectsEachOfTwoHundredClients)
{
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int i = 0; i < 200; ++i) {
        clients.push_back(std::make_unique<HttpClient>(server.port()));
        clients.back()->send("GET /choices HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    }
    for (const auto& client : clients) {
        const int status = statusOf(client->receiveAll());
        EXPECT_TRUE(status == 200 || status == disconnected) << status;
    }
    EXPECT_EQ(statusWhenFree("GET", "/choices"), 200);
}

TEST_F(PanelServerTest, LimitsStreamsSoThatInputsCanConnect)
{
    std::vector<std::unique_ptr<HttpClient>> clients;
    feed.publishState("{}");
    for (int i = 0; i < 200; ++i) {
        clients.push_back(std::make_unique<HttpClient>(server.port()));
        clients.back()->send(streamRequest("close"));
    }
    int open = 0;
    for (const auto& client : clients) {
        const int status = statusOf(client->receiveUntil("\r\n\r\n"));
        EXPECT_TRUE(status == 200 || status == 503 || status == disconnected) << status;
        open += status == 200 ? 1 : 0;
    }
    EXPECT_EQ(open, PanelServer::maxStreams);
    EXPECT_EQ(statusWhenFree("POST", "/input", "press"), 204);
}

TEST_F(PanelServerTest, AStreamThatEndsMakesRoomForAnother)
{
    feed.publishState("{}");
    for (int i = 0; i < PanelServer::maxStreams + 1; ++i) {
        int status = 503;
        while (status == 503) {
            HttpClient client(server.port());
            client.send(streamRequest("close"));
            status = statusOf(client.receiveUntil("\r\n\r\n"));
        }
        EXPECT_EQ(status, 200);
    }
}

TEST_F(PanelServerTest, AcceptsOneFirmwareFileAtATime)
{
    HttpClient first(server.port());
    first.send("POST /firmware HTTP/1.1\r\nHost: localhost\r\nExpect: 100-continue\r\nContent-Length: 5\r\n\r\n");
    ASSERT_EQ(statusOf(first.receiveUntil("\r\n\r\n")), 100);
    EXPECT_EQ(status("POST", "/firmware", "other"), 503);
    first.send("bytes");
    first.receiveUntil(" 204 ");
    EXPECT_EQ(inputs, std::vector<std::string>{"bytes"});
}

TEST_F(PanelServerTest, StopsWhileClientsAreConnected)
{
    auto stopped = std::make_unique<PanelServer>("127.0.0.1", std::uint16_t{0}, feed, actions());
    HttpClient idle(stopped->port());
    HttpClient stream(stopped->port());
    stream.send(streamRequest("keep-alive"));
    stream.receiveUntil("\r\n\r\n");
    stopped.reset();
    idle.receiveAll();
    stream.receiveAll();
}

TEST(HttpServer, ReportsWhyItCannotListen)
{
    Feed feed;
    const PanelServer first("127.0.0.1", 0, feed, {});
    const std::string port = std::to_string(first.port());
    try {
        const PanelServer second("127.0.0.1", first.port(), feed, {});
        ADD_FAILURE() << "two servers listen on port " << port;
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), "cannot listen on 127.0.0.1 port " + port + ": Address already in use");
    }
    EXPECT_THROW(PanelServer("localhost.example", 0, feed, {}), std::runtime_error);
}

} // namespace sim
