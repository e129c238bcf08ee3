// Helpers of the tests of the emulated board.
#pragma once

#include "tests/board/board.h"

#include <gmock/gmock.h>
#include <string>
#include <vector>

namespace boardTest {

/// Fails when the program violated a protocol of the display or the LED controller, or sent an incomplete frame.
[[nodiscard]] testing::AssertionResult hasNoViolations(Board& board);

[[nodiscard]] std::vector<std::string> eventsOf(Board& board);
[[nodiscard]] bool hasScreen(const Bus& bus);
/// All screens from number `first` on.
[[nodiscard]] std::vector<sim::Screen> screensFrom(Board& board, std::size_t first = 0);

/// Checks that the card's memory partition is an intact file system with exactly the firmware 2.0.0 and with the user's
/// presets (`kept`) or the firmware's presets.
[[nodiscard]] testing::AssertionResult containsNewFirmware(const std::filesystem::path& card, bool kept);
/// Checks that the card still equals the prepared card byte for byte.
[[nodiscard]] testing::AssertionResult isUnchanged(const std::filesystem::path& card);

/// Requires a plugged drive. Waits for the menu, chooses the operation and confirms it.
void chooseAndConfirm(Board& board, bool factoryReset,
                      const std::vector<std::string>& oldVersions = {scenes::preparedVersion});

} // namespace boardTest
