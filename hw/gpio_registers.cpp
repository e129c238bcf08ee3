// Maps the GPIO block and accesses its registers.
#include "hw/gpio_registers.h"

#include "hw/file_descriptor.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>

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
    const FileDescriptor memory(open("/dev/mem", O_RDWR | O_SYNC | O_CLOEXEC));
    if (!memory.isOpen()) {
        std::fputs("can't open /dev/mem! Make sure you are root!\n", stderr);
        return nullptr;
    }
    void* block = mmap(nullptr, blockSize, PROT_READ | PROT_WRITE, MAP_SHARED, memory.get(), physicalBase);
    if (block == MAP_FAILED) {
        std::fprintf(stderr, "mmap error %p\n", block);
        return nullptr;
    }
    return static_cast<volatile std::uint32_t*>(block);
}

// The program accesses the registers here first, so without a mapping it faults here. UBSan must not report the null
// pointer before the fault.
__attribute__((no_sanitize("null"))) void selectOutput(int line)
{
    const int shift = line % linesPerSelect * bitsPerSelect;
    volatile std::uint32_t& select = gpioRegisters[functionSelect0 + line / linesPerSelect];
    select = (select & ~(selectMask << shift)) | (selectsOutput << shift);
}

// A store to the set or clear register changes only the lines whose bit is 1, so no read-modify-write is needed. No
// barrier is needed either: O_SYNC maps the block as device memory, which preserves the order of the stores, and the
// SPI driver executes a barrier before it accesses its own registers.

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
