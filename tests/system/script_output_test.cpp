// Progress lines, large or invalid output of scripts, and their standard error.
#include "tests/system/system_test.h"

namespace {

class ScriptOutput : public SystemTest {
protected:
    /// Replaces decrypt.sh and runs until the updater has started it.
    void startWith(const std::string& body)
    {
        device.setVersions("1.4.2", "2.0.0");
        device.replaceScript("decrypt.sh", body);
        device.toPreparing();
    }

    /// Waits for output before each iteration, so that the result does not depend on the script's speed.
    void runUntilScriptEnds()
    {
        while (device->isScriptRunning()) {
            device->awaitScriptOutput(1);
            device->run(1);
        }
        device.settle();
    }

    [[nodiscard]] bool isProgressShown(const std::string& progress)
    {
        device.settle();
        return device.showsMessageAndWheel(texts::preparingHeader + progress);
    }
};

TEST_F(ScriptOutput, EachProgressLineReplacesThePreviousLine)
{
    device.toPreparing();
    for (const std::string progress : {"Decrypting 10%", "Decrypting 20%", ""}) {
        device.decrypt.print(*device, "noise\nSHOW: " + progress + "\n");
        EXPECT_TRUE(isProgressShown(progress)) << progress;
    }
    EXPECT_EQ(device.decrypt.calls(), "/dev/sda1\n");
}

TEST_F(ScriptOutput, AtMostOneProgressLineTakesEffectPerIteration)
{
    constexpr int lines = 10000;
    const std::string last = std::to_string(lines);
    // After its last line, the script keeps waiting, so that its end does not change the screen.
    startWith("seq -f 'SHOW: %.0f' " + last + "; read -r _ < \"$DEVICE_ROOT/commands.decrypt.sh\"; exit 4");
    for (int i = 0; i < 1000 && !isProgressShown(last); ++i) {
        device->run(960);
    }
    EXPECT_TRUE(isProgressShown(last));
    EXPECT_GE(device->iteration(), static_cast<std::uint64_t>(lines));
}

TEST_F(ScriptOutput, RandomBytesDoNotAffectTheResult)
{
    startWith("head -c 5000000 /dev/urandom; exit 0");
    runUntilScriptEnds();
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().menu(true, Selection::None).screen(), "menu"));
}

TEST_F(ScriptOutput, ALineOf48MegabytesDoesNotAffectTheResult)
{
    startWith("head -c 48000000 /dev/zero | tr '\\0' x; exit 3");
    runUntilScriptEnds();
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().message(texts::firmwareCorrupt).screen(), "failed"));
}

TEST_F(ScriptOutput, StandardErrorIsPassedThrough)
{
    startWith("echo 'SHOW: hidden' >&2; exit 1");
    device->awaitScriptEnd();
    device.settle();
    EXPECT_EQ(device->standardError(), "SHOW: hidden\n");
}

TEST_F(ScriptOutput, LongTextIsTruncatedAtTheEndOfTheMessageArea)
{
    device.toPreparing();
    std::string text;
    for (int i = 0; i < 1000; ++i) {
        text += "word" + std::to_string(i) + " ";
    }
    device.decrypt.print(*device, "SHOW: " + text + "\n");
    EXPECT_TRUE(isProgressShown(text));
}

} // namespace
