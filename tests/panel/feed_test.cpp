#include "sim/panel/feed.h"

#include <gtest/gtest.h>
#include <thread>

namespace sim {

using namespace std::chrono_literals;

TEST(Feed, ReturnsOnlyWhatTheReaderHasNotReceived)
{
    Feed feed;
    Feed::Reader reader;
    feed.publishFrame("F");
    feed.publishState("S");
    feed.addLogEntry("L");
    EXPECT_EQ(feed.next(reader, 0ms), "event: frame\ndata: F\n\nevent: state\ndata: S\n\nevent: log\ndata: L\n\n");
    feed.addLogEntry("M");
    EXPECT_EQ(feed.next(reader, 0ms), "event: log\ndata: M\n\n");
}

TEST(Feed, ReturnsACommentAfterTheTimeout)
{
    Feed feed;
    Feed::Reader reader;
    EXPECT_EQ(feed.next(reader, 0ms), ":\n\n");
}

TEST(Feed, OmitsTheOldestEntriesOfALongLog)
{
    Feed feed;
    for (std::size_t i = 0; i <= Feed::maxLogEntries; ++i) {
        feed.addLogEntry(std::to_string(i));
    }
    Feed::Reader reader;
    const auto events = feed.next(reader, 0ms);
    EXPECT_TRUE(events->starts_with("event: log\ndata: 1\n\n"));
    EXPECT_TRUE(events->ends_with("data: 1000\n\n"));
}

TEST(Feed, CloseEndsTheWaitOfAReader)
{
    Feed feed;
    std::thread closing([&] { feed.close(); });
    Feed::Reader reader;
    EXPECT_EQ(feed.next(reader, 1h), std::nullopt);
    closing.join();
}

} // namespace sim
