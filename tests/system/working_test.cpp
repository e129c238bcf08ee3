// The states that format and install, and the final screen after success.
#include "tests/system/system_test.h"

namespace {

/// The parameter is true for the factory reset.
class Working : public SystemTest, public testing::WithParamInterface<bool> {
protected:
    [[nodiscard]] bool isReset() const { return GetParam(); }
};

INSTANTIATE_TEST_SUITE_P(Operation, Working, testing::Bool(),
                         [](const auto& test) { return test.param ? "FactoryReset" : "Update"; });

TEST_P(Working, RunsFormatAndInstallAndShowsTheirProgressUnderOneHeader)
{
    const std::string header = texts::updatingHeader;
    device.toFormatting(isReset());
    device.format.print(*device, "SHOW: Formatting 50%\n");
    device.settle();
    EXPECT_TRUE(device.showsMessageAndWheel(header + "Formatting 50%"));
    EXPECT_EQ(device.format.calls(), isReset() ? "1\n" : "0\n");
    EXPECT_EQ(device.install.calls(), "");
    device.format.exit(*device, 0);
    device.settle();
    EXPECT_EQ(device->standardOutput(), "Starting updater...\nStarted install.sh\n");
    device.install.print(*device, "SHOW: Copying 3 of 7\n");
    device.settle();
    EXPECT_EQ(device.install.calls(), "\n") << "expected exactly one call without arguments";
    EXPECT_TRUE(device.showsMessageAndWheel(header + "Copying 3 of 7"));
    device.install.exit(*device, 0);
    device.settle();
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().message(texts::done).screen(), "done"));
    EXPECT_EQ(device->standardOutput(), "Starting updater...\nStarted install.sh\nEverything done")
        << "the last line, which has no newline, was not flushed";
}

TEST_P(Working, InstallationDoesNotStartAfterAFailedFormat)
{
    device.toFormatting(isReset());
    device.format.exit(*device, 1);
    device.settle();
    EXPECT_EQ(device->standardOutput(), "Starting updater...\nA command failed...\n");
    EXPECT_EQ(device.install.calls(), "");
}

TEST_P(Working, IgnoresRotationAndClicks)
{
    device.toFormatting(isReset());
    for (int i = 0; i < 10; ++i) {
        device.turn(1);
        device.click();
    }
    device.format.print(*device, "started");
    EXPECT_EQ(device.format.calls(), isReset() ? "1\n" : "0\n");
}

class Done : public SystemTest {};

TEST_F(Done, IgnoresInputAndDrives)
{
    device.toInstalling(false);
    device.install.exit(*device, 0);
    device.settle();
    const sim::Screen end = device->screen();
    const std::uint64_t frames = device->frameCount();
    for (const int step : {-1, 0, 1}) {
        device.turn(step);
        device.click();
        device->unplug();
        device->run(600);
        device.writeFile("dev/sda", "");
        device->run(600);
    }
    EXPECT_EQ(device->screen(), end);
    EXPECT_EQ(device->frameCount(), frames);
    EXPECT_EQ(device.decrypt.calls(), "/dev/sda1\n");
}

} // namespace
