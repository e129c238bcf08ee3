// Formats changes and writes them in blocks.
#include "sim/wires/vcd_writer.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <ctime>
#include <string>
#include <unistd.h>
#include <utility>

namespace sim {

namespace {

char idOf(std::size_t line)
{
    return static_cast<char>('!' + line);
}

char symbolOf(Level level)
{
    return "01x"[static_cast<std::size_t>(level)];
}

std::string declarations()
{
    std::string text = "$version Tonecrate simulator $end\n$timescale 1 ns $end\n$scope module tonecrate $end\n";
    for (std::size_t line = 0; line < lineCount; ++line) {
        text += std::string("$var wire 1 ") + idOf(line) + " ";
        text.append(lineNames[line]).append(" $end\n");
    }
    return text + "$upscope $end\n$enddefinitions $end\n";
}

std::string lines(const std::array<Level, lineCount>& levels)
{
    std::string text;
    for (std::size_t line = 0; line < lineCount; ++line) {
        text += {symbolOf(levels[line]), idOf(line), '\n'};
    }
    return text;
}

std::string timeLine(std::int64_t time)
{
    return "#" + std::to_string(time) + "\n";
}

/// Like write(2), but a pipe without a reader causes no SIGPIPE. The kernel also sends SIGPIPE if the pipe is closed
/// after a part has been written; `write` then returns the size of this part.
ssize_t writeQuietly(int file, const char* bytes, std::size_t size)
{
    sigset_t pipeSignal;
    sigset_t before;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, &before);
    const ssize_t written = ::write(file, bytes, size);
    const int error = errno;
    if (written < static_cast<ssize_t>(size)) {
        const std::timespec immediately{};
        sigtimedwait(&pipeSignal, nullptr, &immediately);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return written;
}

} // namespace

void VcdWriter::begin()
{
    append(declarations() + timeLine(0) + "$dumpvars\n" + lines(initialLevels) + "$end\n");
}

void VcdWriter::restart(WireTime time)
{
    levels = initialLevels;
    if (append(timeLine(time.count()) + lines(levels))) {
        state.lastChange = state.end = time.count();
    }
}

void VcdWriter::change(const Edge& edge)
{
    Level& level = levels[static_cast<std::size_t>(edge.line)];
    if (std::exchange(level, edge.level) != edge.level) {
        appendChange(edge);
    }
}

void VcdWriter::appendChange(const Edge& edge)
{
    std::array<char, 32> text; // NOLINT(cppcoreguidelines-pro-type-member-init): called for every edge
    char* end = text.data();
    const std::int64_t time = edge.time.count();
    if (time != state.lastChange) {
        *end++ = '#';
        end = std::to_chars(end, text.data() + text.size(), time).ptr;
        *end++ = '\n';
    }
    *end++ = symbolOf(edge.level);
    *end++ = idOf(static_cast<std::size_t>(edge.line));
    *end++ = '\n';
    if (append({text.data(), static_cast<std::size_t>(end - text.data())})) {
        state.lastChange = time;
        state.end = std::max(state.end, time);
    }
}

/// Returns false if nothing more can be recorded. Updates the number of buffered bytes last, because the process can be
/// killed at any time.
bool VcdWriter::append(std::string_view text)
{
    if (state.buffered + text.size() > state.buffer.size()) {
        flush();
    }
    if (state.isFull || state.error != 0) {
        return false;
    }
    if (state.fileSize + state.buffered + text.size() > state.limit) {
        state.isFull = true;
        return false;
    }
    std::copy(text.begin(), text.end(), state.buffer.begin() + static_cast<std::ptrdiff_t>(state.buffered));
    std::atomic_ref(state.buffered).fetch_add(text.size(), std::memory_order_release);
    return true;
}

void VcdWriter::observeUntil(WireTime time)
{
    if (!state.isFull) {
        state.end = std::max(state.end, std::int64_t{time.count()});
    }
}

void VcdWriter::flush()
{
    if (state.error == 0 && state.buffered > 0) {
        discardIncompleteWrite();
        writeBuffer();
    }
}

void VcdWriter::writeBuffer()
{
    for (std::size_t done = 0; done < state.buffered;) {
        const ssize_t written = writeQuietly(descriptor, state.buffer.data() + done, state.buffered - done);
        if (written >= 0) {
            done += static_cast<std::size_t>(written);
        } else if (errno != EINTR) {
            state.error = errno;
            discardIncompleteWrite();
            return;
        }
    }
    state.fileSize += std::exchange(state.buffered, 0);
}

/// Has no effect on pipes.
void VcdWriter::discardIncompleteWrite() const
{
    const auto size = static_cast<off_t>(state.fileSize);
    if (::lseek(descriptor, 0, SEEK_CUR) > size && ::ftruncate(descriptor, size) == 0) {
        ::lseek(descriptor, size, SEEK_SET);
    }
}

void VcdWriter::end()
{
    if (state.end > state.lastChange && append(timeLine(state.end))) {
        state.lastChange = state.end;
    }
    flush();
}

} // namespace sim
