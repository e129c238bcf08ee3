// Tests for the message channel.
#include "sim/protocol/channel.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <optional>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

using sim::Channel;

class ChannelTest : public testing::Test {
protected:
    ChannelTest()
    {
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0) {
            throw std::runtime_error("cannot create sockets");
        }
        near.emplace(sockets[0]);
        far.emplace(sockets[1]);
    }

    std::array<int, 2> sockets{};
    std::optional<Channel> near;
    std::optional<Channel> far;
};

TEST_F(ChannelTest, CarriesArbitraryBytes)
{
    const std::string messages[] = {"run 501", "", std::string("\0\n\xFF", 3), std::string(1000, ' ')};
    for (const std::string& message : messages) {
        ASSERT_TRUE(near->send(message));
        EXPECT_EQ(far->receive(), message);
    }
}

TEST_F(ChannelTest, CarriesMessagesInBothDirections)
{
    ASSERT_TRUE(near->send("question"));
    ASSERT_TRUE(far->send("answer"));
    EXPECT_EQ(far->receive(), std::string("question"));
    EXPECT_EQ(near->receive(), std::string("answer"));
}

TEST_F(ChannelTest, PreservesBoundariesOfQueuedMessages)
{
    for (const char* message : {"one", "", "three"}) {
        ASSERT_TRUE(near->send(message));
    }
    EXPECT_EQ(far->receive(), std::string("one"));
    EXPECT_EQ(far->receive(), std::string());
    EXPECT_EQ(far->receive(), std::string("three"));
}

TEST_F(ChannelTest, CarriesAMessageLargerThanTheSocketBuffer)
{
    std::string large(4 << 20, 'a');
    large.back() = 'z';
    std::thread sender([&] { EXPECT_TRUE(near->send(large)); });
    const auto received = far->receive();
    sender.join();
    ASSERT_TRUE(received);
    EXPECT_TRUE(*received == large);
}

TEST_F(ChannelTest, SignalsDoNotTruncateMessages)
{
    struct sigaction action{};
    action.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    const auto interrupt = [](std::thread& thread) {
        for (int i = 0; i < 5; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            pthread_kill(thread.native_handle(), SIGUSR1);
        }
    };
    std::string large;
    for (int i = 0; i < 500000; ++i) {
        large += std::to_string(i);
    }

    std::optional<std::string> received;
    std::thread receiver([&] { received = far->receive(); });
    interrupt(receiver);
    ASSERT_TRUE(near->send(large));
    receiver.join();
    EXPECT_TRUE(received == large) << "when interrupted while receiving";

    std::thread sender([&] { EXPECT_TRUE(near->send(large)); });
    interrupt(sender);
    received = far->receive();
    sender.join();
    EXPECT_TRUE(received == large) << "when interrupted while sending";
}

TEST_F(ChannelTest, AssemblesAMessageThatArrivesInPieces)
{
    const std::string_view bytes("\5\0\0\0whole", 9);
    std::thread sender([&] {
        for (const char byte : bytes) {
            EXPECT_EQ(::send(sockets[0], &byte, 1, 0), 1);
            std::this_thread::yield();
        }
    });
    EXPECT_EQ(far->receive(), std::string("whole"));
    sender.join();
}

TEST_F(ChannelTest, HasMessageReportsAQueuedMessage)
{
    EXPECT_FALSE(far->hasMessage());
    ASSERT_TRUE(near->send(""));
    EXPECT_TRUE(far->hasMessage());
    far->receive();
    EXPECT_FALSE(far->hasMessage());
}

TEST_F(ChannelTest, ReceiveReturnsNothingWhenTheOtherEndIsClosed)
{
    near.reset();
    EXPECT_TRUE(far->hasMessage()) << "the closed end is not reported";
    EXPECT_FALSE(far->receive());
    EXPECT_FALSE(far->receive());
}

TEST_F(ChannelTest, ReceivesMessagesSentBeforeTheOtherEndWasClosed)
{
    ASSERT_TRUE(near->send("last words"));
    near.reset();
    EXPECT_EQ(far->receive(), std::string("last words"));
    EXPECT_FALSE(far->receive());
}

TEST_F(ChannelTest, DiscardsAnIncompleteMessage)
{
    for (const std::string_view start : {std::string_view("\5\0", 2), std::string_view("\5\0\0\0who", 7)}) {
        std::array<int, 2> pair{};
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair.data()), 0);
        Channel end(pair[1]);
        ASSERT_EQ(::send(pair[0], start.data(), start.size(), 0), static_cast<ssize_t>(start.size()));
        close(pair[0]);
        EXPECT_FALSE(end.receive()) << start.size();
    }
}

TEST_F(ChannelTest, SendingToAClosedPeerFailsWithoutSigpipe)
{
    far.reset();
    EXPECT_FALSE(near->send("anybody there?"));
}

TEST_F(ChannelTest, ClosesItsSocket)
{
    far.reset();
    EXPECT_EQ(fcntl(sockets[1], F_GETFD), -1);
    EXPECT_EQ(errno, EBADF);
}

} // namespace
