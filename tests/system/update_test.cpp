// The road of an update and of a factory reset: every transition, every message.
#include "tests/system/system_test.h"

#include <filesystem>
#include <gmock/gmock.h>

namespace fs = std::filesystem;

namespace {

constexpr const char* updatingHeader =
    "Updating...\n\nDo not unplug the power.\n\nThis may take a few minutes.\n\nState: ";
constexpr const char* doneMessage = "Everything done!\nYou can now restart the device";

std::string updateQuestion(const std::string& oldVersion, const std::string& newVersion)
{
    return "I will update the firmware from " + oldVersion + " to " + newVersion +
           ".\n\nDo not unplug the power during the process.\n\nDo you want to continue?";
}

std::string factoryQuestion(const std::string& newVersion)
{
    return "I will do a factory reset to firmware " + newVersion +
           ".\n\nALL DATA/PRESETS WILL BE LOST!\n\nDo not unplug the power during the process.\n\nDo you want to "
           "continue?";
}

/// The wheel whose turning began (again) at frame 0 at iteration `start`, as it was drawn last.
int wheelFrame(std::uint64_t start, std::uint64_t now)
{
    const std::uint64_t drawn = (now - 7) / 20 * 20;
    return static_cast<int>((drawn / 142 - start / 142) % 8);
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
                           ScreenPainter().message("Waiting for USB...").wheel(wheelFrame(0, 3600 * 1000)).screen(),
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
    device->setTrouble(sim::trouble::forbiddenDrive, true);
    EXPECT_THROW(device->runTo(501), sim::DeviceEnded);
    EXPECT_EQ(sim::SimulatedDevice::describe(device->waitForEnd()), "signal 6");
    EXPECT_THAT(device->standardError(), testing::HasSubstr("filesystem error"));
}

TEST_F(Waiting, EndsWhenNoScriptCanBeStarted)
{
    expectsHealth = false;
    device.switchOn();
    device->setTrouble(sim::trouble::noProcesses, true);
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
                                   .message("Preparing new firmware...\n\n" + progress)
                                   .wheel(wheelFrame(501, device->iteration()))
                                   .screen(),
                               name));
    }
};

TEST_F(Preparing, StartsTheWheelAnewUnderItsHeader)
{
    device->runTo(527);
    EXPECT_SCREEN(*device, "preparing");
    expectProgress("", "preparing_painted");
}

TEST_F(Preparing, ShowsTheProgressOfTheScript)
{
    device.decrypt.print(*device, "SHOW: Decrypting 10%\n");
    expectProgress("Decrypting 10%", "progress_10");
    EXPECT_SCREEN(*device, "preparing_progress");
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
                           ScreenPainter().message("Preparing new firmware...\n\nat 520").wheel(0).screen(),
                           "second_of_three"));
    device->runTo(547);
    EXPECT_TRUE(sameScreen(device->screen(),
                           ScreenPainter().message("Preparing new firmware...\n\nat 521").wheel(0).screen(),
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
    const char* golden;
};

class PreparingFails : public Preparing, public testing::WithParamInterface<DecryptFailure> {};

TEST_P(PreparingFails, SaysWhy)
{
    device.decrypt.exit(*device, GetParam().status);
    device.settle();
    EXPECT_SCREEN(*device, GetParam().golden);
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().message(GetParam().message).screen(), GetParam().golden));
    EXPECT_EQ(device->standardOutput(), "Starting updater...\nA command failed...\n");
}

INSTANTIATE_TEST_SUITE_P(
    Status, PreparingFails,
    testing::Values(DecryptFailure{1, "Failed: Unable to access the USB drive.", "failed_no_access"},
                    DecryptFailure{2, "Failed: Firmware file \"tonecrate.fw\" not found.", "failed_not_found"},
                    DecryptFailure{3, "Failed: Firmware file is corrupt.", "failed_corrupt"}),
    [](const auto& test) { return "Is" + std::to_string(test.param.status); });

TEST_F(Preparing, KeepsItsTextWhenTheScriptFailsInAnUnknownWay)
{
    device.decrypt.print(*device, "SHOW: the last word\n");
    device.settle();
    const sim::Screen before = device->screen();
    device.decrypt.exit(*device, 4);
    device->run(5000);
    // The picture is not even drawn again: the wheel stands still where it was.
    EXPECT_EQ(device->screen(), before);
    EXPECT_EQ(device->standardOutput(), "Starting updater...\nA command failed...\n");
}

TEST_F(Preparing, TakesACommandThatASignalKilledForASuccess)
{
    device.setVersions("1.0", "2.0");
    device.decrypt.die(*device);
    device.settle();
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().menu(true, Selection::None).screen(), "killed"));
}

TEST_F(Preparing, WithAMissingScriptStopsUnderItsHeader)
{
    TestDevice other;
    other.writeFile("dev/sda", "");
    fs::remove(other.root() / "usr/sbin/decrypt.sh");
    other.switchOn();
    other->runTo(501);
    other->awaitScriptEnd();
    other->run(1000);
    EXPECT_TRUE(sameScreen(other->screen(), ScreenPainter().message("Preparing new firmware...").screen(), "missing"));
    EXPECT_EQ(other->standardOutput(), "Starting updater...\nA command failed...\n");
    EXPECT_TRUE(other.isHealthy());
}

class Menu : public SystemTest {};

TEST_F(Menu, OffersBothWithNothingSelected)
{
    device.toMenu();
    EXPECT_SCREEN(*device, "menu");
    device.turn(1);
    EXPECT_SCREEN(*device, "menu_factory_selected");
    device.turn(1);
    EXPECT_SCREEN(*device, "menu_update_selected");
}

struct InstalledVersion {
    const char* name;
    const char* contents; ///< of the version file; null for no file
    bool offersUpdate;
};

class MenuWith : public SystemTest, public testing::WithParamInterface<InstalledVersion> {};

TEST_P(MenuWith, OffersTheUpdateOnlyWhenSomethingIsInstalled)
{
    device.setVersions("", "2.0");
    if (GetParam().contents == nullptr) {
        fs::remove(device.root() / "tmp/fw/version.old.txt");
    } else {
        device.writeFile("tmp/fw/version.old.txt", GetParam().contents);
    }
    device.toPreparing();
    device.decrypt.exit(*device, 0);
    device.settle();
    device.turn(-1);
    EXPECT_TRUE(
        sameScreen(device->screen(),
                   ScreenPainter()
                       .menu(GetParam().offersUpdate, GetParam().offersUpdate ? Selection::Second : Selection::First)
                       .screen(),
                   GetParam().name));
}

INSTANTIATE_TEST_SUITE_P(InstalledVersion, MenuWith,
                         testing::Values(InstalledVersion{"Missing", nullptr, false},
                                         InstalledVersion{"Empty", "", false},
                                         InstalledVersion{"WhiteSpace", " \n\t \n", false},
                                         InstalledVersion{"AWord", "1.0", true},
                                         InstalledVersion{"AWordBehindWhiteSpace", "\n\n  1.0", true},
                                         InstalledVersion{"NotText", "\x01\xff", true}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(Menu, WithoutAnInstalledVersionHasOnlyTheFactoryReset)
{
    device.toMenu("", "2.0");
    EXPECT_SCREEN(*device, "menu_without_update");
    device.turn(1);
    device.turn(1); // the only one stays selected
    device.click();
    EXPECT_TRUE(sameScreen(device->screen(),
                           ScreenPainter().message(factoryQuestion("2.0")).dialogButtons(Selection::First).screen(),
                           "only_factory"));
}

TEST_F(Menu, AVersionFileThatIsAFolderIsNoVersion)
{
    fs::create_directory(device.root() / "tmp/fw/version.old.txt");
    device.writeFile("tmp/fw/version.txt", "2.0");
    device.toPreparing();
    device.decrypt.exit(*device, 0);
    device.settle();
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().menu(false, Selection::None).screen(), "folder"));
}

class Dialog : public SystemTest {
protected:
    void expectDialog(const std::string& question, Selection selection, const std::string& name)
    {
        EXPECT_TRUE(
            sameScreen(device->screen(), ScreenPainter().message(question).dialogButtons(selection).screen(), name));
    }
};

TEST_F(Dialog, AsksBeforeAnUpdateWithNoPreselected)
{
    device.toUpdateDialog();
    EXPECT_SCREEN(*device, "dialog_update");
    expectDialog(updateQuestion("1.0", "2.0"), Selection::First, "dialog_update_painted");
}

TEST_F(Dialog, AsksBeforeAFactoryResetWithNoPreselected)
{
    device.toFactoryDialog();
    EXPECT_SCREEN(*device, "dialog_factory");
    expectDialog(factoryQuestion("2.0"), Selection::First, "dialog_factory_painted");
}

TEST_F(Dialog, NoLeadsBackToTheMenuWithNothingSelected)
{
    device.toUpdateDialog();
    device.click();
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().menu(true, Selection::None).screen(), "back"));
    EXPECT_EQ(device.format.calls(), "");
}

TEST_F(Dialog, TurnsBetweenNoAndYes)
{
    device.toUpdateDialog();
    device.turn(1);
    EXPECT_SCREEN(*device, "dialog_update_yes");
    device.turn(1);
    expectDialog(updateQuestion("1.0", "2.0"), Selection::First, "around_right");
    device.turn(-1);
    expectDialog(updateQuestion("1.0", "2.0"), Selection::Second, "around_left");
}

TEST_F(Dialog, ALongPressConfirmsNothing)
{
    device.toUpdateDialog();
    device.turn(1);
    device->press();
    device->run(3000);
    device->release();
    device->run(200);
    expectDialog(updateQuestion("1.0", "2.0"), Selection::Second, "long_press");
    EXPECT_EQ(device.format.calls(), "");
}

TEST_F(Dialog, CanBeChangedForTheOther)
{
    device.toUpdateDialog();
    device.click();
    device.turn(1);
    device.click();
    expectDialog(factoryQuestion("2.0"), Selection::First, "changed");
    device.turn(1);
    device.click();
    device.format.print(*device, "started");
    EXPECT_EQ(device.format.calls(), "1\n");
}

struct Version {
    const char* name;
    std::string contents;
    std::string word;
};

class DialogWith : public Dialog, public testing::WithParamInterface<Version> {};

TEST_P(DialogWith, ShowsTheFirstWordOfTheVersion)
{
    device.setVersions("1.0", GetParam().contents);
    device.toPreparing();
    device.decrypt.exit(*device, 0);
    device.settle();
    device.turn(1);
    device.click();
    expectDialog(factoryQuestion(GetParam().word), Selection::First, GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(NewVersion, DialogWith,
                         testing::Values(Version{"Plain", "2.0.1\n", "2.0.1"},
                                         Version{"FirstWordOnly", "2.0 beta\nmore", "2.0"},
                                         Version{"BehindWhiteSpace", "\r\n\t 2.0", "2.0"}, Version{"Empty", "", ""},
                                         Version{"NotAscii", "2.0-\xc3\xa9\x7f\x01", "2.0-\xc3\xa9\x7f\x01"},
                                         Version{"Degree", "20\x80", "20\x80"},
                                         Version{"ZeroByte", std::string("2\0x", 3), std::string("2\0x", 3)},
                                         Version{"Long", std::string(300, 'v'), std::string(300, 'v')},
                                         Version{"Huge", std::string(3000000, 'w'), std::string(3000000, 'w')}),
                         [](const auto& test) { return std::string(test.param.name); });

/// Both operations; the parameter tells whether it is the factory reset.
class Working : public SystemTest, public testing::WithParamInterface<bool> {
protected:
    [[nodiscard]] bool isReset() const { return GetParam(); }
    [[nodiscard]] std::string golden(const std::string& name) const
    {
        return name + (isReset() ? "_reset" : "_update");
    }
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
    device->runTo(device->iteration() / 142 * 142 + 142 + 60);
    const sim::Screen formatting = device->screen();
    bool isShown = false;
    for (int frame = 0; frame < 8; ++frame) {
        isShown |=
            formatting == ScreenPainter().message(std::string(updatingHeader) + "Formatting 50%").wheel(frame).screen();
    }
    EXPECT_TRUE(isShown);
    device.format.exit(*device, 0);
    device.settle();
    EXPECT_EQ(device->standardOutput(), "Starting updater...\nStarted install.sh\n");
    device.install.print(*device, "SHOW: Copying 3 of 7\n");
    device.settle();
    EXPECT_EQ(device.install.calls(), "\n"); // once, without an argument
    isShown = false;
    for (int frame = 0; frame < 8; ++frame) {
        isShown |= device->screen() ==
                   ScreenPainter().message(std::string(updatingHeader) + "Copying 3 of 7").wheel(frame).screen();
    }
    EXPECT_TRUE(isShown);
}

TEST_P(Working, EndsWithEverythingDone)
{
    device.toInstalling(isReset());
    device.install.exit(*device, 0);
    device.settle();
    EXPECT_SCREEN(*device, "done");
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().message(doneMessage).screen(), "done_painted"));
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
    EXPECT_SCREEN(*device, golden("failed_format"));
    EXPECT_TRUE(sameScreen(device->screen(),
                           ScreenPainter()
                               .message("Failed: Unable to format internal memory.\n" +
                                        std::string(isReset() ? "This should not happen, please contact us."
                                                              : "You can try a factory reset."))
                               .screen(),
                           golden("failed_format_painted")));
    EXPECT_EQ(device->standardOutput(), "Starting updater...\nA command failed...\n");
    EXPECT_EQ(device.install.calls(), "");
}

TEST_P(Working, SaysWhatToDoWhenTheInstallationFails)
{
    device.toInstalling(isReset());
    device.install.exit(*device, 255);
    device.settle();
    EXPECT_SCREEN(*device, golden("failed_install"));
    EXPECT_TRUE(sameScreen(device->screen(),
                           ScreenPainter()
                               .message("Failed: Unable to install files.\n" +
                                        std::string(isReset() ? "This should not happen, please contact us."
                                                              : "You can try a factory reset."))
                               .screen(),
                           golden("failed_install_painted")));
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

TEST_F(Dialog, ConfirmingShowsTheHeaderAndTurnsTheWheelAtOnce)
{
    device.toUpdateDialog();
    device.turn(1);
    device->runTo(device->iteration() / 1136 * 1136 + 1136 + 10); // so that the wheel is still at its first frame
    device.click();
    EXPECT_SCREEN(*device, "updating");
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().message(updatingHeader).wheel(1).screen(), "updating2"));
}

} // namespace
