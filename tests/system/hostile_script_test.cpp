// Scripts that print more than anybody would read.
#include "tests/system/system_test.h"

namespace {

class HostileScript : public SystemTest {
protected:
    /// Puts the script in the place of decrypt.sh and lets the device find a drive.
    void startWith(const std::string& body)
    {
        device.setVersions("1.0", "2.0");
        device.replaceScript("decrypt.sh", body);
        device.toPreparing();
    }

    /// However slowly the script prints: the device waits for it before every iteration.
    void readToTheEnd()
    {
        while (device->isScriptRunning()) {
            device->awaitScriptOutput(1);
            device->run(1);
        }
    }

    [[nodiscard]] bool isMenuShown()
    {
        device.settle();
        return device->screen() == ScreenPainter().menu(true, Selection::None).screen();
    }

    [[nodiscard]] bool isProgressShown(const std::string& progress)
    {
        device.settle();
        return device.showsAtWork(texts::preparingHeader + progress);
    }
};

TEST_F(HostileScript, ThatPrintsTwoHundredThousandLinesAtOnceShowsThemOneAnIteration)
{
    // It rests for the last of them, so that they are all shown before its end.
    startWith("seq -f 'SHOW: %.0f' 200000; read -r _ < \"$DEVICE_ROOT/orders.decrypt.sh\"; exit 4");
    for (int i = 0; i < 10000 && !isProgressShown("200000"); ++i) {
        device->run(960);
    }
    EXPECT_TRUE(isProgressShown("200000"));
    EXPECT_GE(device->iteration(), 200000U);
}

TEST_F(HostileScript, ThatPrintsNothingButNoiseIsRead)
{
    startWith("head -c 5000000 /dev/urandom; exit 0");
    readToTheEnd();
    EXPECT_TRUE(isMenuShown());
}

TEST_F(HostileScript, ThatPrintsAnEndlessLineIsReadInLinearTime)
{
    startWith("head -c 48000000 /dev/zero | tr '\\0' x; exit 3");
    readToTheEnd();
    device.settle();
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().message(texts::firmwareCorrupt).screen(), "endless_line"));
}

TEST_F(HostileScript, LeavesItsComplaintsOnStandardError)
{
    startWith("echo 'SHOW: hidden' >&2; exit 1");
    device->awaitScriptEnd();
    device.settle();
    EXPECT_EQ(device->standardError(), "SHOW: hidden\n");
}

TEST_F(HostileScript, PrintingALongTextFillsTheScreenAndNoMore)
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
