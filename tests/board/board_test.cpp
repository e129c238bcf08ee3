// Checks the card, and operates the menu and the dialog.
#include "tests/board/board_test.h"

#include <cstdlib>
#include <fstream>

namespace fs = std::filesystem;

namespace {

// The memory partition that make_board.sh creates.
constexpr std::streamoff memoryOffset = 8 << 20;
constexpr std::size_t memoryBytes = 24 << 20;

bool succeeds(const std::string& command)
{
    return std::system((command + " >&2").c_str()) == 0;
}

} // namespace

namespace boardTest {

testing::AssertionResult hasNoViolations(Board& board)
{
    return board.withBus([](const Bus& bus) {
        testing::AssertionResult result =
            bus.violations().empty() ? testing::AssertionSuccess() : testing::AssertionFailure();
        for (const std::string& violation : bus.violations()) {
            result << violation << "; ";
        }
        return result;
    });
}

std::vector<std::string> eventsOf(Board& board)
{
    return board.withBus([](const Bus& bus) { return bus.events(); });
}

bool hasScreen(const Bus& bus)
{
    return !bus.screens().empty();
}

std::vector<sim::Screen> screensFrom(Board& board, std::size_t first)
{
    return board.withBus([first](const Bus& bus) {
        return std::vector<sim::Screen>(bus.screens().begin() + static_cast<std::ptrdiff_t>(first),
                                        bus.screens().end());
    });
}

testing::AssertionResult containsNewFirmware(const fs::path& card, bool kept)
{
    const fs::path root = card.string() + ".opened";
    fs::create_directories(root / "dev");
    std::string memory(memoryBytes, '\0');
    std::ifstream file(card, std::ios::binary);
    file.seekg(memoryOffset);
    file.read(memory.data(), memoryBytes);
    std::ofstream(root / "dev" / "memory", std::ios::binary) << memory;
    const std::string command = std::string(VERIFY_MEMORY) + " " + root.string() + " " + STAGE_DIR +
                                "/firmware 2.0.0 " + (kept ? "kept" : "lost");
    if (!succeeds(command)) {
        return testing::AssertionFailure() << "failed: " << command;
    }
    fs::remove_all(root);
    return testing::AssertionSuccess();
}

testing::AssertionResult isUnchanged(const fs::path& card)
{
    return succeeds("cmp " + card.string() + " " + STAGE_DIR + "/card.img") ? testing::AssertionSuccess()
                                                                            : testing::AssertionFailure();
}

void chooseAndConfirm(Board& board, bool factoryReset, const std::vector<std::string>& oldVersions)
{
    board.waitForScene(scenes::menu());
    board.turn(factoryReset ? 1 : -1);
    board.waitForScene(factoryReset ? scenes::factoryResetSelected() : scenes::updateSelected());
    board.click();
    board.waitForScene(scenes::question(factoryReset, false, oldVersions));
    board.turn(1);
    board.waitForScene(scenes::question(factoryReset, true, oldVersions));
    board.click();
    board.waitForScene(scenes::working(factoryReset));
}

} // namespace boardTest
