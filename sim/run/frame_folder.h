// Saving the screens of a run.
#pragma once

#include "sim/models/screen.h"

#include <filesystem>
#include <set>
#include <string>

namespace sim {

class FrameFolder {
public:
    /// Makes the folder if need be; an empty path saves nothing. Throws std::runtime_error when it cannot be made.
    explicit FrameFolder(std::filesystem::path path);

    /// Saves the screen, a pixel a pixel, as 0001.png, 0002.png and so on unless it has been saved before; one that has
    /// a name as 0003-NAME.png.
    void add(const Screen& screen, const std::string& name);

private:
    std::filesystem::path folder;
    std::set<Screen> saved;
};

/// Saves a screen, twice as large for a person to look at, under a new name in the current folder, and returns it.
std::string saveScreenshot(const Screen& screen);

} // namespace sim
