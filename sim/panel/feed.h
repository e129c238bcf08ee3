// The events that the pages receive.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

namespace sim {

/// Publishing never waits for a reader. A slow reader receives only the newest state, the newest frame and the latest
/// `maxLogEntries` log entries. Thread-safe.
class Feed {
public:
    /// How many of the latest log entries are kept for new and slow readers.
    static constexpr std::size_t maxLogEntries = 1000;

    /// The numbers of states, frames and log entries that had been published when the reader last received events.
    struct Reader {
        std::uint64_t state = 0;
        std::uint64_t frame = 0;
        std::uint64_t log = 0;
    };

    /// The arguments of these three functions must be single lines.
    void publishState(const std::string& text);
    void publishFrame(const std::string& text);
    void addLogEntry(const std::string& entry);

    /// Returns the events that the reader has not received, as server-sent events. If there are none, waits at most
    /// `timeout` for one; if none arrives, returns a comment. Returns nothing after `close`.
    [[nodiscard]] std::optional<std::string> next(Reader& reader, std::chrono::milliseconds timeout);
    /// From now on, `next` returns nothing, even to readers that are already waiting.
    void close();

private:
    /// The newest text, and the number of texts so far.
    struct Latest {
        std::string text;
        std::uint64_t count = 0;
    };

    void publish(Latest& latest, const std::string& text);
    [[nodiscard]] bool hasNews(const Reader& reader) const;

    std::mutex mutex;
    std::condition_variable changed;
    Latest state;
    Latest frame;
    std::deque<std::string> log;
    /// The number of entries ever added.
    std::uint64_t logCount = 0;
    bool isClosed = false;
};

} // namespace sim
