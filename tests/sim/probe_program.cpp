// A test program for the simulated device. It executes the commands in the environment variable PROBE, and then
// iterates forever. Semicolons separate the commands. The text after a command's first blank is its argument.
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/input.h>
#include <linux/spi/spidev.h>
#include <pthread.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int dataCommandLine = 7;
constexpr int resetLine = 25;
constexpr std::size_t frameSize = 10240;

long iteration = 0;
volatile std::uint32_t* registers = nullptr;
int spi = -1;
int encoder = -1;
std::FILE* script = nullptr;
/// The first iteration that reads the script's output: the second after the script's start, so the controller can stop
/// the program before it reads any output.
long firstScriptIteration = 0;
std::uint8_t frame[frameSize];

void print(const char* format, const char* text, long number)
{
    std::printf(format, text, number);
    std::printf("\n");
    std::fflush(stdout);
}

void readScript()
{
    char bytes[256];
    const ssize_t count = read(fileno(script), bytes, sizeof bytes - 1);
    if (count > 0) {
        std::fwrite(bytes, 1, static_cast<std::size_t>(count), stdout);
        std::fflush(stdout);
    } else if (count == 0) {
        const int status = pclose(script);
        script = nullptr;
        print("%s ended with %ld", "script", WEXITSTATUS(status));
    }
}

void readEncoder()
{
    input_event event;
    if (read(encoder, &event, sizeof event) == sizeof event) {
        std::printf("%ld: event %d %d %d\n", iteration, event.type, event.code, event.value);
        std::fflush(stdout);
    }
}

void watchButton()
{
    static bool wasHigh = true;
    const bool isHigh = (registers[13] >> 6 & 1U) != 0;
    if (isHigh != wasHigh) {
        print("%s at %ld", isHigh ? "high" : "low", iteration);
        wasHigh = isHigh;
    }
}

void iterate(long count)
{
    for (long i = 0; i != count; ++i) {
        ++iteration;
        if (script != nullptr && iteration >= firstScriptIteration) {
            readScript();
        }
        if (encoder >= 0) {
            readEncoder();
        }
        if (registers != nullptr) {
            watchButton();
        }
        usleep(1000);
    }
}

void mapRegisters()
{
    const int fd = open("/dev/mem", O_RDWR | O_SYNC);
    if (fd < 0) {
        print("%s %ld", "no memory", errno);
        return;
    }
    void* const block = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0xFE200000);
    if (block == MAP_FAILED) {
        print("%s %ld", "no mapping", errno);
        return;
    }
    close(fd);
    registers = static_cast<volatile std::uint32_t*>(block);
}

void drive(int line, bool level)
{
    registers[level ? 7 : 10] = 1U << line;
}

void send(bool isData, const std::uint8_t* bytes, std::size_t size)
{
    drive(dataCommandLine, isData);
    if (write(spi, bytes, size) < 0) {
        print("%s %ld", "write failed", errno);
    }
}

void openDisplay()
{
    mapRegisters();
    registers[0] = registers[0] | 1U << (dataCommandLine * 3);
    registers[2] = registers[2] | 1U << (resetLine % 10 * 3);
    spi = open("/dev/spidev0.0", O_WRONLY);
    std::uint32_t speedHz = 12500000;
    ioctl(spi, SPI_IOC_WR_MAX_SPEED_HZ, &speedHz);
    for (const bool level : {true, false, true}) {
        drive(resetLine, level);
        usleep(20000);
    }
    const struct {
        bool isData;
        std::uint8_t byte;
    } steps[] = {{false, 0x94}, {false, 0x20}, {true, 0x0B},  {false, 0x0C}, {false, 0xF0}, {true, 0x11},
                 {false, 0x31}, {false, 0x40}, {false, 0x30}, {false, 0x15}, {true, 0x00},  {true, 0xFF},
                 {false, 0x75}, {true, 0x00},  {true, 0x9F},  {false, 0xAF}};
    for (const auto& step : steps) {
        send(step.isData, &step.byte, 1);
    }
}

void sendFrame()
{
    constexpr std::uint8_t writeMemory = 0x5C;
    send(false, &writeMemory, 1);
    send(true, frame, frameSize);
}

void* sendOneFrame(void*)
{
    sendFrame();
    return nullptr;
}

void startThread(void* (*routine)(void*))
{
    pthread_t thread{};
    if (pthread_create(&thread, nullptr, routine, nullptr) != 0 || pthread_detach(thread) != 0) {
        print("%s %ld", "no thread", errno);
    }
}

pthread_mutex_t mailboxMutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t mailboxChanged = PTHREAD_COND_INITIALIZER;
bool hasPost = false;

void* sendPostedFrames(void*)
{
    for (;;) {
        pthread_mutex_lock(&mailboxMutex);
        while (!hasPost) {
            pthread_cond_wait(&mailboxChanged, &mailboxMutex);
        }
        hasPost = false;
        pthread_mutex_unlock(&mailboxMutex);
        sendFrame();
    }
}

void post(bool wakesAll)
{
    pthread_mutex_lock(&mailboxMutex);
    hasPost = true;
    pthread_mutex_unlock(&mailboxMutex);
    wakesAll ? pthread_cond_broadcast(&mailboxChanged) : pthread_cond_signal(&mailboxChanged);
}

void startScript(const char* command)
{
    script = popen(command, "r");
    if (script == nullptr) {
        print("%s %ld", "no script", errno);
        return;
    }
    fcntl(fileno(script), F_SETFL, O_NONBLOCK);
    firstScriptIteration = iteration + 2;
}

void showFile(const char* path)
{
    std::FILE* const file = std::fopen(path, "r");
    char text[256] = "nothing";
    if (file != nullptr) {
        [[maybe_unused]] const char* const line = std::fgets(text, sizeof text, file);
        std::fclose(file);
    }
    print("%s", text, 0);
}

void showStatus(const char* path)
{
    struct stat result;
    errno = 0;
    print("%s %ld", path, stat(path, &result) == 0 ? 0 : errno);
}

void perform(const char* command, const char* argument)
{
    const auto is = [command](const char* name) { return std::strcmp(command, name) == 0; };
    if (is("print")) {
        print("%s", argument, 0);
    } else if (is("print-error")) {
        std::fprintf(stderr, "%s\n", argument);
    } else if (is("iterate")) {
        iterate(std::atol(argument));
    } else if (is("sleep")) {
        usleep(static_cast<useconds_t>(std::atol(argument)));
    } else if (is("gpio")) {
        mapRegisters();
    } else if (is("display")) {
        openDisplay();
    } else if (is("fill")) {
        std::memset(frame, std::atoi(argument), frameSize);
    } else if (is("frame")) {
        sendFrame();
    } else if (is("thread-frame")) {
        startThread(sendOneFrame);
    } else if (is("writer")) {
        startThread(sendPostedFrames);
    } else if (is("post")) {
        post(std::strcmp(argument, "all") == 0);
    } else if (is("write")) {
        const auto byte = static_cast<std::uint8_t>(std::atoi(argument));
        send(false, &byte, 1);
    } else if (is("encoder")) {
        encoder = open("/dev/input/event0", O_RDONLY | O_NONBLOCK);
    } else if (is("script")) {
        startScript(argument);
    } else if (is("file")) {
        showFile(argument);
    } else if (is("stat")) {
        showStatus(argument);
    } else if (is("environment")) {
        const char* const value = std::getenv(argument);
        print("%s", value == nullptr ? "unset" : value, 0);
    } else if (is("pid")) {
        print("%s %ld", "pid", getpid());
    } else if (is("crash")) {
        std::raise(SIGSEGV);
    } else if (is("abort")) {
        std::abort();
    } else if (is("exit")) {
        std::exit(std::atoi(argument));
    } else if (is("throw")) {
        throw std::runtime_error("as requested");
    } else {
        print("unknown command %s", command, 0);
        std::exit(99);
    }
}

} // namespace

int main()
{
    const char* const given = std::getenv("PROBE");
    char* const commands = strdup(given == nullptr ? "" : given);
    char* rest = nullptr;
    for (char* command = strtok_r(commands, ";", &rest); command != nullptr; command = strtok_r(nullptr, ";", &rest)) {
        char* const blank = std::strchr(command, ' ');
        if (blank != nullptr) {
            *blank = '\0';
        }
        perform(command, blank == nullptr ? "" : blank + 1);
    }
    iterate(-1);
}
