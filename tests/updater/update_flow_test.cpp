// Tests of the update, from the detection of the drive to the last message, one iteration at a time.
#include "updater/updater.h"

#include "tests/updater/screen_fixture.h"

#include <filesystem>
#include <ostream>

namespace {

namespace fs = std::filesystem;

class Flow : public ScreenTest {
protected:
    static std::string preparing(const std::string& progress = {}) { return texts::preparingHeader + progress; }
    static std::string updating(const std::string& progress = {}) { return texts::updatingHeader + progress; }

    void expectFailed(const std::string& text)
    {
        EXPECT_EQ(message(), text);
        EXPECT_EQ(screen->state, UpdateState::Failed);
        EXPECT_EQ(visible(), "title message");
        EXPECT_EQ(screen->wheelFrame, -1);
        EXPECT_EQ(calls.takeLog().back(), "exit status taken");
    }
};

TEST(UpdateState, EnumeratorsAreInFlowOrder)
{
    using enum UpdateState;
    std::uint32_t number = 0;
    for (const UpdateState state : {WaitingForUsb, Preparing, Choosing, Formatting, Installing, Done, Failed}) {
        EXPECT_EQ(static_cast<std::uint32_t>(state), number++);
    }
}

// Compares with literal values, because most other tests use the constants.
TEST(Periods, WheelTurnsEvery142AndDriveIsCheckedEvery501Iterations)
{
    EXPECT_EQ(wheelPeriod, 142U);
    EXPECT_EQ(usbCheckPeriod, 501U);
}

// The wheel.

TEST_F(Flow, TheWheelAdvancesAtEveryMultipleOfItsPeriodAndRepeatsAfterEightFrames)
{
    for (int frame = 0; frame < 20; ++frame) {
        tickTo(static_cast<std::uint64_t>(frame + 1) * wheelPeriod - 1);
        EXPECT_EQ(screen->wheelFrame, frame % 8) << "at iteration " << iteration;
    }
}

TEST_F(Flow, WaitingNeedsARedrawOnlyWhenTheWheelTurns)
{
    draw();
    for (std::uint64_t i = 1; i <= 20 * wheelPeriod; ++i) {
        tick();
        ASSERT_EQ(screen->needsRedraw(), i % wheelPeriod == 0) << i;
        if (screen->needsRedraw()) {
            draw();
        }
    }
}

// The drive.

TEST_F(Flow, ADriveIsDetectedAtTheNextMultipleOfTheCheckPeriod)
{
    struct Case {
        std::uint64_t appears, detected; // `appears` in iterations, `detected` in check periods
    };
    const Case cases[] = {{1, 1}, {300, 1}, {501, 1}, {502, 2}, {600, 2}, {1002, 2}, {1003, 3}, {50000, 100}};
    for (const auto& [appears, detected] : cases) {
        SCOPED_TRACE(appears);
        calls.removeFile("/dev/sda");
        build();
        tickTo(appears - 1);
        plugDrive();
        script(decrypt, {nothingNow}, 0);
        tickTo(detected * usbCheckPeriod - 1);
        EXPECT_EQ(screen->state, UpdateState::WaitingForUsb);
        tick();
        EXPECT_EQ(screen->state, UpdateState::Preparing);
    }
}

TEST_F(Flow, ADriveRemovedBeforeTheCheckIsNotDetected)
{
    plugDrive();
    tickTo(usbCheckPeriod - 1);
    calls.removeFile("/dev/sda"); // the partition remains
    tickTo(2 * usbCheckPeriod - 1);
    EXPECT_EQ(screen->state, UpdateState::WaitingForUsb);
}

TEST_F(Flow, ADetectedDriveIsNotDetectedAgain)
{
    startPreparing(std::deque<ScriptedRead>(2000, nothingNow), 0);
    calls.takeLog();
    tickTo(3 * usbCheckPeriod);
    EXPECT_EQ(calls.takeLog(), Log());
    EXPECT_EQ(screen->state, UpdateState::Preparing);
}

TEST_F(Flow, TheDecryptScriptReceivesThePartitionOrTheDriveIfThereIsNoPartition)
{
    for (const bool hasPartition : {false, true}) {
        build();
        calls.takeLog();
        plugDrive(hasPartition);
        const std::string command = hasPartition ? decrypt : "/usr/sbin/decrypt.sh /dev/sda";
        script(command, {nothingNow}, 0);
        tickTo(usbCheckPeriod);
        EXPECT_EQ(calls.takeLog(), Log({"run " + command}));
    }
}

TEST_F(Flow, AFileOfAnyTypeIsDetectedAsADrive)
{
    folder.write("file", "");
    fs::create_directory(folder / "directory");
    fs::create_symlink(folder / "file", folder / "link");
    for (const char* name : {"file", "directory", "link"}) {
        build();
        calls.placeFile("/dev/sda", (folder / name).string());
        script("/usr/sbin/decrypt.sh /dev/sda", {nothingNow}, 0);
        tickTo(usbCheckPeriod);
        EXPECT_EQ(screen->state, UpdateState::Preparing) << name;
    }
}

TEST_F(Flow, ADanglingLinkOrAPathBelowAFileIsNotDetectedAsADrive)
{
    folder.write("file", "");
    fs::create_symlink(folder / "nowhere", folder / "dangling");
    for (const char* name : {"dangling", "file/below"}) {
        build();
        calls.placeFile("/dev/sda", (folder / name).string());
        tickTo(usbCheckPeriod);
        EXPECT_EQ(screen->state, UpdateState::WaitingForUsb) << name;
    }
}

TEST_F(Flow, QueryingTheDriveThrowsOnAnErrorOtherThanAMissingFile)
{
    fs::create_symlink(folder / "loop", folder / "loop"); // "too many levels of symbolic links"
    for (const char* path : {"/dev/sda1", "/dev/sda"}) {
        build();
        plugDrive(false);
        calls.placeFile(path, (folder / "loop").string());
        tickTo(usbCheckPeriod - 1);
        EXPECT_THROW(tick(), fs::filesystem_error) << path;
    }
}

TEST_F(Flow, DetectionRestartsTheWheelAndShowsTheHeaderAndPollsTheScript)
{
    tickTo(usbCheckPeriod - 1);
    EXPECT_GT(screen->wheelFrame, 0);
    draw();
    startPreparing({nothingNow}, 0);
    EXPECT_EQ(message(), preparing());
    EXPECT_TRUE(screen->needsRedraw());
    EXPECT_EQ(screen->wheelFrame, 0);
    EXPECT_EQ(visible(), "title message");
    EXPECT_EQ(calls.commandReads(), 1U);
}

// Progress.

struct ProgressCase {
    const char* name;
    std::string output;
    /// The progress that the iteration shows; no value if it shows no progress.
    std::optional<std::string> shown;
};

void PrintTo(const ProgressCase& progress, std::ostream* stream)
{
    *stream << progress.name;
}

class FlowProgress : public Flow, public testing::WithParamInterface<ProgressCase> {};

TEST_P(FlowProgress, ProgressIsShownAfterTheHeader)
{
    startPreparing({nothingNow, {GetParam().output, 0}, nothingNow}, 0);
    draw();
    tick();
    EXPECT_EQ(message(), preparing(GetParam().shown.value_or("")));
    EXPECT_EQ(screen->needsRedraw(), GetParam().shown.has_value());
}

INSTANTIATE_TEST_SUITE_P(For, FlowProgress,
                         testing::Values(ProgressCase{"AShowLine", "SHOW: 10%\n", "10%"},
                                         ProgressCase{"ThePrefixAloneShowsOnlyTheHeader", "SHOW: \n", ""},
                                         ProgressCase{"AShowLineWithoutItsSpaceIsIgnored", "SHOW:10%\n", {}},
                                         ProgressCase{"ThePrefixWithoutItsSpaceIsIgnored", "SHOW:\n", {}},
                                         ProgressCase{"ALineWithoutThePrefixIsIgnored", "10%\n", {}},
                                         ProgressCase{"AnEmptyLineIsIgnored", "\n", {}},
                                         ProgressCase{"ALowerCasePrefixIsIgnored", "show: 10%\n", {}},
                                         ProgressCase{"AnIndentedLineIsIgnored", " SHOW: 10%\n", {}},
                                         ProgressCase{"ALineWithoutItsLineFeedIsNotShownYet", "SHOW: 10%", {}},
                                         ProgressCase{"OnlyTheFirstPrefixIsRemoved", "SHOW: SHOW: a\n", "SHOW: a"},
                                         ProgressCase{"SpacesAndCarriageReturnAreKept", "SHOW:   a \r\n", "  a \r"},
                                         ProgressCase{"LinesBeforeAShowLineAreSkipped", "a\nSHOW:b\n\nSHOW: c\n", "c"},
                                         ProgressCase{"OnlyTheFirstOfTwoLinesInOneIteration", "SHOW: a\nSHOW: b\n",
                                                      "a"}),
                         [](const auto& test) { return test.param.name; });

TEST_F(Flow, ShowLinesFromOneReadAreShownOnePerIteration)
{
    startPreparing({{"SHOW: a\nx\nSHOW: b\n", 0}, nothingNow, nothingNow, nothingNow}, 0);
    EXPECT_EQ(message(), preparing("a"));
    tick();
    EXPECT_EQ(message(), preparing("b"));
    tick();
    EXPECT_EQ(message(), preparing("b"));
}

TEST_F(Flow, QueuedLinesAreDiscardedWhenTheScriptEnds)
{
    const std::deque<ScriptedRead> output = {{"SHOW: a\nSHOW: b\nSHOW: c\n", 0}};
    startPreparing(output, 4);
    tick(3);
    EXPECT_EQ(message(), preparing("a"));

    build();
    startPreparing(output, 0);
    notify(askFactoryReset);
    const std::string question = message();
    tick(3);
    EXPECT_EQ(message(), question);
}

TEST_F(Flow, TheWheelTurnsAndTheStateIsUnchangedWhileAScriptRuns)
{
    startPreparing(std::deque<ScriptedRead>(1000, nothingNow), 0);
    const std::uint64_t nextTurn = (usbCheckPeriod / wheelPeriod + 1) * wheelPeriod;
    tickTo(nextTurn - 1);
    EXPECT_EQ(screen->wheelFrame, 0);
    tickTo(nextTurn + wheelPeriod);
    EXPECT_EQ(screen->wheelFrame, 2);
    EXPECT_EQ(screen->state, UpdateState::Preparing);
    EXPECT_EQ(message(), preparing());
}

// The end of the decrypt script.

TEST_F(Flow, AFailedDecryptScriptShowsTheMessageForItsExitCodeOrTheLastProgress)
{
    const std::pair<int, std::string> cases[] = {
        {1, texts::driveFailed}, {2, texts::firmwareNotFound}, {3, texts::firmwareCorrupt},
        {4, preparing("42%")},   {127, preparing("42%")},      {255, preparing("42%")},
    };
    for (const auto& [exitCode, text] : cases) {
        SCOPED_TRACE(exitCode);
        build();
        EXPECT_EQ(printedBy([this, code = exitCode] { startPreparing({{"SHOW: 42%\n", 0}}, code); }),
                  "A command failed...\n");
        expectFailed(text);
    }
}

TEST_F(Flow, TheMenuIsShownAfterDecryptionAndStays)
{
    EXPECT_EQ(printedBy([this] { reachMenu(); }), "");
    EXPECT_EQ(screen->wheelFrame, -1);
    EXPECT_EQ(calls.takeLog().back(), "exit status taken");
    tick(5000);
    EXPECT_EQ(visible(), "title factory update");
    EXPECT_EQ(calls.takeLog(), Log());
}

// Versions and questions.

TEST_F(Flow, WithoutVersionFilesTheQuestionsContainEmptyVersions)
{
    startPreparing({}, 0);
    EXPECT_EQ(visible(), "title factory");
    notify(askFactoryReset);
    EXPECT_EQ(message(), texts::factoryQuestion(""));
    notify(askUpdate);
    EXPECT_EQ(message(), texts::updateQuestion("", ""));
}

TEST_F(Flow, WithoutAnInstalledVersionTheUpdateQuestionHasNoFullStopAfterTheNewVersion)
{
    placeVersion("version.txt", "2.0\n");
    startPreparing({}, 0);
    notify(askUpdate); // cannot be reached by input, because the button is hidden
    EXPECT_TRUE(message().starts_with("I will update the firmware to 2.0\n\n")) << message();
    EXPECT_TRUE(texts::updateQuestion("1.0", "2.0").ends_with(message().substr(message().find("\n\n"))));
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

TEST_P(FlowVersion, TheVersionIsTheFirstWordOfTheFile)
{
    const std::string& word = GetParam().word;
    reachMenu(GetParam().contents, GetParam().contents);
    EXPECT_EQ(screen->updateButton.isVisible(), !word.empty());
    notify(askFactoryReset);
    EXPECT_EQ(message(), texts::factoryQuestion(word));
    notify(askUpdate);
    EXPECT_EQ(message(), texts::updateQuestion(word, word));
}

INSTANTIATE_TEST_SUITE_P(
    For, FlowVersion,
    testing::Values(VersionCase{"APlainFile", "1.2.3", "1.2.3"}, VersionCase{"AFileWithALineFeed", "1.2.3\n", "1.2.3"},
                    VersionCase{"AFileWithMoreWords", "1.2.3 beta\nmore\n", "1.2.3"},
                    VersionCase{"AFileThatBeginsWithWhiteSpace", " \t\r\n\n 1.2.3\n", "1.2.3"},
                    VersionCase{"AnEmptyFile", "", ""}, VersionCase{"AFileOfWhiteSpace", " \n\t \n", ""},
                    VersionCase{"AFileOfNonTextBytes", "\x01\xFF\n", "\x01\xFF"},
                    VersionCase{"AFileOfOneLongWord", std::string(100000, 'v'), std::string(100000, 'v')}),
    [](const auto& test) { return test.param.name; });

TEST_F(Flow, AnUnreadableVersionFileYieldsAnEmptyVersion)
{
    calls.placeFile("/tmp/fw/version.old.txt", folder.path().string()); // a directory can be opened but not read
    placeVersion("version.txt", "2.0");
    startPreparing({}, 0);
    EXPECT_EQ(visible(), "title factory");
}

// Formatting and installing. The parameter is true for the factory reset.

class FlowWork : public Flow, public testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(For, FlowWork, testing::Bool(),
                         [](const auto& test) { return test.param ? "AFactoryReset" : "AnUpdate"; });

TEST_P(FlowWork, ConfirmingStartsTheFormatScriptAndShowsTheHeaderAndTheWheel)
{
    reachMenu();
    notify(GetParam() ? askFactoryReset : askUpdate);
    draw();
    calls.takeLog();
    const std::string command = GetParam() ? "/usr/sbin/format.sh 1" : "/usr/sbin/format.sh 0";
    script(command, {nothingNow}, 0);
    notify(confirm);

    EXPECT_EQ(calls.takeLog(), Log({"run " + command}));
    EXPECT_EQ(screen->state, UpdateState::Formatting);
    EXPECT_EQ(message(), updating());
    EXPECT_EQ(visible(), "title message");
    EXPECT_TRUE(screen->dirty);
    EXPECT_EQ(screen->wheelFrame, 0);
}

TEST_P(FlowWork, RunsFormatAndInstallAndEndsWithTheDoneMessage)
{
    startWork(GetParam(), {{"SHOW: formatting\n", 0}, nothingNow, nothingNow}, 0);
    calls.takeLog();
    tick();
    EXPECT_EQ(message(), updating("formatting"));
    tick();
    EXPECT_EQ(screen->state, UpdateState::Formatting);

    script(install, {nothingNow, {"SHOW: installing\n", 0}, nothingNow, {"SHOW: a\nSHOW: b\nSHOW: c\n", 0}}, 0);
    EXPECT_EQ(printedBy([this] { tick(); }), "Started install.sh\n");
    EXPECT_EQ(screen->state, UpdateState::Installing);
    EXPECT_EQ(message(), updating("formatting"));
    EXPECT_EQ(calls.takeLog(), Log({"exit status taken", std::string("run ") + install}));
    EXPECT_EQ(calls.commandReads(), 0U) << "the install script was polled before the next iteration";
    tick(2);
    EXPECT_EQ(message(), updating("installing"));
    EXPECT_GE(screen->wheelFrame, 0);

    draw();
    EXPECT_EQ(printedBy([this] { tick(); }), "Everything done");
    EXPECT_EQ(screen->state, UpdateState::Done);
    EXPECT_TRUE(screen->dirty);
    EXPECT_EQ(screen->wheelFrame, -1);
    EXPECT_EQ(visible(), "title message");
    EXPECT_EQ(calls.takeLog(), Log({"exit status taken"}));
    tick(5);
    EXPECT_EQ(message(), texts::done) << "queued lines were not discarded";
}

TEST_P(FlowWork, TheWheelTurnsDuringFormattingAndInstalling)
{
    startWork(GetParam(), std::deque<ScriptedRead>(200, nothingNow), 0);
    script(install, std::deque<ScriptedRead>(200, nothingNow), 0);
    tickTo(iteration + 300);
    EXPECT_EQ(screen->wheelFrame, static_cast<int>(iteration / wheelPeriod - usbCheckPeriod / wheelPeriod));
    EXPECT_EQ(screen->state, UpdateState::Installing);
}

struct FailureCase {
    const char* name;
    bool factoryReset;
    bool inInstall;
    const char* text;
};

void PrintTo(const FailureCase& failure, std::ostream* stream)
{
    *stream << failure.name;
}

class FlowFailure : public Flow, public testing::WithParamInterface<FailureCase> {};

TEST_P(FlowFailure, EveryFailureStatusShowsTheSameMessage)
{
    for (const int exitCode : {1, 2, 3, 4, 255}) {
        SCOPED_TRACE(exitCode);
        build();
        startWork(GetParam().factoryReset, {}, GetParam().inInstall ? 0 : exitCode);
        if (GetParam().inInstall) {
            script(install, {}, exitCode);
            tick();
        }
        draw();
        EXPECT_EQ(printedBy([this] { tick(); }), "A command failed...\n");
        EXPECT_TRUE(screen->needsRedraw());
        expectFailed(GetParam().text);
    }
}

INSTANTIATE_TEST_SUITE_P(For, FlowFailure,
                         testing::Values(FailureCase{"FormatInAnUpdate", false, false, texts::updateFormatFailed},
                                         FailureCase{"FormatInAFactoryReset", true, false, texts::resetFormatFailed},
                                         FailureCase{"InstallInAnUpdate", false, true, texts::updateInstallFailed},
                                         FailureCase{"InstallInAFactoryReset", true, true, texts::resetInstallFailed}),
                         [](const auto& test) { return test.param.name; });

TEST_F(Flow, ConfirmingWhileACommandRunsWaitsForItBeforeStartingTheFormatScript)
{
    startPreparing({nothingNow}, 0);
    script("/usr/sbin/format.sh 0", {nothingNow}, 0);
    draw();
    calls.takeLog();
    notify(confirm);
    EXPECT_EQ(calls.takeLog(), Log({"exit status taken", "run /usr/sbin/format.sh 0"}));
    EXPECT_TRUE(screen->dirty) << "not dirty although the command was replaced";
}

TEST_F(Flow, DestroyingTheScreenWaitsForTheRunningCommandAndClosesTheBus)
{
    startPreparing({nothingNow}, 0);
    calls.takeLog();
    screen.reset();
    EXPECT_EQ(calls.takeLog(), Log({"exit status taken", "close /dev/i2c-22"}));
}

TEST_F(Flow, IgnoresInputInFinalStates)
{
    const std::function<void()> ends[] = {
        [this] { startPreparing({}, 1); },
        [this] { startWork(true, {}, 1), tick(); },
        [this] { startWork(false, {}, 0), script(install, {}, 0), tick(2); },
    };
    for (const auto& reachEnd : ends) {
        build();
        reachEnd();
        const UpdateState state = screen->state;
        ASSERT_TRUE(state == UpdateState::Done || state == UpdateState::Failed);
        draw();
        calls.takeLog();
        for (const InputEvent event : {InputEvent::RotateLeft, InputEvent::RotateRight, InputEvent::Press,
                                       InputEvent::Release, InputEvent::LongPress, InputEvent::Release}) {
            screen->onInput(event);
            tick(600);
            EXPECT_EQ(screen->state, state);
        }
        EXPECT_FALSE(screen->needsRedraw());
        EXPECT_EQ(calls.takeLog(), Log()) << "a script was started";
    }
}

TEST_F(Flow, ThrowsIfTheProcessOfAScriptCannotBeStarted)
{
    plugDrive();
    calls.commandStartFails = true;
    tickTo(usbCheckPeriod - 1);
    EXPECT_EQ(thrownBy<std::runtime_error>([this] { tick(); }), "popen() failed");

    calls.commandStartFails = false;
    build();
    startWork(false, {}, 0);
    calls.commandStartFails = true;
    EXPECT_EQ(thrownBy<std::runtime_error>([this] { tick(); }), "popen() failed");

    calls.commandStartFails = false;
    build();
    reachMenu();
    notify(askUpdate);
    screen->onInput(InputEvent::RotateRight);
    calls.commandStartFails = true;
    EXPECT_EQ(thrownBy<std::runtime_error>([this] { screen->onInput(InputEvent::Release); }), "popen() failed");
}

} // namespace
