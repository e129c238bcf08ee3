// A running emulator: its process, and the wires that lead out of it.
#pragma once

#include "sim/device/process_group.h"
#include "tests/board/descriptor.h"

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

/// Everything throws std::runtime_error when the emulator has ended.
class Emulator {
public:
    /// What `execute` throws when the emulator answers that it cannot.
    struct Refusal : std::runtime_error {
        using std::runtime_error::runtime_error;
    };

    /// Starts it with these arguments beside those for its wires. What it complains about goes to `errorLog`.
    Emulator(const std::vector<std::string>& arguments, const std::filesystem::path& errorLog);

    /// One command of its machine protocol (QMP), and the answer's "return".
    nlohmann::json execute(const std::string& command, const nlohmann::json& arguments = nlohmann::json::object());
    /// Physical memory of the board, past its processors.
    void writeWord(std::uint32_t address, std::uint32_t value);
    [[nodiscard]] std::uint32_t readWord(std::uint32_t address);

    /// The board's console.
    [[nodiscard]] int consoleOutput() const { return console.output.get(); }
    void typeOnConsole(const std::string& text);
    /// Where the lines of its trace come out. It waits when nobody reads them.
    [[nodiscard]] int trace() const { return traceOutput.get(); }

    /// Ends it between two instructions, as a loss of power would.
    void kill() { process.kill(); }

private:
    /// A line at a time, either way.
    class LineSocket {
    public:
        explicit LineSocket(Descriptor socket) : descriptor(std::move(socket)) {}
        void send(const std::string& line);
        [[nodiscard]] std::string receive();

    private:
        Descriptor descriptor;
        std::string received;
    };

    struct Console {
        Descriptor input;
        Descriptor output;
    };

    sim::ProcessGroup process;
    std::optional<LineSocket> monitor;
    std::optional<LineSocket> memory;
    Console console;
    Descriptor traceOutput;
};
