// Starts QEMU with its monitor, memory access, console and trace on inherited descriptors.
#include "tests/board/emulator.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

struct Pair {
    FileDescriptor ours;
    FileDescriptor theirs;
};

[[noreturn]] void fail(const std::string& what)
{
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

/// The emulator inherits only `theirs`.
Pair socketPair()
{
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) {
        fail("cannot create sockets");
    }
    fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

Pair pipePair(bool weWrite)
{
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        fail("cannot create a pipe");
    }
    constexpr int bytes = 1 << 20; // by default, the most that an ordinary user may request
    fcntl(ends[0], F_SETPIPE_SZ, bytes);
    const std::size_t ours = weWrite ? 1 : 0;
    fcntl(ends[ours], F_SETFD, FD_CLOEXEC);
    return {FileDescriptor(ends[ours]), FileDescriptor(ends[1 - ours])};
}

void writeAll(int fd, const std::string& text)
{
    for (std::size_t sent = 0; sent < text.size();) {
        const ssize_t count = write(fd, text.data() + sent, text.size() - sent);
        if (count < 0) {
            fail("cannot write to the emulator");
        }
        sent += static_cast<std::size_t>(count);
    }
}

std::string hex(std::uint32_t value)
{
    std::array<char, 16> text{};
    const auto end = std::to_chars(text.begin(), text.end(), value, 16).ptr;
    return "0x" + std::string(text.begin(), end);
}

} // namespace

void Emulator::LineSocket::send(const std::string& line)
{
    writeAll(descriptor.get(), line + "\n");
}

std::string Emulator::LineSocket::receive()
{
    for (;;) {
        const std::size_t end = received.find('\n');
        if (end != std::string::npos) {
            const std::string line = received.substr(0, end);
            received.erase(0, end + 1);
            return line;
        }
        std::array<char, 4096> buffer{};
        const ssize_t count = read(descriptor.get(), buffer.data(), buffer.size());
        if (count <= 0) {
            throw std::runtime_error("the emulator has ended");
        }
        received.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

Emulator::Emulator(const std::vector<std::string>& arguments, const std::filesystem::path& errorLog)
{
    std::signal(SIGPIPE, SIG_IGN); // writing to an emulator that has ended returns an error
    Pair monitorPair = socketPair();
    Pair memoryPair = socketPair();
    Pair consoleInput = pipePair(true);
    Pair consoleOutputPair = pipePair(false);
    Pair tracePair = pipePair(false);

    std::vector<std::string> all = arguments;
    const auto fdOf = [](const Pair& pair) { return std::to_string(pair.theirs.get()); };
    for (const std::string& argument :
         {std::string("-chardev"), "socket,id=monitor,fd=" + fdOf(monitorPair), std::string("-mon"),
          std::string("chardev=monitor,mode=control"), std::string("-chardev"),
          "socket,id=memory,fd=" + fdOf(memoryPair), std::string("-qtest"), std::string("chardev:memory"),
          std::string("-qtest-log"), std::string("none"), std::string("-serial"), std::string("stdio"),
          std::string("-D"), "/proc/self/fd/" + fdOf(tracePair)}) {
        all.push_back(argument);
    }
    process.start([&] {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // the emulator must not outlive this program
        const int log = open(errorLog.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(consoleInput.theirs.get(), STDIN_FILENO);
        dup2(consoleOutputPair.theirs.get(), STDOUT_FILENO);
        dup2(log, STDERR_FILENO);
        std::vector<char*> words;
        for (std::string& argument : all) {
            words.push_back(argument.data());
        }
        words.push_back(nullptr);
        execv(words.front(), words.data());
    });

    monitor.emplace(std::move(monitorPair.ours));
    memory.emplace(std::move(memoryPair.ours));
    console = {std::move(consoleInput.ours), std::move(consoleOutputPair.ours)};
    traceOutput = std::move(tracePair.ours);
    for (Pair* pair : {&monitorPair, &memoryPair, &consoleInput, &consoleOutputPair, &tracePair}) {
        pair->theirs = FileDescriptor();
    }
    try {
        static_cast<void>(monitor->receive()); // QMP's greeting
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::string(error.what()) + ": see " + errorLog.string());
    }
    execute("qmp_capabilities");
}

nlohmann::json Emulator::execute(const std::string& command, const nlohmann::json& arguments)
{
    monitor->send(nlohmann::json{{"execute", command}, {"arguments", arguments}}.dump());
    for (;;) {
        const nlohmann::json answer = nlohmann::json::parse(monitor->receive());
        if (answer.contains("error")) {
            throw Refusal(command + ": " + answer["error"]["desc"].get<std::string>());
        }
        if (answer.contains("return")) {
            return answer["return"];
        }
    }
}

void Emulator::writeWord(std::uint32_t address, std::uint32_t value)
{
    memory->send("writel " + hex(address) + " " + hex(value));
    static_cast<void>(memory->receive());
}

std::uint32_t Emulator::readWord(std::uint32_t address)
{
    memory->send("readl " + hex(address));
    const std::string answer = memory->receive(); // "OK 0x0000000000000900"
    return static_cast<std::uint32_t>(std::stoull(answer.substr(answer.find(' ') + 1), nullptr, 16));
}

void Emulator::typeOnConsole(const std::string& text)
{
    writeAll(console.input.get(), text);
}
