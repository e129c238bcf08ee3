// Formatting, installing, and how they end.
#include "tests/system/system_test.h"

namespace {

/// Both operations; the parameter tells whether it is the factory reset.
class Working : public SystemTest, public testing::WithParamInterface<bool> {
protected:
    [[nodiscard]] bool isReset() const { return GetParam(); }
};

INSTANTIATE_TEST_SUITE_P(Operation, Working, testing::Bool(),
                         [](const auto& test) { return test.param ? "FactoryReset" : "Update"; });

TEST_P(Working, TellsTheFormatScriptWhichOfBothItIs)
{
    device.toFormatting(isReset());
    device.format.print(*device, "started");
    EXPECT_EQ(device.format.calls(), isReset() ? "1\n" : "0\n");
    EXPECT_EQ(device.install.calls(), "");
}

TEST_P(Working, ShowsTheProgressOfBothScriptsBehindTheSameHeader)
{
    device.toFormatting(isReset());
    device.format.print(*device, "SHOW: Formatting 50%\n");
    device.settle();
    EXPECT_TRUE(device.showsAtWork(std::string(texts::updatingHeader) + "Formatting 50%"));
    device.format.exit(*device, 0);
    device.settle();
    EXPECT_EQ(device->standardOutput(), "Starting updater...\nStarted install.sh\n");
    device.install.print(*device, "SHOW: Copying 3 of 7\n");
    device.settle();
    EXPECT_EQ(device.install.calls(), "\n"); // once, without an argument
    EXPECT_TRUE(device.showsAtWork(std::string(texts::updatingHeader) + "Copying 3 of 7"));
}

TEST_P(Working, EndsWithEverythingDone)
{
    device.toInstalling(isReset());
    device.install.exit(*device, 0);
    device.settle();
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().message(texts::done).screen(), "done"));
    // No line end behind the last words, and yet they are out.
    EXPECT_EQ(device->standardOutput(), "Starting updater...\nStarted install.sh\nEverything done");
}

TEST_P(Working, SaysWhatToDoWhenTheFormatFails)
{
    device.toFormatting(isReset());
    device.format.print(*device, "SHOW: Formatting\n");
    device.settle();
    device.format.exit(*device, 1);
    device.settle();
    EXPECT_TRUE(sameScreen(
        device->screen(),
        ScreenPainter().message(isReset() ? texts::resetFormatFailed : texts::updateFormatFailed).screen(), "failed"));
    EXPECT_EQ(device->standardOutput(), "Starting updater...\nA command failed...\n");
    EXPECT_EQ(device.install.calls(), "");
}

TEST_P(Working, SaysWhatToDoWhenTheInstallationFails)
{
    device.toInstalling(isReset());
    device.install.exit(*device, 255);
    device.settle();
    EXPECT_TRUE(
        sameScreen(device->screen(),
                   ScreenPainter().message(isReset() ? texts::resetInstallFailed : texts::updateInstallFailed).screen(),
                   "failed"));
    EXPECT_EQ(device->standardOutput(), "Starting updater...\nStarted install.sh\nA command failed...\n");
}

TEST_P(Working, IsDeafToTheKnob)
{
    device.toFormatting(isReset());
    for (int i = 0; i < 10; ++i) {
        device.turn(1);
        device.click();
    }
    device.format.print(*device, "started");
    EXPECT_EQ(device.format.calls(), isReset() ? "1\n" : "0\n");
}

TEST_P(Working, StaysAtItsEndWhateverTheOwnerDoes)
{
    device.toInstalling(isReset());
    device.install.exit(*device, 0);
    device.settle();
    const sim::Screen end = device->screen();
    const std::uint64_t frames = device->frameCount();
    for (int i = 0; i < 10; ++i) {
        device.turn(i % 3 - 1);
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
