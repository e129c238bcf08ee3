// Starts the updater with the preloaded library, and sends requests to the board in the library.
#include "sim/device/simulated_device.h"

#include "sim/device/program_file.h"
#include "sim/protocol/preload.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace sim {

namespace fs = std::filesystem;

namespace {

constexpr const char* outputFile = "updater.out";
constexpr const char* errorFile = "updater.err";

/// Appends what the file contains beyond `text`.
void appendNew(std::string& text, const fs::path& path)
{
    std::error_code ignored; // the file does not exist before the program starts
    const std::uintmax_t size = fs::file_size(path, ignored);
    if (ignored || size <= text.size()) {
        return;
    }
    const std::size_t known = text.size();
    text.resize(size);
    std::ifstream(path, std::ios::binary)
        .seekg(static_cast<std::streamoff>(known))
        .read(text.data() + known, static_cast<std::streamsize>(size - known));
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

/// Called in the new process. `startFailure` reports the standard error of that process.
[[noreturn]] void giveUp(const std::string& reason)
{
    const std::string line = reason + "\n";
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
    _exit(127);
}

void redirectTo(const fs::path& path, int fd)
{
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0644);
    if (file < 0 || dup2(file, fd) != fd) {
        giveUp("cannot open " + path.string() + ": " + std::strerror(errno));
    }
    if (file != fd) {
        close(file);
    }
}

std::string pathOf(int file)
{
    return "/proc/self/fd/" + std::to_string(file);
}

/// Opens the library for the loader. LD_PRELOAD cannot contain a path with a blank or a colon, so the library is passed
/// as a descriptor. If the loader cannot load a library, it only prints a warning, and the program would use the real
/// hardware. Therefore the library is first loaded here, which reports any failure.
int openLibrary(const fs::path& path)
{
    unsetenv(rootVariable); // without these two variables the library does nothing
    unsetenv(socketVariable);
    const int file = open(path.c_str(), O_RDONLY);
    if (file < 0) {
        giveUp("cannot open " + path.string() + ": " + std::strerror(errno));
    }
    void* library = dlopen(pathOf(file).c_str(), RTLD_NOW);
    if (library == nullptr) {
        giveUp("cannot load " + path.string() + ": " + dlerror());
    }
    if (dlsym(library, librarySymbol) == nullptr) {
        giveUp("not the simulated hardware: " + path.string());
    }
    return file;
}

} // namespace

SimulatedDevice::SimulatedDevice(DeviceSetup deviceSetup) : setup(std::move(deviceSetup)), drive(setup.root)
{
    for (const fs::path& needed : {setup.updater, setup.preload}) {
        if (!fs::exists(needed)) {
            throw std::runtime_error("no such file: " + needed.string());
        }
    }
    requireDynamic(setup.updater);
    makeFolders();
    if (setup.wires != nullptr) {
        setup.wires->powerOn();
    }
    startProgram();
    configure();
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
        throw std::runtime_error(std::string("cannot create a socket: ") + std::strerror(errno));
    }
    channel = std::make_unique<Channel>(sockets[0]);
    try {
        process.start([&] { becomeProgram(sockets[1]); });
    } catch (...) {
        close(sockets[1]);
        throw;
    }
    close(sockets[1]);
}

void SimulatedDevice::becomeProgram(int socket) const
{
    // The program must not inherit the controller's open files, except the socket and the recording.
    close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    fcntl(socket, F_SETFD, 0);
    if (setup.wires != nullptr) {
        fcntl(setup.wires->descriptor(), F_SETFD, 0);
        fcntl(setup.wires->stateDescriptor(), F_SETFD, 0);
    }
    redirectTo(setup.root / errorFile, STDERR_FILENO);
    redirectTo(setup.root / outputFile, STDOUT_FILENO);
    redirectTo("/dev/null", STDIN_FILENO);
    const int library = openLibrary(setup.preload);
    for (const std::string& variable : setup.environment) {
        putenv(strdup(variable.c_str()));
    }
    const std::pair<const char*, std::string> variables[] = {
        {"LD_PRELOAD", pathOf(library)},
        {rootVariable, setup.root},
        {socketVariable, std::to_string(socket)},
        {libraryVariable, std::to_string(library)},
    };
    for (const auto& [name, value] : variables) {
        if (setenv(name, value.c_str(), 1) != 0) {
            giveUp("cannot set the environment");
        }
    }
    execl(setup.updater.c_str(), setup.updater.c_str(), nullptr);
    giveUp("cannot run " + setup.updater.string() + ": " + std::strerror(errno));
}

std::vector<std::string> SimulatedDevice::configuration() const
{
    std::vector<std::string> requests = {
        "script-pace " + std::to_string(setup.scriptPace),
        "frame-time " + std::to_string(setup.frameTime.count()),
        "refuse-i2c " + std::to_string(setup.refusedI2cTransfer),
        setup.keepsTraffic ? "keep-traffic on" : "keep-traffic off",
    };
    for (const std::string& name : setup.injectedFaults) {
        requests.push_back("fault on " + name);
    }
    if (setup.wires != nullptr) {
        requests.push_back("wires " + std::to_string(setup.wires->descriptor()) + " " +
                           std::to_string(setup.wires->stateDescriptor()));
    }
    requests.emplace_back("start");
    return requests;
}

/// Sends all requests at once, because one round trip per request would take longer than the start of the program.
void SimulatedDevice::configure()
{
    const auto requests = configuration();
    try {
        for (const std::string& text : requests) {
            channel->send(text);
        }
        for (std::size_t i = 0; i < requests.size(); ++i) {
            receiveReply();
        }
    } catch (const DeviceEnded&) {
        throw startFailure();
    }
    try {
        setStatus(request("status")); // the reply arrives at the end of the first iteration
    } catch (const DeviceEnded&) {
        // The updater has ended in its first iteration. The next request throws again.
    }
}

std::runtime_error SimulatedDevice::startFailure()
{
    std::string reason = "cannot start the updater: " + explain(waitForEnd());
    for (const std::string& line : linesOf(standardError())) {
        reason += "; " + line;
    }
    return std::runtime_error(reason);
}

std::string SimulatedDevice::request(const std::string& text)
{
    if (!waitStatus() && channel->send(text)) {
        return receiveReply();
    }
    awaitEnd();
    throw DeviceEnded();
}

std::string SimulatedDevice::receiveReply()
{
    awaitReply();
    auto reply = channel->receive();
    if (!reply) {
        awaitEnd();
        throw DeviceEnded();
    }
    if (reply->starts_with("error ")) {
        throw std::runtime_error(reply->substr(std::strlen("error ")));
    }
    return *std::move(reply);
}

void SimulatedDevice::awaitReply() const
{
    constexpr std::chrono::milliseconds slice{100};
    const auto start = std::chrono::steady_clock::now();
    while (!channel->hasMessage(slice)) {
        if (setup.timeout.count() > 0 && std::chrono::steady_clock::now() - start >= setup.timeout) {
            throw std::runtime_error("the updater did not reply in time");
        }
        callWhileWaiting();
    }
}

/// Waits for the end of a program that has closed its socket. Kills the program if it does not end in time.
void SimulatedDevice::awaitEnd()
{
    const auto deadline = std::chrono::steady_clock::now() + setup.endTimeout;
    while (!waitStatus() && std::chrono::steady_clock::now() < deadline) {
        callWhileWaiting();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (!waitStatus()) {
        process.kill();
    }
}

void SimulatedDevice::callWhileWaiting() const
{
    if (setup.whileWaiting) {
        setup.whileWaiting();
    }
}

void SimulatedDevice::setStatus(const std::string& text)
{
    Status status{};
    DisplayRegisters& display = status.display;
    std::istringstream words(text);
    words >> status.iteration >> status.frames >> display.isOn >> display.sleeps >> display.isInverse >>
        display.contrast >> status.violations;
    words.ignore();
    std::getline(words, status.script);
    words.read(reinterpret_cast<char*>(status.leds.data()), status.leds.size());
    lastStatus = std::move(status);
}

/// The status changes only when iterations run, so usually no request is needed.
const SimulatedDevice::Status& SimulatedDevice::status()
{
    if (!lastStatus || waitStatus()) {
        setStatus(request("status"));
    }
    return *lastStatus;
}

void SimulatedDevice::turn(std::int32_t steps)
{
    request("turn " + std::to_string(steps));
}

void SimulatedDevice::press()
{
    request("button 1");
}

void SimulatedDevice::release()
{
    request("button 0");
}

void SimulatedDevice::run(std::uint64_t iterations)
{
    const std::string reply = request("run " + std::to_string(iterations));
    if (iterations > 0) {
        setStatus(reply);
    }
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
    request("await-output " + std::to_string(byteCount));
}

Screen SimulatedDevice::screen()
{
    const std::string bytes = request("screen");
    Screen result{};
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

std::vector<std::string> SimulatedDevice::violations()
{
    return linesOf(request("violations"));
}

std::vector<std::string> SimulatedDevice::traffic()
{
    return linesOf(request("traffic"));
}

const std::string& SimulatedDevice::standardOutput()
{
    appendNew(output, setup.root / outputFile);
    return output;
}

const std::string& SimulatedDevice::standardError()
{
    appendNew(error, setup.root / errorFile);
    return error;
}

std::string SimulatedDevice::describe(int waitStatus)
{
    if (WIFSIGNALED(waitStatus)) {
        return "signal " + std::to_string(WTERMSIG(waitStatus));
    }
    return "exit status " + std::to_string(WEXITSTATUS(waitStatus));
}

std::string SimulatedDevice::explain(int waitStatus)
{
    return describe(waitStatus) +
           (WIFSIGNALED(waitStatus) ? std::string(" (") + strsignal(WTERMSIG(waitStatus)) + ")" : "");
}

void SimulatedDevice::setInjectedFault(const std::string& name, bool on)
{
    request(std::string("fault ") + (on ? "on " : "off ") + name);
}

void SimulatedDevice::queueEncoderEvent(std::uint16_t type, std::uint16_t code, std::int32_t value)
{
    request("event " + std::to_string(type) + " " + std::to_string(code) + " " + std::to_string(value));
}

} // namespace sim
