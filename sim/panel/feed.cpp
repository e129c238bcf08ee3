// Formats server-sent events.
#include "sim/panel/feed.h"

#include <algorithm>

namespace sim {

namespace {

/// A comment, which browsers ignore. Sending it reveals whether the client has disconnected.
constexpr const char* heartbeat = ":\n\n";

std::string eventOf(const char* name, const std::string& data)
{
    return std::string("event: ") + name + "\ndata: " + data + "\n\n";
}

} // namespace

void Feed::publishState(const std::string& text)
{
    publish(state, text);
}

void Feed::publishFrame(const std::string& text)
{
    publish(frame, text);
}

void Feed::publish(Latest& latest, const std::string& text)
{
    {
        const std::lock_guard lock(mutex);
        latest.text = text;
        ++latest.count;
    }
    changed.notify_all();
}

void Feed::addLogEntry(const std::string& entry)
{
    {
        const std::lock_guard lock(mutex);
        log.push_back(entry);
        ++logCount;
        if (log.size() > maxLogEntries) {
            log.pop_front();
        }
    }
    changed.notify_all();
}

bool Feed::hasNews(const Reader& reader) const
{
    return reader.state != state.count || reader.frame != frame.count || reader.log != logCount;
}

std::optional<std::string> Feed::next(Reader& reader, std::chrono::milliseconds timeout)
{
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, timeout, [&] { return isClosed || hasNews(reader); })) {
        return heartbeat;
    }
    if (isClosed) {
        return std::nullopt;
    }
    std::string events;
    if (reader.frame != frame.count) {
        events += eventOf("frame", frame.text);
    }
    if (reader.state != state.count) {
        events += eventOf("state", state.text);
    }
    for (std::uint64_t i = std::max(reader.log, logCount - log.size()); i < logCount; ++i) {
        events += eventOf("log", log[i - (logCount - log.size())]);
    }
    reader = {state.count, frame.count, logCount};
    return events;
}

void Feed::close()
{
    {
        const std::lock_guard lock(mutex);
        isClosed = true;
    }
    changed.notify_all();
}

} // namespace sim
