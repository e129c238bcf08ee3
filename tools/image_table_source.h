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

/// Returns a C++ source text that defines the variables of graphics/image_table.h. The text depends only on `images`.
std::string imageTableSource(const std::vector<NamedImage>& images);
