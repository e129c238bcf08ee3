// A running emulator: its process, monitor, memory access, console and trace.
#pragma once

#include "hw/file_descriptor.h"
#include "sim/device/process_group.h"

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

/// Operations that need the emulator throw std::runtime_error if it has ended.
class Emulator {
public:
    /// Thrown by `execute` when the emulator rejects a command.
    struct Refusal : std::runtime_error {
        using std::runtime_error::runtime_error;
    };

    /// Starts the emulator, whose path is the first of `arguments`, and adds arguments for the monitor, memory access,
    /// console and trace. The emulator's standard error is written to the file `errorLog`.
    Emulator(const std::vector<std::string>& arguments, const std::filesystem::path& errorLog);

    /// Executes a command of the QEMU machine protocol (QMP) and returns its "return" value.
    nlohmann::json execute(const std::string& command, const nlohmann::json& arguments = nlohmann::json::object());
    /// Writes or reads 32 bits at a physical address of the board, without involving its processors.
    void writeWord(std::uint32_t address, std::uint32_t value);
    [[nodiscard]] std::uint32_t readWord(std::uint32_t address);

    /// The read end of the board's console.
    [[nodiscard]] int consoleOutput() const { return console.output.get(); }
    void typeOnConsole(const std::string& text);
    /// The read end of the trace. The emulator blocks when the pipe is full.
    [[nodiscard]] int trace() const { return traceOutput.get(); }

    /// Kills the emulator at once, without shutting the board down, like a power cut.
    void kill() { process.kill(); }

private:
    /// Sends and receives single lines.
    class LineSocket {
    public:
        explicit LineSocket(FileDescriptor socket) : descriptor(std::move(socket)) {}
        void send(const std::string& line);
        [[nodiscard]] std::string receive();

    private:
        FileDescriptor descriptor;
        std::string received;
    };

    struct Console {
        FileDescriptor input;
        FileDescriptor output;
    };

    sim::ProcessGroup process;
    std::optional<LineSocket> monitor;
    std::optional<LineSocket> memory;
    Console console;
    FileDescriptor traceOutput;
};
