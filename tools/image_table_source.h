// Writes the image table as C++.
#pragma once

#include "tools/level_image.h"

#include <string>
#include <vector>

struct NamedImage {
    /// The key under which the program looks the image up.
    std::string path;
    LevelImage image;
};

/// A C++ file with the definitions that graphics/image_table.h declares. Depends on the arguments alone.
std::string imageTableSource(const std::vector<NamedImage>& images);
