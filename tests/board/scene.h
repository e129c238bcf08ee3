// The screens of each phase of the update, and a check of their order.
#pragma once

#include "sim/models/screen.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

/// A phase of the update. Its screens can appear in any order and any number of times, because the wheel turns and
/// progress lines arrive at varying times.
struct Scene {
    std::string name;
    std::vector<sim::Screen> screens;

    [[nodiscard]] bool has(const sim::Screen& screen) const;
};

/// Succeeds if each screen belongs to the same scene as the screen before it or to the next scene, and every scene
/// occurs.
testing::AssertionResult showsInOrder(const std::vector<sim::Screen>& screens, const std::vector<Scene>& expected);

namespace scenes {

[[nodiscard]] Scene waiting();
[[nodiscard]] Scene preparing();
/// The menu with nothing selected, with the update selected, and with the factory reset selected.
[[nodiscard]] Scene menu();
[[nodiscard]] Scene updateSelected();
[[nodiscard]] Scene factoryResetSelected();
/// The version on the prepared card.
inline const std::string preparedVersion = "1.4.2";
/// The version on the drive.
inline const std::string newVersion = "2.0.0";
/// The dialog with "Yes" (`yes`) or "No" selected. The question about an update may name any of `oldVersions`.
[[nodiscard]] Scene question(bool factoryReset, bool yes,
                             const std::vector<std::string>& oldVersions = {preparedVersion});
[[nodiscard]] Scene working(bool factoryReset);
[[nodiscard]] Scene done();
[[nodiscard]] Scene failed(const std::string& message);

} // namespace scenes
