// Saves the screens of a run as PNG files.
#pragma once

#include "sim/models/screen.h"

#include <filesystem>
#include <set>
#include <string>

namespace sim {

class FrameFolder {
public:
    /// Creates the folder if it does not exist. With an empty path, nothing is saved. Throws std::runtime_error when
    /// the folder cannot be created.
    explicit FrameFolder(std::filesystem::path path);

    /// Saves the screen under the next number, as 0001.png or, with a name, as 0001-NAME.png. A screen that has been
    /// saved already is ignored.
    void add(const Screen& screen, const std::string& name);

private:
    std::filesystem::path folder;
    std::set<Screen> saved;
};

/// Saves the screen at twice its size in the current folder, under a new name, and returns the name.
std::string saveScreenshot(const Screen& screen);

} // namespace sim
