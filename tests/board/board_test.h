// What the tests of the emulated board share.
#pragma once

#include "tests/board/board.h"

#include <gmock/gmock.h>
#include <string>
#include <vector>

namespace boardTest {

/// Nothing that a display or an LED controller could take amiss went over the wires, and every frame was whole.
[[nodiscard]] testing::AssertionResult isWellBehaved(Board& board);

[[nodiscard]] std::vector<std::string> eventsOf(Board& board);
[[nodiscard]] bool hasScreen(const Bus& bus);
/// All screens from number `first` on.
[[nodiscard]] std::vector<sim::Screen> screensFrom(Board& board, std::size_t first = 0);

/// Opens the card's memory partition on this machine: a sound file system with exactly the firmware 2.0.0, and the
/// owner's presets (`kept`) or the firmware's own.
[[nodiscard]] testing::AssertionResult holdsNewFirmware(const std::filesystem::path& card, bool kept);
/// The card is as it was prepared, to the last byte.
[[nodiscard]] testing::AssertionResult isUntouched(const std::filesystem::path& card);

/// From the waiting screen with a drive in, to the work: picks one of the two, says "Yes".
void chooseAndConfirm(Board& board, bool factoryReset,
                      const std::vector<std::string>& oldVersions = {scenes::preparedVersion});

} // namespace boardTest
