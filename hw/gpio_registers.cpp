// Mapping the GPIO block and the few accesses that this program makes to it.
#include "hw/gpio_registers.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr off_t gpioPhysicalBase = 0xFE200000;
constexpr std::size_t blockSize = 4096;

// Register numbers, in 32-bit words from the base.
constexpr int functionSelect0 = 0;
constexpr int outputSet0 = 7;
constexpr int outputClear0 = 10;
constexpr int pinLevel0 = 13;

constexpr int linesPerSelect = 10;
constexpr int bitsPerSelect = 3;
constexpr std::uint32_t selectMask = 0b111;
constexpr std::uint32_t selectsOutput = 0b001;

} // namespace

volatile std::uint32_t* gpioRegisters = mapGpioRegisters(gpioPhysicalBase);

volatile std::uint32_t* mapGpioRegisters(off_t physicalBase)
{
    const int fd = open("/dev/mem", O_RDWR | O_SYNC | O_CLOEXEC);
    if (fd < 0) {
        std::fputs("can't open /dev/mem! Make sure you are root!\n", stderr);
        return nullptr;
    }
    void* block = mmap(nullptr, blockSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, physicalBase);
    close(fd);
    if (block == MAP_FAILED) {
        std::fprintf(stderr, "mmap error %p\n", block);
        return nullptr;
    }
    return static_cast<volatile std::uint32_t*>(block);
}

// The program's first access, which is to fault when there is no mapping; a sanitizer is not to speak up before.
__attribute__((no_sanitize("null"))) void selectOutput(int line)
{
    const int shift = line % linesPerSelect * bitsPerSelect;
    volatile std::uint32_t& select = gpioRegisters[functionSelect0 + line / linesPerSelect];
    select = (select & ~(selectMask << shift)) | (selectsOutput << shift);
}

// Set and clear act on the lines whose bit is 1 and on no other, so they are plain stores, never read-modify-write.

void driveHigh(int line)
{
    gpioRegisters[outputSet0] = 1U << line;
}

void driveLow(int line)
{
    gpioRegisters[outputClear0] = 1U << line;
}

std::uint32_t readLevels()
{
    return gpioRegisters[pinLevel0];
}
