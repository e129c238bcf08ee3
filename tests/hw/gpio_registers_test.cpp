// Tests of the GPIO block: the mapping, and exactly which words and bits an access touches.
#include "hw/gpio_registers.h"

#include "tests/support/system_calls.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <ostream>
#include <sys/mman.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr off_t blockBase = 0xFE200000;

class GpioRegisters : public testing::Test {
protected:
    /// The words that differ from `fill`, as (number, value).
    [[nodiscard]] std::vector<std::pair<std::size_t, std::uint32_t>> changedWords(std::uint32_t fill) const
    {
        std::vector<std::pair<std::size_t, std::uint32_t>> result;
        for (std::size_t i = 0; i < calls.gpio.size(); ++i) {
            if (calls.gpio[i] != fill) {
                result.emplace_back(i, calls.gpio[i]);
            }
        }
        return result;
    }

    SystemCalls calls;
};

TEST_F(GpioRegisters, AreMappedOnceFromTheBlocksPhysicalAddressBeforeMain)
{
    EXPECT_EQ(SystemCalls::startupMapping().count, 1);
    EXPECT_EQ(SystemCalls::startupMapping().physicalBase, blockBase);
}

TEST_F(GpioRegisters, MappingOpensMapsAndClosesTheMemoryDevice)
{
    EXPECT_EQ(mapGpioRegisters(blockBase), calls.gpio.data());

    EXPECT_THAT(calls.takeLog(),
                ElementsAre("open /dev/mem flags " + std::to_string(O_RDWR | O_SYNC | O_CLOEXEC),
                            "mmap /dev/mem length 4096 protection " + std::to_string(PROT_READ | PROT_WRITE) +
                                " flags " + std::to_string(MAP_SHARED) + " offset FE200000",
                            "close /dev/mem"));
    EXPECT_EQ(calls.openDevices(), 0U);
}

TEST_F(GpioRegisters, MappingTakesThePhysicalBaseThatItIsGiven)
{
    (void)mapGpioRegisters(0x3F200000);

    EXPECT_THAT(calls.takeLog(), testing::Contains(testing::HasSubstr("offset 3F200000")));
}

TEST_F(GpioRegisters, MappingWorksOnDescriptorZeroToo)
{
    calls.giveDescriptorZero();
    EXPECT_EQ(mapGpioRegisters(blockBase), calls.gpio.data());
    EXPECT_EQ(calls.openDevices(), 0U);
}

TEST_F(GpioRegisters, WithoutRootRightsTheMessageIsPrintedAndNullReturned)
{
    calls.removeDevice("/dev/mem");

    testing::internal::CaptureStderr();
    EXPECT_EQ(mapGpioRegisters(blockBase), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "can't open /dev/mem! Make sure you are root!\n");
    EXPECT_THAT(calls.takeLog(), ElementsAre("open /dev/mem flags " + std::to_string(O_RDWR | O_SYNC | O_CLOEXEC)));
}

TEST_F(GpioRegisters, ARefusedMappingPrintsTheFailureValueAndClosesTheDevice)
{
    calls.refuseMapping();

    testing::internal::CaptureStderr();
    EXPECT_EQ(mapGpioRegisters(blockBase), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "mmap error 0xffffffffffffffff\n");
    EXPECT_EQ(calls.openDevices(), 0U);
}

struct SelectCase {
    int line;
    std::size_t word;
    std::uint32_t fromZero;
    std::uint32_t fromOnes;
};

void PrintTo(const SelectCase& select, std::ostream* stream)
{
    *stream << "line " << select.line;
}

class GpioSelect : public GpioRegisters, public testing::WithParamInterface<SelectCase> {};

TEST_P(GpioSelect, SetsTheLinesThreeBitsToOutputAndNoOthers)
{
    const SelectCase& select = GetParam();

    calls.gpio.fill(0);
    selectOutput(select.line);
    EXPECT_THAT(changedWords(0), ElementsAre(std::pair(select.word, select.fromZero)));

    calls.gpio.fill(0xFFFFFFFF);
    selectOutput(select.line);
    EXPECT_THAT(changedWords(0xFFFFFFFF), ElementsAre(std::pair(select.word, select.fromOnes)));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, GpioSelect,
    testing::Values(SelectCase{0, 0, 0x00000001, 0xFFFFFFF9}, SelectCase{5, 0, 0x00008000, 0xFFFCFFFF},
                    SelectCase{7, 0, 0x00200000, 0xFF3FFFFF}, SelectCase{9, 0, 0x08000000, 0xCFFFFFFF},
                    SelectCase{10, 1, 0x00000001, 0xFFFFFFF9}, SelectCase{25, 2, 0x00008000, 0xFFFCFFFF},
                    SelectCase{31, 3, 0x00000008, 0xFFFFFFCF}),
    [](const auto& name) { return "Line" + std::to_string(name.param.line); });

TEST_F(GpioRegisters, DrivingALineIsOneStoreOfItsBitWhateverTheRegisterReads)
{
    for (const std::uint32_t fill : {0U, 0xFFFFFFFFU}) {
        for (const int line : {0, 7, 25, 31}) {
            calls.gpio.fill(fill);
            driveHigh(line);
            EXPECT_THAT(changedWords(fill), ElementsAre(std::pair(std::size_t{7}, 1U << line))) << line;

            calls.gpio.fill(fill);
            driveLow(line);
            EXPECT_THAT(changedWords(fill), ElementsAre(std::pair(std::size_t{10}, 1U << line))) << line;
        }
    }
}

TEST_F(GpioRegisters, LevelsAreReadFromTheLevelRegisterAndNothingIsWritten)
{
    calls.gpio.fill(0);
    calls.gpio[13] = 0x80000041;

    EXPECT_EQ(readLevels(), 0x80000041U);
    EXPECT_THAT(changedWords(0), ElementsAre(std::pair(std::size_t{13}, 0x80000041U)));
}

} // namespace
