// Helpers for the tests on the emulated board.
#pragma once

#include "tests/board/board.h"

#include <gmock/gmock.h>
#include <string>
#include <vector>

namespace boardTest {

/// Fails if the program has violated the protocol of the display or of the LED controller, or sent an incomplete frame.
[[nodiscard]] testing::AssertionResult hasNoViolations(Board& board);

[[nodiscard]] std::vector<std::string> eventsOf(Board& board);
[[nodiscard]] bool hasScreen(const Bus& bus);
/// The screens from index `first` on.
[[nodiscard]] std::vector<sim::Screen> screensFrom(Board& board, std::size_t first = 0);

/// Checks that the file system on the card's memory partition is intact, and that it contains exactly the files of
/// firmware 2.0.0 and the user's presets (if `kept`) or the factory presets.
[[nodiscard]] testing::AssertionResult containsNewFirmware(const std::filesystem::path& card, bool kept);
/// Checks that the card still equals the prepared card byte for byte.
[[nodiscard]] testing::AssertionResult isUnchanged(const std::filesystem::path& card);

/// Waits for the menu, chooses the operation, confirms it, and waits until it has started. A drive must be plugged in.
/// The question about an update may name any of `oldVersions`.
void chooseAndConfirm(Board& board, bool factoryReset,
                      const std::vector<std::string>& oldVersions = {scenes::preparedVersion});

} // namespace boardTest
