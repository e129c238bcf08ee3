// Tests of the update, from the drive that appears to the last message, one iteration at a time.
#include "updater/updater.h"

#include "tests/updater/screen_fixture.h"
#include "updater/screen_texts.h"
#include "updater/timing.h"

#include <filesystem>
#include <ostream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

const std::string preparing = texts::preparingHeader;
const std::string updating = texts::updatingHeader;
const std::string decrypt = "/usr/sbin/decrypt.sh /dev/sda1";
const std::string install = "/usr/sbin/install.sh";

class Flow : public ScreenTest {};

TEST(UpdateStates, AreNumberedInTheOrderOfTheFlow)
{
    using enum UpdateState;
    std::uint32_t number = 0;
    for (const UpdateState state : {WaitingForUsb, Preparing, Choosing, Formatting, Installing, Done, Failed}) {
        EXPECT_EQ(static_cast<std::uint32_t>(state), number++);
    }
}

// The wheel.

TEST_F(Flow, TheWheelTurnsByOneFrameInEveryPeriodAndWrapsAfterEight)
{
    for (int frame = 0; frame < 20; ++frame) {
        tick(static_cast<int>(frame == 0 ? wheelPeriod - 1 : wheelPeriod));
        EXPECT_EQ(shownWheel(), frame % 8) << "at iteration " << iteration;
    }
    EXPECT_EQ(iteration, 20U * wheelPeriod - 1);
}

TEST_F(Flow, WaitingNeedsARedrawOnlyWhenTheWheelTurns)
{
    draw();
    for (std::uint64_t i = 1; i <= 3000; ++i) {
        tick();
        EXPECT_EQ(screen->needsRedraw(), i % wheelPeriod == 0) << i;
        if (screen->needsRedraw()) {
            draw();
        }
    }
}

// The drive.

struct DriveCase {
    std::uint64_t appears;
    std::uint64_t noticed;
};

void PrintTo(const DriveCase& drive, std::ostream* stream)
{
    *stream << drive.appears << ", " << drive.noticed;
}

class FlowDrive : public Flow, public testing::WithParamInterface<DriveCase> {};

TEST_P(FlowDrive, IsNoticedAtTheNextMultipleOf501)
{
    const auto [appears, noticed] = GetParam();
    tickTo(appears - 1);
    plugDrive();
    script(decrypt, {nothingNow}, 0);
    tickTo(noticed - 1);
    EXPECT_EQ(screen->getState(), UpdateState::WaitingForUsb);
    tick();
    EXPECT_EQ(screen->getState(), UpdateState::Preparing);
}

INSTANTIATE_TEST_SUITE_P(That, FlowDrive,
                         testing::Values(DriveCase{1, 501}, DriveCase{300, 501}, DriveCase{501, 501},
                                         DriveCase{502, 1002}, DriveCase{600, 1002}, DriveCase{1002, 1002},
                                         DriveCase{1003, 1503}, DriveCase{50000, 50100}),
                         [](const auto& name) { return "AppearsAt" + std::to_string(name.param.appears); });

TEST_F(Flow, TheDriveIsLookedForOnceIn501IterationsAndItsPartitionOnlyWhenItIsThere)
{
    tickTo(5010);
    EXPECT_EQ(calls.lookUps("/dev/sda"), 10U);
    EXPECT_EQ(calls.lookUps("/dev/sda1"), 0U);
}

TEST_F(Flow, TheDriveIsNeverLookedForAgainOnceItWasFound)
{
    startPreparing({nothingNow, nothingNow}, 0);
    tickTo(5000);
    EXPECT_EQ(calls.lookUps("/dev/sda"), 1U);
    EXPECT_EQ(calls.lookUps("/dev/sda1"), 1U);
}

TEST_F(Flow, ADriveThatIsGoneAgainAtTheCheckIsNotNoticed)
{
    plugDrive();
    tickTo(500);
    calls.removeFile("/dev/sda");
    tickTo(1001);
    EXPECT_EQ(screen->getState(), UpdateState::WaitingForUsb);
}

TEST_F(Flow, ThePartitionIsHandedToTheDecryptScriptWhenThereIsOne)
{
    startPreparing({nothingNow}, 0);
    EXPECT_THAT(calls.takeLog(), testing::Contains("run /usr/sbin/decrypt.sh /dev/sda1"));
}

TEST_F(Flow, ADriveWithoutAPartitionTableIsHandedOverItself)
{
    plugDrive(false);
    script("/usr/sbin/decrypt.sh /dev/sda", {nothingNow}, 0);
    calls.takeLog();
    tickTo(501);
    EXPECT_THAT(calls.takeLog(), ElementsAre("run /usr/sbin/decrypt.sh /dev/sda"));
}

TEST_F(Flow, APartitionWithoutADriveIsNotNoticed)
{
    calls.placeFile("/dev/sda1", folder.path().string());
    tickTo(2000);
    EXPECT_EQ(screen->getState(), UpdateState::WaitingForUsb);
}

TEST_F(Flow, AnyTypeOfExistingFileIsADrive)
{
    folder.write("file", "");
    fs::create_directory(folder / "directory");
    fs::create_symlink(folder / "file", folder / "link");
    for (const char* name : {"file", "directory", "link"}) {
        build();
        calls.placeFile("/dev/sda", (folder / name).string());
        script("/usr/sbin/decrypt.sh /dev/sda", {nothingNow}, 0);
        tickTo(501);
        EXPECT_EQ(screen->getState(), UpdateState::Preparing) << name;
    }
}

TEST_F(Flow, ADanglingLinkAndAPathThroughAFileAreNoDrive)
{
    folder.write("file", "");
    fs::create_symlink(folder / "nowhere", folder / "dangling");
    for (const char* name : {"dangling", "file/below"}) {
        build();
        calls.placeFile("/dev/sda", (folder / name).string());
        tickTo(501);
        EXPECT_EQ(screen->getState(), UpdateState::WaitingForUsb) << name;
    }
}

TEST_F(Flow, AnErrorOtherThanAMissingFileEndsTheUpdateOfTheScreen)
{
    fs::create_symlink(folder / "loop", folder / "loop"); // "too many levels"
    calls.placeFile("/dev/sda", (folder / "loop").string());
    tickTo(500);
    EXPECT_THROW(tick(), fs::filesystem_error);

    build();
    plugDrive(false);
    calls.placeFile("/dev/sda1", (folder / "loop").string());
    tickTo(500);
    EXPECT_THROW(tick(), fs::filesystem_error);
}

TEST_F(Flow, AFoundDriveShowsThePreparingHeaderAndStartsTheWheelAnew)
{
    tickTo(450);
    EXPECT_EQ(shownWheel(), static_cast<int>(450 / wheelPeriod));
    startPreparing({nothingNow}, 0);
    EXPECT_EQ(message().getText(), preparing);
    EXPECT_TRUE(screen->needsRedraw());
    EXPECT_EQ(shownWheel(), 0);
    EXPECT_EQ(visible(), "title message");
    EXPECT_EQ(calls.commandReads(), 1U) << "the script is polled in the same iteration";
}

// Progress.

struct ProgressCase {
    const char* name;
    std::string output;
    /// After one iteration; the header before it when it is empty.
    std::string shown;
};

void PrintTo(const ProgressCase& progress, std::ostream* stream)
{
    *stream << progress.name;
}

class FlowProgress : public Flow, public testing::WithParamInterface<ProgressCase> {};

TEST_P(FlowProgress, IsShownUnderTheHeader)
{
    startPreparing({nothingNow, {GetParam().output, 0}, nothingNow}, 0);
    draw();
    tick();
    EXPECT_EQ(message().getText(), GetParam().shown);
    EXPECT_EQ(screen->needsRedraw(), GetParam().shown != preparing || GetParam().output == "SHOW: \n");
}

INSTANTIATE_TEST_SUITE_P(
    Of, FlowProgress,
    testing::Values(ProgressCase{"AShowLine", "SHOW: 10%\n", preparing + "10%"},
                    ProgressCase{"AShowLineWithoutItsSpaceIsDropped", "SHOW:10%\n", preparing},
                    ProgressCase{"TheBarePrefixShowsTheHeaderAlone", "SHOW: \n", preparing},
                    ProgressCase{"ThePrefixWithoutItsSpaceIsDropped", "SHOW:\n", preparing},
                    ProgressCase{"AnotherLineIsDropped", "10%\n", preparing},
                    ProgressCase{"AnEmptyLineIsDropped", "\n", preparing},
                    ProgressCase{"LowerCaseIsDropped", "show: 10%\n", preparing},
                    ProgressCase{"AnIndentedLineIsDropped", " SHOW: 10%\n", preparing},
                    ProgressCase{"ALineWithoutItsLineFeedIsNotShownYet", "SHOW: 10%", preparing},
                    ProgressCase{"OnlyTheFirstPrefixIsTakenOff", "SHOW: SHOW: a\n", preparing + "SHOW: a"},
                    ProgressCase{"SpacesAndCarriageReturnAreKept", "SHOW:   a \r\n", preparing + "  a \r"},
                    ProgressCase{"OtherLinesBeforeAreSkipped", "a\nSHOW:b\n\nSHOW: c\n", preparing + "c"},
                    ProgressCase{"OnlyTheFirstOfTwoInOneIteration", "SHOW: a\nSHOW: b\n", preparing + "a"}),
    [](const auto& name) { return name.param.name; });

TEST_F(Flow, TwoShowLinesOfOneReadAreShownInTwoIterations)
{
    startPreparing({{"SHOW: a\nx\nSHOW: b\n", 0}, nothingNow, nothingNow, nothingNow}, 0);
    EXPECT_EQ(message().getText(), preparing + "a");
    tick();
    EXPECT_EQ(message().getText(), preparing + "b");
    tick();
    EXPECT_EQ(message().getText(), preparing + "b");
}

TEST_F(Flow, LinesThatWaitWhenTheScriptEndsAreLost)
{
    startPreparing({{"SHOW: a\nSHOW: b\n", 0}}, 4);
    EXPECT_EQ(message().getText(), preparing + "a");
    tick(3);
    EXPECT_EQ(message().getText(), preparing + "a");
}

TEST_F(Flow, LinesThatWaitWhenTheFirmwareIsDecryptedAreNotShownInTheQuestion)
{
    startPreparing({{"SHOW: a\nSHOW: b\nSHOW: c\n", 0}}, 0);
    notify(askFactoryReset);
    const std::string question = message().getText();
    tick(3);
    EXPECT_EQ(message().getText(), question);
}

TEST_F(Flow, LinesThatWaitWhenTheWorkIsDoneAreNotShownAfterIt)
{
    startWork(false, {}, 0);
    script(install, {{"SHOW: a\nSHOW: b\nSHOW: c\n", 0}}, 0);
    tick(5);
    EXPECT_EQ(message().getText(), texts::done);
}

TEST_F(Flow, TheWheelTurnsAndTheStateStaysWhileAScriptRuns)
{
    startPreparing(std::deque<ScriptedRead>(1000, nothingNow), 0);
    const std::uint64_t nextStep = (501 / wheelPeriod + 1) * wheelPeriod;
    tickTo(nextStep - 1);
    EXPECT_EQ(shownWheel(), 0);
    tickTo(nextStep);
    EXPECT_EQ(shownWheel(), 1);
    tickTo(1400);
    EXPECT_EQ(screen->getState(), UpdateState::Preparing);
    EXPECT_EQ(message().getText(), preparing);
}

// The end of the decrypt script.

struct DecryptCase {
    const char* name;
    int exitCode;
    std::string shown;
};

void PrintTo(const DecryptCase& decryption, std::ostream* stream)
{
    *stream << "exit " << decryption.exitCode;
}

class FlowDecrypt : public Flow, public testing::WithParamInterface<DecryptCase> {};

TEST_P(FlowDecrypt, FailureShowsItsMessageAndIsFinal)
{
    EXPECT_EQ(printedBy([this] {
                  startPreparing({{"SHOW: 42%\n", 0}}, GetParam().exitCode);
              }),
              "A command failed...\n");
    EXPECT_EQ(message().getText(), GetParam().shown);
    EXPECT_EQ(screen->getState(), UpdateState::Failed);
    EXPECT_EQ(visible(), "title message");
    EXPECT_EQ(shownWheel(), -1) << "the wheel stops";
    EXPECT_EQ(calls.takeLog().back(), "exit status taken");
}

INSTANTIATE_TEST_SUITE_P(Exit, FlowDecrypt,
                         testing::Values(DecryptCase{"1IsAnInaccessibleDrive", 1, texts::driveFailed},
                                         DecryptCase{"2IsAMissingFile", 2, texts::firmwareNotFound},
                                         DecryptCase{"3IsACorruptFile", 3, texts::firmwareCorrupt},
                                         DecryptCase{"4KeepsTheLastProgressText", 4, preparing + "42%"},
                                         DecryptCase{"127KeepsTheLastProgressText", 127, preparing + "42%"},
                                         DecryptCase{"255KeepsTheLastProgressText", 255, preparing + "42%"}),
                         [](const auto& name) { return name.param.name; });

TEST_F(Flow, DecryptExit4BeforeAnyProgressKeepsTheHeader)
{
    startPreparing({nothingNow}, 4);
    tick();
    EXPECT_EQ(screen->getState(), UpdateState::Failed);
    EXPECT_EQ(message().getText(), preparing);
}

TEST_F(Flow, ADecryptScriptThatASignalKilledCountsAsSuccess)
{
    plugDrive();
    calls.script(decrypt, {"kill -9 $$", {{"", 0}}});
    EXPECT_EQ(printedBy([this] { tickTo(501); }), "");
    EXPECT_EQ(screen->getState(), UpdateState::Choosing);
}

TEST_F(Flow, AnExitStatusThatCannotBeTakenIsAFailure)
{
    calls.failExitStatus();
    startPreparing({}, 0);
    EXPECT_EQ(screen->getState(), UpdateState::Failed);
}

TEST_F(Flow, DecryptExit0ShowsTheMenuWithoutAWordAndEndsTheCommand)
{
    EXPECT_EQ(printedBy([this] { reachMenu("1.0", "1.1"); }), "");
    EXPECT_EQ(visible(), "title factory update");
    EXPECT_EQ(shownWheel(), -1);
    EXPECT_TRUE(screen->getState() == UpdateState::Choosing);
    EXPECT_EQ(calls.takeLog().back(), "exit status taken");
    tick(5000);
    EXPECT_EQ(visible(), "title factory update") << "the menu stays";
    EXPECT_THAT(calls.takeLog(), IsEmpty());
}

// Versions and questions.

TEST_F(Flow, WithoutAnOldVersionFileOnlyTheFactoryResetIsOfferedAndNamesTheNewVersion)
{
    placeVersion("/tmp/fw/version.txt", "2.0\n");
    startPreparing({}, 0);
    EXPECT_EQ(visible(), "title factory");
    notify(askFactoryReset);
    EXPECT_EQ(message().getText(), texts::factoryQuestion("2.0"));
}

TEST_F(Flow, TheUpdateQuestionWithoutAnOldVersionIsBuiltWithoutAFullStop)
{
    placeVersion("/tmp/fw/version.txt", "2.0\n");
    startPreparing({}, 0);
    notify(askUpdate);
    EXPECT_EQ(message().getText(), "I will update the firmware to 2.0\n\nDo not unplug the power during the "
                                   "process.\n\nDo you want to continue?");
}

TEST_F(Flow, BothQuestionsAreBuiltWithoutAnyVersionFile)
{
    startPreparing({}, 0);
    EXPECT_EQ(visible(), "title factory");
    notify(askFactoryReset);
    EXPECT_EQ(message().getText(), texts::factoryQuestion(""));
    notify(askUpdate);
    EXPECT_EQ(message().getText(), texts::updateQuestion("", ""));
}

struct VersionCase {
    const char* name;
    std::string contents;
    std::string word;
};

void PrintTo(const VersionCase& version, std::ostream* stream)
{
    *stream << version.name;
}

class FlowVersion : public Flow, public testing::WithParamInterface<VersionCase> {};

TEST_P(FlowVersion, IsTheFirstWordOfItsFile)
{
    reachMenu(GetParam().contents, GetParam().contents);
    EXPECT_EQ(updateButton().isVisible(), !GetParam().word.empty());
    notify(askFactoryReset);
    EXPECT_EQ(message().getText(), texts::factoryQuestion(GetParam().word));
    if (!GetParam().word.empty()) {
        notify(askUpdate);
        EXPECT_EQ(message().getText(), texts::updateQuestion(GetParam().word, GetParam().word));
    }
}

INSTANTIATE_TEST_SUITE_P(
    In, FlowVersion,
    testing::Values(VersionCase{"APlainFile", "1.2.3", "1.2.3"}, VersionCase{"AFileWithALineEnd", "1.2.3\n", "1.2.3"},
                    VersionCase{"AFileWithMoreWords", "1.2.3 beta\nmore\n", "1.2.3"},
                    VersionCase{"AFileThatBeginsWithWhiteSpace", " \t\r\n\n 1.2.3\n", "1.2.3"},
                    VersionCase{"AnEmptyFile", "", ""}, VersionCase{"AFileOfWhiteSpace", " \n\t \n", ""},
                    VersionCase{"AFileOfOneLongWord", std::string(100000, 'v'), std::string(100000, 'v')}),
    [](const auto& name) { return name.param.name; });

TEST_F(Flow, AVersionFileThatCannotBeReadGivesAnEmptyVersion)
{
    calls.placeFile("/tmp/fw/version.old.txt", folder.path().string()); // opens, but does not read
    placeVersion("/tmp/fw/version.txt", "2.0");
    startPreparing({}, 0);
    EXPECT_EQ(visible(), "title factory");
}

// Formatting and installing.

struct WorkCase {
    bool factoryReset;
    const char* command;
};

void PrintTo(const WorkCase& work, std::ostream* stream)
{
    *stream << work.command;
}

class FlowWork : public Flow, public testing::WithParamInterface<WorkCase> {};

TEST_P(FlowWork, StartsTheFormatScriptWithItsDigitAndShowsTheUpdatingHeader)
{
    reachMenu("1.0", "1.1");
    notify(GetParam().factoryReset ? askFactoryReset : askUpdate);
    draw();
    calls.takeLog();
    script(GetParam().command, {nothingNow}, 0);
    notify(confirm);

    EXPECT_THAT(calls.takeLog(), ElementsAre("run " + std::string(GetParam().command)));
    EXPECT_EQ(screen->getState(), UpdateState::Formatting);
    EXPECT_EQ(message().getText(), updating);
    EXPECT_EQ(visible(), "title message");
    EXPECT_TRUE(screen->isDirty());
    EXPECT_EQ(shownWheel(), 0);
}

TEST_P(FlowWork, RunsFormatAndInstallAndEndsOnTheDoneMessage)
{
    startWork(GetParam().factoryReset, {{"SHOW: formatting\n", 0}, nothingNow, nothingNow}, 0);
    calls.takeLog();
    tick();
    EXPECT_EQ(message().getText(), updating + "formatting");
    tick();
    EXPECT_EQ(screen->getState(), UpdateState::Formatting);

    script(install, {nothingNow, {"SHOW: installing\n", 0}, nothingNow}, 0);
    EXPECT_EQ(printedBy([this] { tick(); }), "Started install.sh\n");
    EXPECT_EQ(screen->getState(), UpdateState::Installing);
    EXPECT_EQ(message().getText(), updating + "formatting");
    EXPECT_THAT(calls.takeLog(), ElementsAre("exit status taken", "run /usr/sbin/install.sh"));
    EXPECT_EQ(calls.commandReads(), 0U) << "polled from the next iteration on";
    tick(2);
    EXPECT_EQ(message().getText(), updating + "installing");
    EXPECT_GE(shownWheel(), 0);

    EXPECT_EQ(printedBy([this] { tick(); }), "Everything done");
    EXPECT_EQ(screen->getState(), UpdateState::Done);
    EXPECT_EQ(message().getText(), texts::done);
    EXPECT_TRUE(screen->isDirty());
    EXPECT_EQ(shownWheel(), -1);
    EXPECT_EQ(visible(), "title message");
    EXPECT_THAT(calls.takeLog(), ElementsAre("exit status taken"));
}

TEST_P(FlowWork, KeepsTheWheelTurningThroughBothScripts)
{
    startWork(GetParam().factoryReset, std::deque<ScriptedRead>(200, nothingNow), 0);
    script(install, std::deque<ScriptedRead>(200, nothingNow), 0);
    tickTo((501 / wheelPeriod + 2) * wheelPeriod);
    EXPECT_EQ(shownWheel(), 2);
    EXPECT_EQ(screen->getState(), UpdateState::Installing);
}

INSTANTIATE_TEST_SUITE_P(Of, FlowWork,
                         testing::Values(WorkCase{false, "/usr/sbin/format.sh 0"},
                                         WorkCase{true, "/usr/sbin/format.sh 1"}),
                         [](const auto& name) { return name.param.factoryReset ? "AFactoryReset" : "AnUpdate"; });

struct FailureCase {
    const char* name;
    bool factoryReset;
    bool inInstall;
    const char* shown;
};

void PrintTo(const FailureCase& failure, std::ostream* stream)
{
    *stream << failure.name;
}

class FlowFailure : public Flow, public testing::WithParamInterface<FailureCase> {};

TEST_P(FlowFailure, ShowsItsWordingWhateverTheStatusAndIsFinal)
{
    for (const int exitCode : {1, 2, 3, 4, 255}) {
        build();
        startWork(GetParam().factoryReset, {}, GetParam().inInstall ? 0 : exitCode);
        if (GetParam().inInstall) {
            script(install, {}, exitCode);
            tick();
        }
        EXPECT_EQ(printedBy([this] { tick(); }), "A command failed...\n");
        EXPECT_EQ(message().getText(), GetParam().shown) << exitCode;
        EXPECT_EQ(screen->getState(), UpdateState::Failed);
        EXPECT_EQ(visible(), "title message");
        EXPECT_TRUE(screen->needsRedraw());
        EXPECT_EQ(shownWheel(), -1);
        EXPECT_EQ(calls.takeLog().back(), "exit status taken");
    }
}

INSTANTIATE_TEST_SUITE_P(Of, FlowFailure,
                         testing::Values(FailureCase{"FormatInAnUpdate", false, false, texts::updateFormatFailed},
                                         FailureCase{"FormatInAFactoryReset", true, false, texts::resetFormatFailed},
                                         FailureCase{"InstallInAnUpdate", false, true, texts::updateInstallFailed},
                                         FailureCase{"InstallInAFactoryReset", true, true, texts::resetInstallFailed}),
                         [](const auto& name) { return name.param.name; });

TEST_F(Flow, ASecondConfirmationEndsTheRunningCommandBeforeItStartsTheNext)
{
    startPreparing({nothingNow}, 0);
    script("/usr/sbin/format.sh 0", {nothingNow}, 0);
    draw();
    calls.takeLog();
    notify(confirm);
    EXPECT_THAT(calls.takeLog(), ElementsAre("exit status taken", "run /usr/sbin/format.sh 0"));
    EXPECT_TRUE(screen->isDirty()) << "also when no button had to be hidden";
}

TEST_F(Flow, DestroyingTheScreenEndsTheRunningCommandAndClosesTheBus)
{
    startPreparing({nothingNow}, 0);
    calls.takeLog();
    screen.reset();
    EXPECT_THAT(calls.takeLog(), ElementsAre("exit status taken", "close /dev/i2c-22"));
}

// The end.

void expectFinal(SystemCalls& calls, Updater& screen, const std::function<void(int)>& tick)
{
    const UpdateState state = screen.getState();
    screen.drawTree();
    calls.takeLog();
    for (const InputEvent event : {InputEvent::RotateLeft, InputEvent::RotateRight, InputEvent::Press,
                                   InputEvent::Release, InputEvent::LongPress, InputEvent::Release}) {
        screen.onInput(event);
        tick(600);
        EXPECT_EQ(screen.getState(), state);
    }
    EXPECT_FALSE(screen.needsRedraw());
    EXPECT_THAT(calls.takeLog(), IsEmpty());
    EXPECT_EQ(calls.lookUps("/dev/sda"), 1U);
}

TEST_F(Flow, NothingLeadsOutOfDone)
{
    startWork(false, {}, 0);
    script(install, {}, 0);
    tick(2);
    ASSERT_EQ(screen->getState(), UpdateState::Done);
    expectFinal(calls, *screen, [this](int count) { tick(count); });
}

TEST_F(Flow, NothingLeadsOutOfAFailure)
{
    startPreparing({}, 1);
    ASSERT_EQ(screen->getState(), UpdateState::Failed);
    expectFinal(calls, *screen, [this](int count) { tick(count); });
}

TEST_F(Flow, NothingLeadsOutOfAFailedWork)
{
    startWork(true, {}, 1);
    tick();
    ASSERT_EQ(screen->getState(), UpdateState::Failed);
    expectFinal(calls, *screen, [this](int count) { tick(count); });
}

TEST_F(Flow, ACommandThatCannotBeStartedEndsTheUpdateOfTheScreen)
{
    plugDrive();
    calls.failCommandStart();
    tickTo(500);
    EXPECT_THAT([this] { tick(); }, testing::ThrowsMessage<std::runtime_error>("popen() failed"));
}

TEST_F(Flow, AnInstallScriptThatCannotBeStartedEndsTheUpdateOfTheScreen)
{
    startWork(false, {}, 0);
    calls.failCommandStart();
    EXPECT_THAT([this] { tick(); }, testing::ThrowsMessage<std::runtime_error>("popen() failed"));
}

TEST_F(Flow, AFormatScriptThatCannotBeStartedEndsTheInput)
{
    reachMenu("1.0", "1.1");
    notify(askUpdate);
    screen->onInput(InputEvent::RotateRight);
    calls.failCommandStart();
    EXPECT_THAT([this] { screen->onInput(InputEvent::Release); },
                testing::ThrowsMessage<std::runtime_error>("popen() failed"));
}

TEST_F(Flow, ShowsWhatEveryCommandSaysFromTheDriveToTheEnd)
{
    plugDrive();
    script(decrypt, {{"SHOW: 10%\nnoise\n", 0}, nothingNow, {"SHOW: 20%\n", 0}, nothingNow}, 0);
    script("/usr/sbin/format.sh 1", {{"SHOW: formatting\n", 0}, nothingNow}, 0);
    script(install, {{"SHOW: copying\n", 0}, nothingNow}, 5);
    std::vector<std::string> shown;
    const auto runWhile = [&](UpdateState state) {
        while (screen->getState() == state) {
            tick();
            if (shown.empty() || shown.back() != message().getText()) {
                shown.push_back(message().getText());
            }
        }
    };
    runWhile(UpdateState::WaitingForUsb);
    runWhile(UpdateState::Preparing);
    notify(askFactoryReset);
    notify(confirm);
    runWhile(UpdateState::Formatting);
    runWhile(UpdateState::Installing);
    EXPECT_EQ(screen->getState(), UpdateState::Failed);
    EXPECT_THAT(shown, ElementsAre(texts::waiting, preparing + "10%", preparing + "20%", updating + "formatting",
                                   updating + "copying", texts::resetInstallFailed));
}

} // namespace
