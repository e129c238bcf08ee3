// Saves the screens of a run as PNG files.
#pragma once

#include "sim/models/screen.h"

#include <filesystem>
#include <set>
#include <string>

namespace sim {

class FrameFolder {
public:
    /// Creates the folder if it does not exist. If the path is empty, nothing is saved. Throws std::runtime_error if
    /// the folder cannot be created.
    explicit FrameFolder(std::filesystem::path path);

    /// Saves the screen under the next number: as NUMBER-NAME.png, or as NUMBER.png if `name` is empty. The first
    /// number is 0001. Ignores a screen that has already been saved.
    void add(const Screen& screen, const std::string& name);

private:
    std::filesystem::path folder;
    std::set<Screen> saved;
};

/// Saves the screen at twice its size in the current folder under an unused name, and returns the name.
std::string saveScreenshot(const Screen& screen);

} // namespace sim
