// Tests for the language of scenarios.
#include "sim/session/scenario.h"

#include "tests/sim/comparisons.h"
#include "tests/support/scratch_folder.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

using sim::Statement;
using sim::SyntaxError;
using sim::Verb;

TEST(Statement, ParsesAndPrintsEveryForm)
{
    const struct {
        const char* text;
        Statement expected;
    } cases[] = {
        {"device installed 1.4.2", {Verb::DeviceInstalled, {"1.4.2"}}},
        {"device installed none", {Verb::DeviceInstalled, {"none"}}},
        {"device memory 400", {Verb::DeviceMemory, {"400"}}},
        {"device worn 100", {Verb::DeviceWorn, {"100"}}},
        {"fault absent encoder", {Verb::Fault, {"absent encoder"}}},
        {"bus slow 120 ms", {Verb::BusSlow, {"120"}}},
        {"turn +1", {Verb::Turn, {"+1"}}},
        {"turn -100", {Verb::Turn, {"-100"}}},
        {"press", {Verb::Press}},
        {"release", {Verb::Release}},
        {"plug good", {Verb::Plug, {"good"}}},
        {"plug file \"my drive/tonecrate.fw\"", {Verb::PlugFile, {"my drive/tonecrate.fw"}}},
        {"unplug", {Verb::Unplug}},
        {"power off", {Verb::PowerOff}},
        {"power on", {Verb::PowerOn}},
        {"fault on failing spi", {Verb::FaultOn, {"failing spi"}}},
        {"fault off failing spi", {Verb::FaultOff, {"failing spi"}}},
        {"click", {Verb::Click}},
        {"hold 1200", {Verb::Hold, {"1200"}}},
        {"wait 500", {Verb::Wait, {"500"}}},
        {"await screen menu-update", {Verb::AwaitScreen, {"menu-update"}}},
        {"await output \"a \\\"text\\\", a \\\\ and\\na # line\"",
         {Verb::AwaitOutput, {"a \"text\", a \\ and\na # line"}}},
        {"await error \"Unable to open SPI\"", {Verb::AwaitError, {"Unable to open SPI"}}},
        {"await script decrypt.sh /dev/sda1", {Verb::AwaitScript, {"decrypt.sh /dev/sda1"}}},
        {"await frames 12", {Verb::AwaitFrames, {"12"}}},
        {"expect screen done", {Verb::ExpectScreen, {"done"}}},
        {"expect no frame for 1420", {Verb::ExpectNoFrame, {"1420"}}},
        {"expect output \"Starting updater...\\n\"", {Verb::ExpectOutput, {"Starting updater...\n"}}},
        {"expect error \"Unable to open SPI\\n\"", {Verb::ExpectError, {"Unable to open SPI\n"}}},
        {"expect script none", {Verb::ExpectNoScript}},
        {"expect script format.sh 0", {Verb::ExpectScript, {"format.sh 0"}}},
        {"expect memory firmware 2.0.0 presets kept", {Verb::ExpectMemory, {"2.0.0", "kept"}}},
        {"expect memory firmware none presets lost", {Verb::ExpectMemory, {"none", "lost"}}},
        {"expect memory unchanged", {Verb::ExpectMemoryUnchanged}},
        {"expect led bar 255", {Verb::ExpectLedBar, {"255"}}},
        {"expect led rgb 0 128 255", {Verb::ExpectLedRgb, {"0", "128", "255"}}},
        {"expect violation none", {Verb::ExpectNoViolation}},
        {"expect violation \"an empty I2C write\"", {Verb::ExpectViolation, {"an empty I2C write"}}},
        {"expect program running", {Verb::ExpectRunning}},
        {"expect program ended", {Verb::ExpectEnded}},
        {"expect program ended by signal 11", {Verb::ExpectEndedBySignal, {"11"}}},
        {"at 1840 turn +1", {Verb::Turn, {"+1"}, 1840}},
        {"at 1 expect screen menu", {Verb::ExpectScreen, {"menu"}, 1}},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(sim::parseStatement(text), expected) << text;
        EXPECT_EQ(sim::print(expected), text);
    }
}

TEST(Statement, PrintsOtherNotationsInCanonicalForm)
{
    const struct {
        const char* text;
        const char* canonical;
    } cases[] = {
        {"  turn\t1  ", "turn +1"},
        {"turn +01", "turn +1"},
        {"wait +5 # 5 ms", "wait 5"},
        {"press#at once", "press"},
        {"fault  absent   encoder\r", "fault absent encoder"},
        {"await output \"# no comment\" # a comment", "await output \"# no comment\""},
    };
    for (const auto& [text, canonical] : cases) {
        EXPECT_EQ(sim::print(sim::parseStatement(text)), canonical) << text;
    }
}

TEST(Statement, ReportsWhatWasExpected)
{
    const struct {
        const char* text;
        const char* message;
    } cases[] = {
        {"await scren menu",
         "expected \"screen\", \"output\", \"error\", \"script\" or \"frames\", but found \"scren\""},
        {"await", "expected \"screen\", \"output\", \"error\", \"script\" or \"frames\", but the line ends"},
        {"press now", "expected the end of the line, but found \"now\""},
        {"turn", "expected a number of steps from -100 to 100, except 0, but the line ends"},
        {"turn 0", "expected a number of steps from -100 to 100, except 0, but found \"0\""},
        {"turn +-1", "expected a number of steps from -100 to 100, except 0, but found \"+-1\""},
        {"turn 101", "expected a number of steps from -100 to 100, except 0, but found \"101\""},
        {"turn \"1\"", "expected a number of steps from -100 to 100, except 0, but found \"1\""},
        {"wait 5x", "expected a number from 1 to 100000000, but found \"5x\""},
        {"wait 99999999999999999999", "expected a number from 1 to 100000000, but found \"99999999999999999999\""},
        {"plug bad", "expected the name of a drive or \"file\", but found \"bad\""},
        {"plug file tonecrate.fw", "expected a text in quotes, but found \"tonecrate.fw\""},
        {"plug file \"\"", "expected a text in quotes, but found \"\""},
        {"power", "expected \"off\" or \"on\", but the line ends"},
        {"fault no such", "expected the name of a fault, \"on\" or \"off\", but found \"no\""},
        {"fault on", "expected the name of a fault, but the line ends"},
        {"bus slow 120", "expected \"ms\", but the line ends"},
        {"bus slow 0 ms", "expected a number from 1 to 10000, but found \"0\""},
        {"await output done", "expected a text in quotes, but found \"done\""},
        {"await output \"done", "expected a closing quote, but the line ends"},
        {"expect led bar 256", "expected a number from 0 to 255, but found \"256\""},
        {"expect led rgb 1 2", "expected a number from 0 to 255, but the line ends"},
        {"expect memory firmware 2.0.0 presets safe", "expected \"kept\" or \"lost\", but found \"safe\""},
        {"expect memory firmware ../x presets kept", "expected a version or \"none\", but found \"../x\""},
        {"expect program", "expected \"running\" or \"ended\", but the line ends"},
        {"expect program ended with", "expected the end of the line or \"by\", but found \"with\""},
        {"expect program ended by signal 65", "expected a signal from 1 to 64, but found \"65\""},
        {"expect no frame for 0", "expected a number from 1 to 100000000, but found \"0\""},
        {"expect output Starting", "expected a text in quotes, but found \"Starting\""},
        {"expect script", "expected \"none\" or the name of a script, but the line ends"},
        {"at", "expected an iteration from 1 to 1000000000000, but the line ends"},
        {"at 0 press", "expected an iteration from 1 to 1000000000000, but found \"0\""},
        {"at 5 fault absent encoder", "expected an event after \"at\", but found a part of the set-up"},
        {"at 5 at 6 press", "found \"at\""},
        {"Press", "found \"Press\""},
        {"\"press\"", "found \"press\""},
        {"", "the line ends"},
        {"# only a comment", "the line ends"},
    };
    for (const auto& [text, message] : cases) {
        const std::string thrown = thrownMessage<SyntaxError>([&, line = text] { (void)sim::parseStatement(line); });
        EXPECT_TRUE(thrown.starts_with("expected ") && thrown.ends_with(message)) << text << ": " << thrown;
    }
}

TEST(Statement, IdentifiesSetUpStatementsAndInputs)
{
    EXPECT_TRUE(sim::isSetUp(Verb::DeviceInstalled) && sim::isSetUp(Verb::BusSlow));
    EXPECT_TRUE(!sim::isSetUp(Verb::Turn) && !sim::isInput(Verb::BusSlow));
    EXPECT_TRUE(sim::isInput(Verb::Turn) && sim::isInput(Verb::FaultOff));
    EXPECT_TRUE(!sim::isInput(Verb::Click) && !sim::isInput(Verb::ExpectEndedBySignal));
}

TEST(Scenario, ReadsAllParts)
{
    const sim::Scenario scenario = sim::parseScenario("# A summary.\n"
                                                      "# More.\n"
                                                      "\n"
                                                      "device memory 400\n"
                                                      "fault absent i2c # no LEDs\n"
                                                      "fault absent encoder\n"
                                                      "plug good\n"
                                                      "at 700 click\n",
                                                      "a");
    EXPECT_EQ(scenario.summary, "A summary.");
    EXPECT_EQ(scenario.setup, (sim::SessionSetup{.memoryKib = 400, .faults = {"absent encoder", "absent i2c"}}));
    ASSERT_EQ(scenario.lines.size(), 2U);
    EXPECT_EQ(scenario.lines[0].statement, (Statement{Verb::Plug, {"good"}}));
    EXPECT_EQ(scenario.lines[0].number, 7U);
    EXPECT_EQ(scenario.lines[1].statement, (Statement{Verb::Click, {}, 700}));
}

TEST(Scenario, AcceptsLinesThatEndWithCrLf)
{
    const sim::Scenario scenario = sim::parseScenario("\r\n# A summary.\r\npress\r\n", "a");
    EXPECT_EQ(sim::print(scenario), "# A summary.\npress\n");
}

TEST(Scenario, PrintsWhatItParses)
{
    for (const std::string text : {
             "# All of the set-up.\ndevice installed none\ndevice memory 400\ndevice worn 100\nfault absent i2c\n"
             "bus slow 20 ms\nat 5 press\npower off\n",
             "press\n",
             "",
         }) {
        EXPECT_EQ(sim::print(sim::parseScenario(text, "a")), text);
    }
}

TEST(Scenario, ReportsFileAndLineOfAnError)
{
    const struct {
        const char* text;
        const char* message;
    } cases[] = {
        {"press\n\n# A comment.\npress it\n", "some.scenario:4: expected the end of the line, but found \"it\""},
        {"press\ndevice memory 5\n",
         "some.scenario:2: expected an event, but found a part of the set-up after the first event"},
        {"turn", "some.scenario:1: expected a number of steps from -100 to 100, except 0, but the line ends"},
    };
    for (const auto& [text, message] : cases) {
        EXPECT_EQ(thrownMessage<SyntaxError>([&, body = text] { (void)sim::parseScenario(body, "some.scenario"); }),
                  message);
    }
}

TEST(Scenario, ReportsAFileThatCannotBeRead)
{
    EXPECT_EQ(thrownMessage([] { (void)sim::readScenario("/nowhere/a.scenario"); }),
              "cannot read /nowhere/a.scenario: No such file or directory");
    EXPECT_EQ(thrownMessage([] { (void)sim::readScenario("/"); }), "cannot read /: Is a directory");
}

TEST(Scenario, RelativePathsAreRelativeToTheScenarioFile)
{
    const ScratchFolder folder;
    const std::filesystem::path file = folder.path() / "some.scenario";
    std::ofstream(file) << "plug file \"tonecrate.fw\"\nplug file \"/nowhere/tonecrate.fw\"\n";
    const sim::Scenario scenario = sim::readScenario(file);
    EXPECT_EQ(std::filesystem::weakly_canonical(std::filesystem::current_path() / scenario.lines[0].statement.text()),
              std::filesystem::canonical(folder.path()) / "tonecrate.fw");
    EXPECT_EQ(scenario.lines[1].statement.text(), "/nowhere/tonecrate.fw");
    std::filesystem::create_directory(folder.path() / "other");
    const std::filesystem::path copy = folder.path() / "other/copy.scenario";
    sim::writeScenario(scenario, copy);
    std::ostringstream text;
    text << std::ifstream(copy).rdbuf();
    EXPECT_EQ(text.str(), "plug file \"../tonecrate.fw\"\nplug file \"/nowhere/tonecrate.fw\"\n");
}

TEST(Scenario, ReportsAFileThatCannotBeWritten)
{
    EXPECT_EQ(thrownMessage([] { sim::writeScenario({}, "/nowhere/a.scenario"); }), "cannot write /nowhere/a.scenario");
}

} // namespace
