// Tests for sessions with the real updater, scripts and files.
#include "sim/session/session.h"

#include "tests/sim/comparisons.h"
#include "tests/sim/session_files.h"

#include <functional>

namespace {

using sim::Event;
using sim::Session;
using sim::SessionSetup;

namespace fs = std::filesystem;

class SessionTest : public testing::Test {
protected:
    Session& start(const SessionSetup& setup = {})
    {
        session = std::make_unique<Session>(files(), sim::Programs{UPDATER, PRELOAD, {}}, setup);
        return *session;
    }
    void apply(const char* statement) { session->apply(sim::parseStatement(statement)); }
    [[nodiscard]] const sim::Observation& observe() const { return session->observe(); }
    [[nodiscard]] std::string screen() const { return references().nameOf(observe().screen); }
    bool runUntil(const std::function<bool()>& isTrue)
    {
        for (int i = 0; i < 3000 && !isTrue(); ++i) {
            session->run(20);
        }
        return isTrue();
    }
    bool reach(const std::string& name)
    {
        return runUntil([&] { return screen() == name; });
    }
    void click()
    {
        apply("press");
        session->run(Session::clickIterations);
        apply("release");
        session->run(Session::clickIterations);
    }
    [[nodiscard]] Lines logged(Event::Kind kind) const
    {
        Lines result;
        for (const Event& event : session->events()) {
            if (event.kind == kind) {
                result.push_back(event.text);
            }
        }
        return result;
    }

    std::unique_ptr<Session> session;
};

TEST_F(SessionTest, StartsAtTheEndOfTheFirstIteration)
{
    start();
    EXPECT_TRUE(observe().isOn);
    EXPECT_EQ(observe().iteration, 1U);
    session->run(99);
    EXPECT_EQ(observe().iteration, 100U);
    EXPECT_EQ(screen(), "waiting");
    EXPECT_EQ(observe().display, (sim::DisplayRegisters{true, false, false, observe().display.contrast}));
    EXPECT_GT(observe().display.contrast, 0);
    EXPECT_EQ(observe().output, "Starting updater...\n");
}

TEST_F(SessionTest, ObservesAScript)
{
    start();
    apply("plug good");
    EXPECT_EQ(observe().drive, "good");
    ASSERT_TRUE(runUntil([&] { return !observe().script.empty(); }));
    EXPECT_EQ(observe().script, "decrypt.sh /dev/sda1");
    ASSERT_TRUE(reach("menu"));
    EXPECT_EQ(observe().script, "");
    EXPECT_EQ(logged(Event::Kind::Script), (Lines{"decrypt.sh /dev/sda1"}));
    EXPECT_EQ(logged(Event::Kind::Output), (Lines{"Starting updater..."}));
    EXPECT_EQ(logged(Event::Kind::Violation), Lines{});
}

TEST_F(SessionTest, KeepsTheDriveWhileTheDeviceIsOff)
{
    start();
    session->run(10);
    apply("plug good");
    apply("power off");
    EXPECT_FALSE(observe().isOn);
    EXPECT_TRUE(isFilledWith(observe().screen, 0));
    EXPECT_TRUE(isFilledWith(observe().leds, 0));
    session->run(100);
    apply("turn +1");
    apply("power on");
    EXPECT_EQ(observe().iteration, 1U);
    EXPECT_EQ(observe().drive, "good");
    EXPECT_TRUE(reach("menu"));
}

TEST_F(SessionTest, CountsTheIterationsAndFramesOfEarlierPowerCycles)
{
    start();
    session->run(29);
    EXPECT_EQ(observe().frames, 2U);
    apply("power off");
    EXPECT_EQ(observe().earlierIterations, 0U);
    apply("power on");
    apply("power on");
    EXPECT_EQ(observe().frames, 1U);
    EXPECT_EQ(observe().earlierIterations, 30U);
    EXPECT_EQ(observe().earlierFrames, 2U);
    session->run(9);
    apply("power off");
    apply("power on");
    EXPECT_EQ(observe().earlierIterations, 40U);
    EXPECT_EQ(observe().earlierFrames, 3U);
}

TEST_F(SessionTest, ReportsTheEndOfTheUpdater)
{
    SessionSetup setup;
    setup.faults = {"absent mem"};
    start(setup);
    EXPECT_EQ(observe().end, "signal 11 (Segmentation fault)");
    EXPECT_EQ(sim::print(session->recording()), "fault absent mem\nexpect program ended\n");
    EXPECT_TRUE(contains(observe().error, "can't open /dev/mem!"));
    session->run(100);
    apply("press");
    apply("fault off absent mem");
    apply("power off");
    EXPECT_EQ(observe().end, std::nullopt);
    apply("power on");
    EXPECT_EQ(observe().end, std::nullopt);
    session->run(100);
    EXPECT_EQ(screen(), "waiting");
    EXPECT_EQ(sim::print(session->recording()), "fault absent mem\n"
                                                "press\n"
                                                "fault off absent mem\n"
                                                "expect program ended\n"
                                                "power off\n"
                                                "power on\n"
                                                "at 101 expect program running\n");
}

TEST_F(SessionTest, RecordsTheSetUpAndTheInputs)
{
    SessionSetup setup;
    setup.faults = {"absent i2c"};
    start(setup);
    session->run(99);
    apply("plug empty");
    session->run(1);
    apply("turn -1");
    apply("power off");
    apply("unplug");
    apply("power on");
    session->run(9);
    EXPECT_EQ(sim::print(session->recording()), "fault absent i2c\n"
                                                "at 100 plug empty\n"
                                                "at 101 turn -1\n"
                                                "at 101 power off\n"
                                                "unplug\n"
                                                "power on\n"
                                                "at 10 expect program running\n");
}

TEST_F(SessionTest, RecordsEachViolationOnce)
{
    start();
    session->run(99);
    apply("fault on short spi");
    session->run(600);
    EXPECT_GT(observe().violations.size(), 1U);
    EXPECT_EQ(sim::print(session->recording()), "at 100 fault on short spi\n"
                                                "at 700 expect program running\n"
                                                "expect violation \"a frame is short: 5120 of 10240 bytes\"\n");
}

TEST_F(SessionTest, RejectsStatementsThatAreNotInputs)
{
    start();
    EXPECT_THROW(apply("wait 5"), std::logic_error);
    EXPECT_THROW(apply("device memory 5"), std::logic_error);
}

TEST_F(SessionTest, RemovesTheFilesOfTheDevice)
{
    const fs::path root = start().root();
    EXPECT_TRUE(fs::exists(root / "dev/memory"));
    session.reset();
    EXPECT_FALSE(fs::exists(root));
}

TEST_F(SessionTest, MakesADriveWithTheGivenFile)
{
    start();
    EXPECT_EQ(thrownMessage([&] { apply("plug file \"/nowhere/a.fw\""); }),
              "cannot copy /nowhere/a.fw: No such file or directory");
    EXPECT_EQ(sim::print(session->recording()).find("plug"), std::string::npos);
    apply("plug file \"/proc/self/status\"");
    EXPECT_EQ(observe().drive, "file");
    EXPECT_TRUE(reach("failed-corrupt"));
}

} // namespace
