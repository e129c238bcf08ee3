// The screens of each phase of the update, and a check of their order.
#pragma once

#include "sim/models/screen.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

/// A phase can show any of its screens in any order and number, because the wheel turns and progress arrives.
struct Scene {
    std::string name;
    std::vector<sim::Screen> screens;

    [[nodiscard]] bool has(const sim::Screen& screen) const;
};

/// Succeeds when every screen belongs to the current or the next scene and every scene occurs.
testing::AssertionResult showsInOrder(const std::vector<sim::Screen>& screens, const std::vector<Scene>& expected);

namespace scenes {

[[nodiscard]] Scene waiting();
[[nodiscard]] Scene preparing();
/// The menu with nothing selected, with the update selected, with the factory reset selected.
[[nodiscard]] Scene menu();
[[nodiscard]] Scene updateSelected();
[[nodiscard]] Scene factoryResetSelected();
/// The version on the prepared card.
inline const std::string preparedVersion = "1.4.2";
/// The version on the drive.
inline const std::string newVersion = "2.0.0";
/// The dialog with "No" or "Yes" selected. The question before an update names one of the old versions.
[[nodiscard]] Scene question(bool factoryReset, bool yes,
                             const std::vector<std::string>& oldVersions = {preparedVersion});
[[nodiscard]] Scene working(bool factoryReset);
[[nodiscard]] Scene done();
[[nodiscard]] Scene failed(const std::string& message);

} // namespace scenes
