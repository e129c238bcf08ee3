// The updater without a required kernel option, and on an I2C bus that times out.
#include "tests/board/board_test.h"
#include "tests/board/expected_events.h"
#include "tests/system/golden_screen.h"

#include <fstream>

namespace {

using boardTest::eventsOf;
using boardTest::hasScreen;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// The page that documents the required kernel options.
std::string devicePage()
{
    std::ifstream file(DEVICE_PAGE);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(KernelRestriction, DeniedGpioMappingCausesACrashAtTheFirstAccess)
{
    Board board({.name = "NoRegisters", .kernelOptions = "spidev.bufsiz=10240"});
    board.startUpdater();
    const std::string message = "mmap error 0xffffffffffffffff";
    board.waitForLine(message);
    board.waitForLine("Starting updater...");
    board.waitForLine("recovery: the updater ended with status 139; switch the device off and on"); // 139: SIGSEGV
    EXPECT_THAT(board.run("true"), ElementsAre("BOARD exit status 0")); // the kernel has not panicked
    EXPECT_THAT(eventsOf(board), IsEmpty());
    EXPECT_THAT(devicePage(), HasSubstr(message));
    EXPECT_THAT(devicePage(), HasSubstr("iomem=relaxed"));
}

TEST(KernelRestriction, RejectedFramesLeaveTheDisplayBlank)
{
    Board board({.name = "SmallBuffer", .kernelOptions = "iomem=relaxed", .tree = "wired.dtb"});
    board.startUpdater();
    // The busy indicator keeps turning, so the program keeps sending frames.
    const Events expected = Events{"line 5 output"} + expected::ledSetUp() + expected::displaySetUp() +
                            Events{"command 5C", "command 5C", "command 5C"};
    board.waitFor("three rejected frames", [&](const Bus& bus) { return bus.events().size() >= expected.size(); });
    EXPECT_EQ(firstDifference(eventsOf(board), expected), "");
    EXPECT_FALSE(board.withBus(hasScreen));
    EXPECT_THAT(board.linesOfUpdater(), ElementsAre("Starting updater..."));
    EXPECT_THAT(devicePage(), HasSubstr("spidev.bufsiz=10240"));
}

TEST(KernelRestriction, StartsWithDarkLedsWhenTheI2cBusTimesOut)
{
    Board board({.name = "NoLeds", .tree = "unwired.dtb"});
    board.startUpdater();
    board.waitFor("the first screen", hasScreen);
    EXPECT_TRUE(matchesGolden(board.withBus([](const Bus& bus) { return bus.screens().front(); }), "waiting"));
    EXPECT_THAT(board.withBus([](const Bus& bus) { return bus.ledOutputs(); }), testing::Each(0));
    EXPECT_THAT(board.linesOfUpdater(), ElementsAre("Starting updater..."));
    EXPECT_THAT(devicePage(), HasSubstr("the I2C bus times out"));
}

} // namespace
