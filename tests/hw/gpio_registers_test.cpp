// Tests of the GPIO block: the mapping, and the bits that each access changes.
#include "hw/gpio_registers.h"

#include "tests/support/system_calls.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

namespace {

constexpr off_t blockBase = 0xFE200000;
const std::string memoryOpening = "open /dev/mem flags " + std::to_string(O_RDWR | O_SYNC | O_CLOEXEC);

class GpioRegisters : public testing::Test {
protected:
    using Words = std::vector<std::pair<std::size_t, std::uint32_t>>;

    /// Returns the index and the value of each word that differs from `fill`.
    [[nodiscard]] Words changedWords(std::uint32_t fill) const
    {
        Words result;
        for (std::size_t i = 0; i < calls.gpio.size(); ++i) {
            if (calls.gpio[i] != fill) {
                result.emplace_back(i, calls.gpio[i]);
            }
        }
        return result;
    }

    SystemCalls calls;
};

TEST_F(GpioRegisters, TheBlockIsMappedOnceBeforeMain)
{
    EXPECT_EQ(SystemCalls::startupMapping().count, 1);
    EXPECT_EQ(SystemCalls::startupMapping().physicalBase, blockBase);
}

TEST_F(GpioRegisters, MapsTheBlockFromTheMemoryDeviceAndClosesTheDevice)
{
    EXPECT_EQ(mapGpioRegisters(blockBase), calls.gpio.data());

    EXPECT_EQ(calls.takeLog(), Log({memoryOpening,
                                    "mmap /dev/mem length 4096 protection " + std::to_string(PROT_READ | PROT_WRITE) +
                                        " flags " + std::to_string(MAP_SHARED) + " offset FE200000",
                                    "close /dev/mem"}));
}

TEST_F(GpioRegisters, MappingUsesTheGivenPhysicalBase)
{
    (void)mapGpioRegisters(0x3F200000);
    EXPECT_TRUE(calls.takeLog().at(1).ends_with("offset 3F200000"));
}

TEST_F(GpioRegisters, MappingPrintsAMessageAndReturnsNullIfTheMemoryDeviceCannotBeOpened)
{
    calls.missingDevices = {"/dev/mem"};
    testing::internal::CaptureStderr();
    EXPECT_EQ(mapGpioRegisters(blockBase), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "can't open /dev/mem! Make sure you are root!\n");
    EXPECT_EQ(calls.takeLog(), Log({memoryOpening}));
}

TEST_F(GpioRegisters, AFailedMmapPrintsItsReturnValueAndClosesTheDevice)
{
    calls.mappingFails = true;
    testing::internal::CaptureStderr();
    EXPECT_EQ(mapGpioRegisters(blockBase), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "mmap error 0xffffffffffffffff\n");
    EXPECT_EQ(calls.takeLog().back(), "close /dev/mem");
}

TEST_F(GpioRegisters, SelectingAnOutputChangesOnlyTheThreeBitsOfItsLine)
{
    struct Case {
        int line;
        std::size_t word;
        std::uint32_t fromZero;
        std::uint32_t fromOnes;
    };
    const Case cases[] = {
        {0, 0, 0x00000001, 0xFFFFFFF9},  {5, 0, 0x00008000, 0xFFFCFFFF},  {7, 0, 0x00200000, 0xFF3FFFFF},
        {9, 0, 0x08000000, 0xCFFFFFFF},  {10, 1, 0x00000001, 0xFFFFFFF9}, {25, 2, 0x00008000, 0xFFFCFFFF},
        {31, 3, 0x00000008, 0xFFFFFFCF},
    };
    for (const auto& [line, word, fromZero, fromOnes] : cases) {
        calls.gpio.fill(0);
        selectOutput(line);
        EXPECT_EQ(changedWords(0), Words({{word, fromZero}})) << "line " << line;
        calls.gpio.fill(0xFFFFFFFF);
        selectOutput(line);
        EXPECT_EQ(changedWords(0xFFFFFFFF), Words({{word, fromOnes}})) << "line " << line;
    }
}

TEST_F(GpioRegisters, DrivingALineStoresOnlyItsBit)
{
    for (const std::uint32_t fill : {0U, 0xFFFFFFFFU}) {
        for (const int line : {0, 7, 25, 31}) {
            calls.gpio.fill(fill);
            driveHigh(line);
            EXPECT_EQ(changedWords(fill), Words({{7, 1U << line}})) << line;
            calls.gpio.fill(fill);
            driveLow(line);
            EXPECT_EQ(changedWords(fill), Words({{10, 1U << line}})) << line;
        }
    }
}

TEST_F(GpioRegisters, ReadingLevelsReadsTheLevelRegisterAndWritesNothing)
{
    calls.gpio.fill(0);
    calls.gpio[13] = 0x80000041;

    EXPECT_EQ(readLevels(), 0x80000041U);
    EXPECT_EQ(changedWords(0), Words({{13, 0x80000041U}}));
}

} // namespace
