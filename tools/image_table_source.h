// Formats the image table as C++.
#pragma once

#include "tools/level_image.h"

#include <string>
#include <vector>

struct NamedImage {
    /// The key in the program's image store.
    std::string path;
    LevelImage image;
};

/// Returns the text of a C++ file that defines the variables of graphics/image_table.h. It depends only on `images`.
std::string imageTableSource(const std::vector<NamedImage>& images);
