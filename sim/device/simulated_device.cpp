// Starting the updater under the preloaded library, and talking to the board inside it.
#include "sim/device/simulated_device.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace sim {

namespace fs = std::filesystem;

namespace {

constexpr const char* outputFile = "updater.out";
constexpr const char* errorFile = "updater.err";

/// Long enough for the debouncing of the button, in iterations.
constexpr std::uint64_t clickIterations = 60;

std::string contentsOf(const fs::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

void redirectTo(const fs::path& path, int fd)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(file, fd);
    close(file);
}

} // namespace

SimulatedDevice::SimulatedDevice(DeviceSetup deviceSetup) : setup(std::move(deviceSetup)), drive(setup.root)
{
    for (const fs::path& needed : {setup.updater, setup.preload}) {
        if (!fs::exists(needed)) {
            throw std::runtime_error("no such file: " + needed.string());
        }
    }
    makeFolders();
    startProgram();
    configure();
}

SimulatedDevice::~SimulatedDevice()
{
    if (pid > 0) {
        kill(-pid, SIGKILL); // with its scripts
        waitForEnd();
    }
}

void SimulatedDevice::makeFolders() const
{
    for (const char* folder : {"dev", "tmp/fw", "usr/sbin"}) {
        fs::create_directories(setup.root / folder);
    }
}

void SimulatedDevice::startProgram()
{
    std::array<int, 2> sockets{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0) {
        throw std::runtime_error(std::string("cannot make a socket: ") + std::strerror(errno));
    }
    pid = fork();
    if (pid < 0) {
        throw std::runtime_error(std::string("cannot start a process: ") + std::strerror(errno));
    }
    if (pid == 0) {
        becomeProgram(sockets[1]);
    }
    setpgid(pid, pid);
    close(sockets[1]);
    channel = std::make_unique<Channel>(sockets[0]);
}

/// In the new process: a process group of its own, so that its scripts can be ended with it.
void SimulatedDevice::becomeProgram(int socket) const
{
    setpgid(0, 0);
    fcntl(socket, F_SETFD, 0);
    redirectTo("/dev/null", STDIN_FILENO);
    redirectTo(setup.root / outputFile, STDOUT_FILENO);
    redirectTo(setup.root / errorFile, STDERR_FILENO);
    // By descriptor, because the variable cannot hold a path with a blank or a colon.
    const int library = open(setup.preload.c_str(), O_RDONLY);
    setenv("LD_PRELOAD", ("/proc/self/fd/" + std::to_string(library)).c_str(), 1);
    setenv("DEVICE_ROOT", setup.root.c_str(), 1);
    setenv("SIM_SOCKET", std::to_string(socket).c_str(), 1);
    for (const std::string& variable : setup.environment) {
        putenv(strdup(variable.c_str()));
    }
    execl(setup.updater.c_str(), setup.updater.c_str(), nullptr);
    _exit(127);
}

void SimulatedDevice::configure()
{
    ask(setup.time == Time::Real ? "time real" : "time virtual");
    ask(setup.time == Time::VirtualPaced ? "pace on" : "pace off");
    ask("frame-time " + std::to_string(setup.frameTime.count()));
    for (const std::string& name : setup.troubles) {
        ask("trouble on " + name);
    }
    ask("start");
    if (setup.time != Time::Real) {
        try {
            status(); // answered at the end of the first iteration
        } catch (const DeviceEnded&) {
            // A program that does not get as far as that is the holder's to look into.
        }
    }
}

std::string SimulatedDevice::ask(const std::string& request)
{
    if (!ended && channel->send(request)) {
        awaitAnswer();
        if (auto reply = channel->receive()) {
            if (reply->starts_with("error ")) {
                throw std::runtime_error(reply->substr(std::strlen("error ")));
            }
            return *std::move(reply);
        }
    }
    waitForEnd();
    throw DeviceEnded();
}

void SimulatedDevice::awaitAnswer() const
{
    if (setup.patience.count() > 0 && !channel->hasMessage(setup.patience)) {
        throw std::runtime_error("the updater does not answer");
    }
}

SimulatedDevice::Status SimulatedDevice::status()
{
    Status result{};
    std::istringstream(ask("status")) >> result.iteration >> result.frames >> result.script;
    return result;
}

void SimulatedDevice::turn(std::int32_t steps)
{
    ask("turn " + std::to_string(steps));
}

void SimulatedDevice::press()
{
    ask("button 1");
}

void SimulatedDevice::release()
{
    ask("button 0");
}

void SimulatedDevice::run(std::uint64_t iterations)
{
    ask("run " + std::to_string(iterations));
}

void SimulatedDevice::runTo(std::uint64_t targetIteration)
{
    const std::uint64_t reached = iteration();
    if (targetIteration < reached) {
        throw std::logic_error("iteration " + std::to_string(targetIteration) + " has passed");
    }
    run(targetIteration - reached);
}

void SimulatedDevice::click()
{
    press();
    run(clickIterations);
    release();
    run(clickIterations);
}

void SimulatedDevice::awaitScriptOutput(int byteCount)
{
    ask("await-output " + std::to_string(byteCount));
}

Screen SimulatedDevice::screen()
{
    const std::string bytes = ask("screen");
    Screen result{};
    std::copy_n(bytes.begin(), std::min(bytes.size(), result.size()), result.begin());
    return result;
}

std::array<std::uint8_t, 18> SimulatedDevice::leds()
{
    const std::string bytes = ask("leds");
    std::array<std::uint8_t, 18> result{};
    std::copy_n(bytes.begin(), std::min(bytes.size(), result.size()), result.begin());
    return result;
}

std::uint64_t SimulatedDevice::iteration()
{
    return status().iteration;
}

std::uint64_t SimulatedDevice::frameCount()
{
    return status().frames;
}

bool SimulatedDevice::isScriptRunning()
{
    return status().script;
}

std::vector<std::string> SimulatedDevice::faults()
{
    return linesOf(ask("faults"));
}

std::vector<std::string> SimulatedDevice::traffic()
{
    return linesOf(ask("traffic"));
}

std::string SimulatedDevice::standardOutput() const
{
    return contentsOf(setup.root / outputFile);
}

std::string SimulatedDevice::standardError() const
{
    return contentsOf(setup.root / errorFile);
}

std::optional<int> SimulatedDevice::waitStatus()
{
    int status = 0;
    if (!ended && waitpid(pid, &status, WNOHANG) == pid) {
        ended = status;
    }
    return ended;
}

int SimulatedDevice::waitForEnd()
{
    int status = 0;
    pid_t waited = -1;
    while (!ended && ((waited = waitpid(pid, &status, 0)) == pid || errno == EINTR)) {
        if (waited == pid) {
            ended = status;
        }
    }
    return ended.value_or(-1);
}

std::string SimulatedDevice::describe(int waitStatus)
{
    if (WIFSIGNALED(waitStatus)) {
        return "signal " + std::to_string(WTERMSIG(waitStatus));
    }
    return "exit status " + std::to_string(WEXITSTATUS(waitStatus));
}

void SimulatedDevice::setTrouble(const std::string& name, bool on)
{
    ask(std::string("trouble ") + (on ? "on " : "off ") + name);
}

void SimulatedDevice::queueEncoderEvent(std::uint16_t type, std::uint16_t code, std::int32_t value)
{
    ask("event " + std::to_string(type) + " " + std::to_string(code) + " " + std::to_string(value));
}

} // namespace sim
