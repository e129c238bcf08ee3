// Reads and writes golden pictures; writes the three pictures of a failed comparison.
#include "tests/system/golden_screen.h"

#include "sim/device/png_file.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

/// The actual picture in pale grey; red where it is darker than the expected picture, blue where it is lighter.
sim::Picture difference(const sim::Picture& actual, const sim::Picture& expected)
{
    sim::Picture result = actual;
    for (std::size_t i = 0; i < result.pixels.size(); ++i) {
        const std::uint8_t is = actual.pixels[i].red;
        const std::uint8_t shouldBe = i < expected.pixels.size() ? expected.pixels[i].red : std::uint8_t{255};
        const auto pale = static_cast<std::uint8_t>(192 + is / 4);
        result.pixels[i] = is == shouldBe  ? sim::Colour{pale, pale, pale}
                           : is < shouldBe ? sim::Colour{220, 0, 0}
                                           : sim::Colour{0, 0, 220};
    }
    return result;
}

/// The file name starts with the test's name, because tests that run in parallel may compare the same screen.
std::string nameOfFailure(const std::string& screen)
{
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(test->test_suite_name()) + "." + test->name() + "." + screen;
    std::replace(name.begin(), name.end(), '/', '_');
    return name;
}

testing::AssertionResult compare(const sim::Picture& actual, const sim::Picture& expected, const std::string& screen)
{
    const std::string name = nameOfFailure(screen);
    if (actual.pixels == expected.pixels) {
        return testing::AssertionSuccess();
    }
    const fs::path folder = FAILED_SCREENS_DIR;
    fs::create_directories(folder);
    sim::writePng(folder / (name + ".actual.png"), actual);
    sim::writePng(folder / (name + ".expected.png"), expected);
    sim::writePng(folder / (name + ".difference.png"), difference(actual, expected));
    return testing::AssertionFailure() << "the screen \"" << screen << "\" differs: see " << (folder / name).string()
                                       << ".{actual,expected,difference}.png";
}

} // namespace

testing::AssertionResult matchesGolden(const sim::Screen& screen, const std::string& name)
{
    const fs::path golden = fs::path(SCREENS_DIR) / (name + ".png");
    const sim::Picture actual = sim::pictureOf(screen);
    if (std::getenv("UPDATE_SCREENS") != nullptr) {
        sim::writePng(golden, actual);
        return testing::AssertionSuccess();
    }
    if (!fs::exists(golden)) {
        return testing::AssertionFailure() << "no golden screen " << golden.string() << " (./dev screens creates it)";
    }
    return compare(actual, sim::readPng(golden), name);
}

testing::AssertionResult sameScreen(const sim::Screen& actual, const sim::Screen& expected, const std::string& name)
{
    return actual == expected ? testing::AssertionSuccess()
                              : compare(sim::pictureOf(actual), sim::pictureOf(expected), name);
}
