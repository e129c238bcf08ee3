// Tests for decoding a capture file into a results folder.
#include "sim/decode/decoding.h"

#include "sim/decode/capture_error.h"
#include "sim/device/png_file.h"
#include "tests/decode/capture.h"
#include "tests/sim/comparisons.h"
#include "tests/support/scratch_folder.h"

#include <cstring>
#include <map>
#include <sstream>

namespace {

using sim::Line;
using namespace std::chrono_literals;

const sim::ReferenceScreens& references()
{
    static const sim::ReferenceScreens screens(SCREENS_DIR);
    return screens;
}

sim::Screen golden(const std::string& name)
{
    for (const auto& [screen, known] : references().getNames()) {
        if (known == name) {
            return screen;
        }
    }
    throw std::runtime_error("no screen " + name);
}

/// The LED controller receives a message, the display is initialised, and two golden screens appear.
const std::string& startUp()
{
    static const std::string text = Capture()
                                        .i2c({0xD8, 0x00, 0x01})
                                        .bringUp()
                                        .wait(10ms)
                                        .frame(frameOf(golden("waiting")))
                                        .wait(100ms)
                                        .frame(frameOf(golden("menu")))
                                        .wait(1ms)
                                        .vcd();
    return text;
}

const std::string& shortSession()
{
    static const std::string text = Capture().light().frame({1, 2, 3, 4}).frame({1, 2, 3, 4}).wait(1ms).vcd();
    return text;
}

class DecodingTest : public testing::Test {
protected:
    sim::DecodeOptions optionsFor(const std::string& text)
    {
        folder.write("capture.vcd", text);
        return {.capture = folder / "capture.vcd", .output = folder / "results"};
    }

    /// Decodes, and returns the report.
    std::string decode(const sim::DecodeOptions& options)
    {
        sim::Decoding decoding(options, references());
        decoding.run({});
        const sim::Report report = decoding.report();
        isPassed = report.isPassed();
        std::ostringstream text;
        report.print(text, false);
        return text.str();
    }
    std::string decode(const std::string& text) { return decode(optionsFor(text)); }

    std::string errorOf(const std::string& text)
    {
        const std::string message = thrownMessage<sim::CaptureError>([&] { (void)decode(text); });
        const std::string path = (folder / "capture.vcd").string();
        return message.starts_with(path) ? message.substr(path.size()) : message;
    }

    Lines resultFiles()
    {
        Lines names;
        for (const auto& entry : std::filesystem::directory_iterator(folder / "results")) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    std::map<std::string, std::string> contentOfResultFiles()
    {
        std::map<std::string, std::string> content;
        for (const std::string& name : resultFiles()) {
            content[name] = folder.read("results/" + name);
        }
        return content;
    }

    ScratchFolder folder;
    bool isPassed = false;
};

TEST_F(DecodingTest, NamesGoldenScreens)
{
    const std::string report = decode(startUp());
    EXPECT_TRUE(isPassed);
    EXPECT_TRUE(contains(report, "3 distinct, of which 2 are golden screens\n")) << report;
    EXPECT_TRUE(contains(report, "last          menu, since 0.")) << report;
}

TEST_F(DecodingTest, SavesDistinctScreensInFilesNamedAfterTheirTimes)
{
    (void)decode(shortSession());
    EXPECT_EQ(resultFiles(), (Lines{"00000.240044.png", "00000.240052.png", "log.txt", "report.txt"}));
}

TEST_F(DecodingTest, TheSavedPictureEqualsTheGoldenScreen)
{
    (void)decode(startUp());
    int found = 0;
    for (const std::string& name : resultFiles()) {
        if (name.ends_with("-menu.png")) {
            ++found;
            EXPECT_EQ(sim::readPng(folder / ("results/" + name)).pixels, sim::pictureOf(golden("menu")).pixels);
        }
    }
    EXPECT_EQ(found, 1);
}

TEST_F(DecodingTest, SavesTheReport)
{
    const std::string report = decode(shortSession());
    EXPECT_EQ(folder.read("results/report.txt"), report);
}

TEST_F(DecodingTest, LogsEventsAndScreensWithTheirTimes)
{
    (void)decode(shortSession());
    const std::string log = folder.read("results/log.txt");
    EXPECT_TRUE(contains(log, "     0.000001000 s  reset high\n")) << log;
    EXPECT_TRUE(contains(log, "     0.240002000 s  30              extension command 1\n")) << log;
    EXPECT_TRUE(contains(log, " s  screen: 00000.240052.png\n")) << log;
}

TEST_F(DecodingTest, JoinsConsecutiveEqualLinesOfTheLog)
{
    (void)decode(Capture().light().command(0xA6).command(0xA6).command(0xA6).vcd());
    EXPECT_TRUE(
        contains(folder.read("results/log.txt"), "  A6              normal display (3 times until 0.240052160 s)\n"))
        << folder.read("results/log.txt");
}

TEST_F(DecodingTest, ReportsTheTiming)
{
    const std::string report = decode(startUp());
    for (const char* line : {
             "  clock         12.50 MHz, high for 50.0 % of the period, which is 80.00 ns to 80.00 ns\n",
             "  frames        2; shortest 6.554 ms, mean 6.554 ms, longest 6.554 ms\n",
             "  redraw period shortest 106.6 ms, mean 106.6 ms, longest 106.6 ms\n",
             "  I2C clock     100.0 kHz\n",
             "  reset to the first command      200.0 ms  at least 200 ms\n",
         }) {
        EXPECT_TRUE(contains(report, line)) << line << report;
    }
}

TEST_F(DecodingTest, FindsTheExpectedInitialisationAndScreens)
{
    sim::DecodeOptions options = optionsFor(startUp());
    options.expectsInitialisation = true;
    options.expectedScreens = {"waiting", "menu"};
    const std::string report = decode(options);
    EXPECT_TRUE(isPassed) << report;
    EXPECT_TRUE(contains(report, "  initialisation                    found\n")) << report;
    EXPECT_TRUE(contains(report, "  screen menu                       found: at 0.")) << report;
}

TEST_F(DecodingTest, FailsIfSomethingExpectedIsMissing)
{
    const struct {
        const char* missing;
        void (*expect)(sim::DecodeOptions& options);
    } cases[] = {
        {"  screen done                       not found\n",
         [](sim::DecodeOptions& options) { options.expectedScreens = {"done"}; }},
        {"  initialisation                    not found: at 0.",
         [](sim::DecodeOptions& options) { options.expectsInitialisation = true; }},
    };
    for (const auto& [missing, expect] : cases) {
        sim::DecodeOptions options = optionsFor(shortSession());
        expect(options);
        EXPECT_TRUE(contains(decode(options), missing)) << missing;
        EXPECT_FALSE(isPassed) << missing;
    }
}

TEST_F(DecodingTest, ExpectingTheInitialisationFailsWithoutTheResetLine)
{
    sim::DecodeOptions options = optionsFor("");
    options.expectsInitialisation = true;
    std::string text = startUp();
    text.replace(text.find(" reset $end"), 6, " other");
    folder.write("capture.vcd", text);
    EXPECT_TRUE(
        contains(decode(options), "initialisation                    not found: reset is not in the capture\n"));
    EXPECT_FALSE(isPassed);
}

TEST_F(DecodingTest, FailsAfterAViolation)
{
    const std::string report = decode(Capture().light().command(0x99).frame({1, 2, 3, 4}).vcd());
    EXPECT_FALSE(isPassed);
    EXPECT_TRUE(contains(report, "Violations      1\n")) << report;
    EXPECT_TRUE(contains(report, "  unknown command: 0x99 on page 1\n")) << report;
}

TEST_F(DecodingTest, KeepsTheFirstViolationsInTheReportAndAllInTheLog)
{
    Capture capture = Capture().light();
    for (std::uint8_t code = 0xD0; code < 0xE0; ++code) {
        capture.command(code).command(0x30);
    }
    const std::string report = decode(capture.vcd());
    EXPECT_TRUE(contains(report, "unknown command: 0xD6")) << report;
    EXPECT_FALSE(contains(report, "unknown command: 0xDF")) << report;
    EXPECT_TRUE(contains(report, "  and 6 others: see log.txt\n")) << report;
    EXPECT_TRUE(contains(folder.read("results/log.txt"), "VIOLATION: unknown command: 0xDF on page 1"));
}

TEST_F(DecodingTest, ReportsMissingChannels)
{
    const struct {
        const char* line;
        const char* limit;
        bool isNeeded; // for the check of the initialisation
    } cases[] = {
        {"cs", "without cs, the transfers are separated by dc and by pauses of the clock\n", false},
        {"mosi", "without mosi, the transfers are measured, but not decoded\n", true},
        {"dc", "without dc, the bytes to the display are logged, but not decoded\n", true},
        {"reset", "without reset, the initialisation is not checked\n", true},
        {"scl", "the LEDs are decoded only with both scl and sda\n", false},
        {"sda", "the LEDs are decoded only with both scl and sda\n", false},
    };
    for (const auto& [line, limit, isNeeded] : cases) {
        std::string text = shortSession();
        text.replace(text.find(" " + std::string(line) + " $end"), std::strlen(line) + 1, " other");
        const std::string report = decode(text);
        EXPECT_TRUE(contains(report, limit)) << report;
        EXPECT_TRUE(contains(report, std::string("  missing       ") + line + "\n")) << report;
        EXPECT_EQ(contains(report, "Initialisation  not checked\n"), isNeeded) << report;
        EXPECT_TRUE(isPassed) << line;
    }
}

TEST_F(DecodingTest, DecodesTheCaptureUpToTheDamage)
{
    const std::string text = shortSession();
    const std::string report = decode(text.substr(0, text.rfind('#')) + "#1\n");
    EXPECT_FALSE(isPassed);
    EXPECT_TRUE(contains(report, "2 distinct")) << report;
    EXPECT_TRUE(contains(report, " follows time ")) << report;
    EXPECT_TRUE(contains(report, "The report describes the capture up to there.\n")) << report;
}

TEST_F(DecodingTest, DescribesUnusableCapturesInOneLine)
{
    const std::string noClock = "$var wire 1 ! D0 $end $var wire 1 \" D1 $end $enddefinitions $end\n";
    const struct {
        std::string text;
        const char* message;
    } cases[] = {
        {"", ": the capture is empty"},
        {"$var wire", ":1: truncated: the file ends within the header"},
        {noClock, ": no channel has the name of a line (cs, clk, mosi, dc, reset, scl, sda, button, encoder_a, "
                  "encoder_b); the channels are D0, D1: assign them with --channels"},
        {"$var wire 1 ! reset $end $enddefinitions $end\n", ": decoding needs the channel clk, or scl and sda"},
        {"$var wire 1 ! clk $end $enddefinitions $end\n#0\n1!\n#9\n", ": no edges on clk"},
        {"$var wire 1 ! clk $end $enddefinitions $end\n#0\n1!\n#9\n0!\n#8\n", ":6: time 8 follows time 9"},
        {Capture::vcdOf(swapped(Capture().light().edges(), Line::Clock, Line::Mosi), 1s),
         ": clk and mosi are swapped: decode with --channels clk=mosi,mosi=clk"},
    };
    for (const auto& [text, message] : cases) {
        EXPECT_EQ(errorOf(text), message);
        EXPECT_FALSE(folder.contains("results")) << message;
    }
}

TEST_F(DecodingTest, AFailureKeepsTheFormerResults)
{
    (void)decode(shortSession());
    const auto before = contentOfResultFiles();
    (void)errorOf("$var wire 1 ! clk $end $enddefinitions $end\n#0\n1!\n#9\n");
    EXPECT_EQ(contentOfResultFiles(), before);
}

TEST_F(DecodingTest, ReplacesFormerResults)
{
    (void)decode(startUp());
    (void)decode(shortSession());
    EXPECT_EQ(resultFiles().size(), 4U);
}

} // namespace
