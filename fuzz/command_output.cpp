// Compares the command runner with a model. Each read returns arbitrary bytes, an error, or the end of the output.
#include "fuzz/fuzz_target.h"
#include "tests/support/system_calls.h"
#include "updater/command_runner.h"

#include <cerrno>
#include <deque>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t readSize = 128;
const std::string command = "the command";

/// Computes the expected results of the same reads. Stores the bytes of all chunks, each cut at its first zero byte, in
/// one string.
class Model {
public:
    Model(std::deque<ScriptedRead> commandReads, std::uint32_t exitStatus)
        : reads(std::move(commandReads)), status(exitStatus)
    {}

    std::uint32_t poll()
    {
        while (!isOver) {
            if (reads.empty() || reads.front().bytes.empty()) {
                return atNoBytes();
            }
            const std::string chunk = nextChunk();
            const std::string_view taken = std::string_view(chunk).substr(0, chunk.find('\0'));
            if (taken.empty()) {
                return CommandRunner::running;
            }
            kept += taken;
        }
        return 0;
    }

    [[nodiscard]] std::size_t lineCount() const
    {
        return static_cast<std::size_t>(std::count(kept.begin(), kept.end(), '\n'));
    }
    std::string takeLine()
    {
        const std::size_t end = kept.find('\n');
        if (end == std::string::npos) {
            return {};
        }
        std::string line = kept.substr(0, end);
        kept.erase(0, end + 1);
        return line;
    }

private:
    std::uint32_t atNoBytes()
    {
        const int error = reads.empty() ? 0 : reads.front().error;
        if (!reads.empty()) {
            reads.pop_front();
        }
        if (error == EAGAIN) {
            return CommandRunner::running;
        }
        isOver = true;
        return status;
    }

    std::string nextChunk()
    {
        std::string& bytes = reads.front().bytes;
        std::string chunk = bytes.substr(0, readSize);
        bytes.erase(0, readSize);
        if (bytes.empty()) {
            reads.pop_front();
        }
        return chunk;
    }

    std::deque<ScriptedRead> reads;
    std::uint32_t status;
    std::string kept;
    bool isOver = false;
};

ScriptedRead takeRead(FuzzInput& input)
{
    const auto kind = input.take<std::uint8_t>();
    switch (kind) {
    case 0:
        return {"", EAGAIN};
    case 1:
        return {"", EIO};
    case 2:
        return {"", EINTR};
    case 3:
        return {input.takeString(1000), 0};
    default:
        return {input.takeString(kind), 0};
    }
}

std::deque<ScriptedRead> takeReads(FuzzInput& input)
{
    std::deque<ScriptedRead> reads;
    while (!input.isEmpty()) {
        reads.push_back(takeRead(input));
    }
    return reads;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
    FuzzInput input(bytes, count);
    const auto exitStatus = input.take<std::uint8_t>();
    const auto polls = input.take<std::uint8_t>();
    const auto linesTakenAtOnce = input.take<std::uint8_t>() % 4;
    const std::deque<ScriptedRead> reads = takeReads(input);

    SystemCalls calls;
    calls.setLogging(false);
    calls.script(command, {.reads = reads, .waitStatus = exitStatus << 8});
    Model model(reads, exitStatus);
    CommandRunner runner(command);
    for (int i = 0; i < polls; ++i) {
        require(runner.poll() == model.poll(), "poll returns the model's status");
        require(runner.lineCount() == model.lineCount(), "the number of queued lines matches the model");
        for (int line = 0; line < linesTakenAtOnce; ++line) {
            require(runner.takeLine() == model.takeLine(), "takeLine matches the model");
        }
    }
    while (model.lineCount() > 0) {
        require(runner.takeLine() == model.takeLine(), "after the last poll, takeLine returns the model's line");
    }
    require(runner.lineCount() == 0, "the queue is empty after the model's last line");
    return 0;
}
