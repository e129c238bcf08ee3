// Runs a script and passes its output to the program.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>

namespace sim {

/// The pace is a number of iterations. At pace 0 the program reads the script's own pipe. At any other pace it reads a
/// second pipe. This class writes one line of the script's output to the second pipe every `pace` iterations, and
/// closes it after the last line, so the iteration at which the program reads a line does not depend on the speed of
/// the script.
///
/// At a pace other than 0, a script can wait after each line of its output: it opens the FIFO "script-steps" in the
/// device's folder and reads from it, which blocks until the line has been passed on. The iterations in which such a
/// script acts do not depend on its speed either.
class ScriptOutput {
public:
    /// `callWhileWaiting` is called every 100 ms while `pass` or `awaitStep` waits for output of the script.
    ScriptOutput(std::string deviceRoot, std::function<void()> callWhileWaiting);
    ScriptOutput(const ScriptOutput&) = delete;
    ScriptOutput& operator=(const ScriptOutput&) = delete;
    ~ScriptOutput();

    /// Sets the pace. Must be called while no script runs. Returns false if the FIFO cannot be created or opened.
    [[nodiscard]] bool setPace(std::uint64_t iterations);

    /// Runs `shellCommand` as popen does. `commandLine` is the command that the program passed to popen.
    std::FILE* start(const std::string& shellCommand, const char* mode, const std::string& commandLine,
                     std::uint64_t iteration);
    /// Closes the stream that `start` returned and waits for the script to end, as pclose does.
    int end();
    [[nodiscard]] bool isScript(const std::FILE* pipe) const { return pipe != nullptr && pipe == reader; }

    /// The command line of the running script without its folder, such as "format.sh 0"; empty if no script is running.
    [[nodiscard]] const std::string& name() const { return command; }

    /// Called at the end of each iteration. If the next line, or the end of the output, is due, waits for it and passes
    /// it on.
    void pass(std::uint64_t iteration);
    /// Waits until the script has written the next line, or has closed its output. Returns immediately at pace 0, or if
    /// no script is running.
    void awaitStep();
    /// At pace 0, waits until at least `byteCount` bytes are unread or the script has closed its output; if `byteCount`
    /// is 0, waits only for the output to be closed. Returns true immediately if no script is running, and false after
    /// five minutes.
    [[nodiscard]] bool awaitBytes(int byteCount) const;

private:
    [[nodiscard]] std::FILE* insertPipe(const char* mode);
    [[nodiscard]] std::size_t pieceSize() const;
    void readMore();
    void closeSink();
    void discardSteps() const;
    void releaseScript() const;

    const std::string root;
    const std::function<void()> whileWaiting;
    std::uint64_t pace = 0;
    int steps = -1;

    std::string command;
    /// The stream from popen with the script's output; null if no script is running.
    std::FILE* source = nullptr;
    /// The stream that the program reads: `source`, or the pipe that `insertPipe` creates.
    std::FILE* reader = nullptr;
    /// The write end of the pipe that `insertPipe` creates; -1 for none.
    int sink = -1;
    std::string unread;
    bool isOver = false;
    std::uint64_t dueAt = 0;
};

} // namespace sim
