// The pictures that a stretch of the update shows, and whether a run showed the right ones in the right order.
#pragma once

#include "sim/models/screen.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

/// Any of its screens, in any order and number, as the wheel turns and progress comes.
struct Scene {
    std::string name;
    std::vector<sim::Screen> screens;

    [[nodiscard]] bool has(const sim::Screen& screen) const;
};

/// Every screen belongs to the scene that is on or to a later one, and none is left out.
testing::AssertionResult tellsStory(const std::vector<sim::Screen>& screens, const std::vector<Scene>& story);

namespace scenes {

[[nodiscard]] Scene waiting();
[[nodiscard]] Scene preparing();
/// With nothing selected; with the update selected; with the factory reset selected.
[[nodiscard]] Scene menu();
[[nodiscard]] Scene updateSelected();
[[nodiscard]] Scene factoryResetSelected();
/// The version on the card as it is prepared.
inline const std::string preparedVersion = "1.4.2";
/// The version on the drive.
inline const std::string newVersion = "2.0.0";
/// The question before the work, with "No" or "Yes" selected. That before an update names one of the old versions.
[[nodiscard]] Scene question(bool factoryReset, bool yes,
                             const std::vector<std::string>& oldVersions = {preparedVersion});
[[nodiscard]] Scene working(bool factoryReset);
[[nodiscard]] Scene done();
[[nodiscard]] Scene failed(const std::string& message);

} // namespace scenes
