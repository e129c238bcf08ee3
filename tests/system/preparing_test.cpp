// From waiting for the drive to the end of the decryption.
#include "tests/system/system_test.h"

#include <filesystem>
#include <gmock/gmock.h>

namespace fs = std::filesystem;

namespace {

/// The wheel that began to turn in iteration `start`, as it was drawn last.
int wheelFrame(std::uint64_t start, std::uint64_t now)
{
    return wheelFrameAt(drawingShownAt(now), start);
}

class Waiting : public SystemTest {
protected:
    [[nodiscard]] bool isDecrypting() { return device->isScriptRunning(); }
};

TEST_F(Waiting, LooksForTheDriveEvery501Iterations)
{
    device.switchOn();
    device->runTo(300);
    device.writeFile("dev/sda", "");
    device->runTo(500);
    EXPECT_FALSE(isDecrypting());
    device->runTo(501);
    EXPECT_TRUE(isDecrypting());
}

TEST_F(Waiting, FindsADriveThatAppearsAtIteration600At1002)
{
    device.switchOn();
    device->runTo(600);
    device.writeFile("dev/sda", "");
    device->runTo(1001);
    EXPECT_FALSE(isDecrypting());
    device->runTo(1002);
    EXPECT_TRUE(isDecrypting());
}

TEST_F(Waiting, IgnoresADriveThatIsGoneAgainWhenItLooks)
{
    device.switchOn();
    device->runTo(10);
    device.writeFile("dev/sda", "");
    device->runTo(490);
    device->unplug();
    device->runTo(1000);
    EXPECT_FALSE(isDecrypting());
}

TEST_F(Waiting, IgnoresAPartitionWithoutItsDrive)
{
    device.writeFile("dev/sda1", "");
    device.switchOn();
    device->runTo(2000);
    EXPECT_FALSE(isDecrypting());
}

TEST_F(Waiting, WaitsForEverWithoutADrive)
{
    device.switchOn();
    device->runTo(3600 * 1000); // an hour
    EXPECT_TRUE(sameScreen(device->screen(),
                           ScreenPainter().message(texts::waiting).wheel(wheelFrame(0, 3600 * 1000)).screen(),
                           "an_hour"));
}

TEST_F(Waiting, HasThePartitionDecrypted)
{
    device.toPreparing();
    device.decrypt.print(*device, "started");
    EXPECT_EQ(device.decrypt.calls(), "/dev/sda1\n");
}

TEST_F(Waiting, HasTheWholeDriveDecryptedWhenItHasNoPartition)
{
    device.writeFile("dev/sda", "");
    device.switchOn();
    device->runTo(501);
    device.decrypt.print(*device, "started");
    EXPECT_EQ(device.decrypt.calls(), "/dev/sda\n");
}

TEST_F(Waiting, TakesAFileOfAnyKindForADrive)
{
    fs::create_directory(device.root() / "dev/sda");
    fs::create_symlink("sda", device.root() / "dev/sda1");
    device.switchOn();
    device->runTo(501);
    device.decrypt.print(*device, "started");
    EXPECT_EQ(device.decrypt.calls(), "/dev/sda1\n");
}

TEST_F(Waiting, TakesALinkToNothingForNoDrive)
{
    fs::create_symlink("nothing", device.root() / "dev/sda");
    device.switchOn();
    device->runTo(600);
    EXPECT_FALSE(isDecrypting());
}

TEST_F(Waiting, EndsWhenTheDriveCannotBeLookedFor)
{
    expectsHealth = false;
    device.switchOn();
    device->setInjectedFault(sim::fault::forbiddenDrive, true);
    EXPECT_THROW(device->runTo(501), sim::DeviceEnded);
    EXPECT_EQ(sim::SimulatedDevice::describe(device->waitForEnd()), "signal 6");
    EXPECT_THAT(device->standardError(), testing::HasSubstr("filesystem error"));
}

TEST_F(Waiting, EndsWhenNoScriptCanBeStarted)
{
    expectsHealth = false;
    device.switchOn();
    device->setInjectedFault(sim::fault::noProcesses, true);
    device.writeFile("dev/sda", "");
    EXPECT_THROW(device->runTo(501), sim::DeviceEnded);
    EXPECT_EQ(sim::SimulatedDevice::describe(device->waitForEnd()), "signal 6");
    EXPECT_THAT(device->standardError(), testing::HasSubstr("popen() failed"));
}

class Preparing : public SystemTest {
protected:
    void SetUp() override { device.toPreparing(); }

    void expectProgress(const std::string& progress, const std::string& name)
    {
        device.settle();
        EXPECT_TRUE(sameScreen(device->screen(),
                               ScreenPainter()
                                   .message(texts::preparingHeader + progress)
                                   .wheel(wheelFrame(501, device->iteration()))
                                   .screen(),
                               name));
    }
};

TEST_F(Preparing, StartsTheWheelAnewUnderItsHeader)
{
    expectProgress("", "preparing");
}

TEST_F(Preparing, ShowsTheProgressOfTheScript)
{
    device.decrypt.print(*device, "SHOW: Decrypting 10%\n");
    expectProgress("Decrypting 10%", "progress_10");
    device.decrypt.print(*device, "SHOW: Decrypting 20%\n");
    expectProgress("Decrypting 20%", "progress_20");
}

struct ProgressLine {
    const char* name;
    const char* output;
    const char* shown;
};

class PreparingWith : public Preparing, public testing::WithParamInterface<ProgressLine> {};

TEST_P(PreparingWith, ShowsWhatItShould)
{
    device.decrypt.print(*device, "SHOW: before\n");
    expectProgress("before", GetParam().name);
    device.decrypt.print(*device, GetParam().output);
    expectProgress(GetParam().shown, GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(Output, PreparingWith,
                         testing::Values(ProgressLine{"OtherLinesAreDropped", "hello\nworld\n", "before"},
                                         ProgressLine{"WithoutTheBlankItIsDropped", "SHOW:now\n", "before"},
                                         ProgressLine{"FiveCharactersAreTooShort", "SHOW:\n", "before"},
                                         ProgressLine{"ThePrefixAloneShowsTheHeader", "SHOW: \n", ""},
                                         ProgressLine{"LowerCaseIsDropped", "show: now\n", "before"},
                                         ProgressLine{"AnIndentedLineIsDropped", " SHOW: now\n", "before"},
                                         ProgressLine{"TheLineBehindOthersIsFound", "a\n\nb\nSHOW: now\n", "now"},
                                         ProgressLine{"WithoutItsEndItIsNoLine", "SHOW: now", "before"},
                                         ProgressLine{"ABlankBehindThePrefixIsKept", "SHOW:  now\n", " now"},
                                         ProgressLine{"ACarriageReturnIsACharacter", "SHOW: now\r\n", "now\r"}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(Preparing, ShowsOneLineAnIterationWhenSeveralArriveAtOnce)
{
    device->runTo(518);
    device.decrypt.print(*device, "SHOW: at 519\nnoise\nSHOW: at 520\nSHOW: at 521\n");
    device->runTo(527); // drawn at 520
    EXPECT_TRUE(sameScreen(device->screen(),
                           ScreenPainter().message(std::string(texts::preparingHeader) + "at 520").wheel(0).screen(),
                           "second_of_three"));
    device->runTo(547);
    EXPECT_TRUE(sameScreen(device->screen(),
                           ScreenPainter().message(std::string(texts::preparingHeader) + "at 521").wheel(0).screen(),
                           "third_of_three"));
}

TEST_F(Preparing, DoesNotLookForTheDriveAgain)
{
    device->unplug();
    device->runTo(5000);
    device.decrypt.print(*device, "SHOW: still there\n");
    expectProgress("still there", "unplugged");
    EXPECT_EQ(device.decrypt.calls(), "/dev/sda1\n");
}

struct DecryptFailure {
    int status;
    const char* message;
};

class PreparingFails : public Preparing, public testing::WithParamInterface<DecryptFailure> {};

TEST_P(PreparingFails, SaysWhy)
{
    device.decrypt.exit(*device, GetParam().status);
    device.settle();
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().message(GetParam().message).screen(), "failure"));
    EXPECT_EQ(device->standardOutput(), "Starting updater...\nA command failed...\n");
}

INSTANTIATE_TEST_SUITE_P(Status, PreparingFails,
                         testing::Values(DecryptFailure{1, texts::driveFailed},
                                         DecryptFailure{2, texts::firmwareNotFound},
                                         DecryptFailure{3, texts::firmwareCorrupt}),
                         [](const auto& test) { return "Is" + std::to_string(test.param.status); });

} // namespace
