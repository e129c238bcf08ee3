// The golden screens: every kind of screen that the updater shows, compared with its picture in screens/.
#include "tests/system/system_test.h"

#include "updater/timing.h"

#include <filesystem>
#include <ostream>
#include <set>

namespace fs = std::filesystem;

namespace {

/// Opens the dialog, chooses "Yes", and runs until the busy indicator shows its first frame again.
void startWork(TestDevice& device, bool factoryReset)
{
    factoryReset ? device.toFactoryDialog() : device.toUpdateDialog();
    device.turn(1);
    const std::uint64_t start = device->iteration() / wheelPeriod + 1;
    device->runTo(start * wheelPeriod);
    device.click();
    device->runTo((start + 8) * wheelPeriod);
    device.settle();
}

void showProgress(TestDevice& device)
{
    startWork(device, false);
    device.format.print(*device, "SHOW: Installing... 66%\n");
    device.settle();
}

void failPreparing(TestDevice& device, int status)
{
    device.toPreparing();
    device.decrypt.exit(*device, status);
    device.settle();
}

void failFormatting(TestDevice& device, bool factoryReset)
{
    device.toFormatting(factoryReset);
    device.format.exit(*device, 1);
    device.settle();
}

void endInstalling(TestDevice& device, bool factoryReset, int status)
{
    device.toInstalling(factoryReset);
    device.install.exit(*device, status);
    device.settle();
}

struct GoldenScreen {
    const char* name;
    void (*reach)(TestDevice& device);
};

void PrintTo(const GoldenScreen& screen, std::ostream* stream)
{
    *stream << screen.name;
}

using Device = TestDevice;

constexpr GoldenScreen goldenScreens[] = {
    {"waiting",
     [](Device& device) {
         device.switchOn();
         device.settle();
     }},
    {"preparing",
     [](Device& device) {
         device.toPreparing();
         device.settle();
     }},
    {"preparing-progress",
     [](Device& device) {
         device.toPreparing();
         device.decrypt.print(*device, "SHOW: Decrypting 10%\n");
         device.settle();
     }},
    {"menu", [](Device& device) { device.toMenu(); }},
    {"menu-factory-reset",
     [](Device& device) {
         device.toMenu();
         device.turn(1);
     }},
    {"menu-update",
     [](Device& device) {
         device.toMenu();
         device.turn(-1);
     }},
    {"menu-without-update", [](Device& device) { device.toMenu("", "2.0.0"); }},
    {"menu-without-update-selected",
     [](Device& device) {
         device.toMenu("", "2.0.0");
         device.turn(1);
     }},
    {"update-no", [](Device& device) { device.toUpdateDialog(); }},
    {"update-yes",
     [](Device& device) {
         device.toUpdateDialog();
         device.turn(1);
     }},
    {"factory-reset-no", [](Device& device) { device.toFactoryDialog(); }},
    {"factory-reset-yes",
     [](Device& device) {
         device.toFactoryDialog();
         device.turn(1);
     }},
    {"updating", [](Device& device) { startWork(device, true); }},
    {"updating-progress", showProgress},
    {"done", [](Device& device) { endInstalling(device, false, 0); }},
    {"failed-drive", [](Device& device) { failPreparing(device, 1); }},
    {"failed-no-firmware", [](Device& device) { failPreparing(device, 2); }},
    {"failed-corrupt", [](Device& device) { failPreparing(device, 3); }},
    {"failed-format", [](Device& device) { failFormatting(device, false); }},
    {"failed-format-reset", [](Device& device) { failFormatting(device, true); }},
    {"failed-install", [](Device& device) { endInstalling(device, false, 1); }},
    {"failed-install-reset", [](Device& device) { endInstalling(device, true, 1); }},
};

class Screen : public SystemTest, public testing::WithParamInterface<GoldenScreen> {};

TEST_P(Screen, MatchesItsGoldenPicture)
{
    GetParam().reach(device);
    EXPECT_TRUE(matchesGolden(device->screen(), GetParam().name));
}

INSTANTIATE_TEST_SUITE_P(Golden, Screen, testing::ValuesIn(goldenScreens), [](const auto& test) {
    std::string name = test.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

TEST(GoldenScreens, FolderContainsExactlyTheComparedPictures)
{
    std::set<std::string> expected;
    for (const GoldenScreen& screen : goldenScreens) {
        expected.insert(screen.name + std::string(".png"));
    }
    std::set<std::string> found;
    for (const fs::directory_entry& entry : fs::directory_iterator(SCREENS_DIR)) {
        found.insert(entry.path().filename());
    }
    EXPECT_EQ(found, expected);
}

} // namespace
