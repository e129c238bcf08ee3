// Reads PNG files as pictures in the grey levels of the display.
#pragma once

#include "tools/level_image.h"

#include <filesystem>

/// Reads a PNG file of any colour type and depth. The greys 255, 170, 84 and 0 become the levels 0, 1, 2 and 3.
///
/// Throws Refusal for a pixel that has another colour or is not opaque (the message names the first such pixel), for a
/// width or height above 4096, and for a file that cannot be read, is not a valid PNG file, or continues after the
/// picture.
LevelImage readPngImage(const std::filesystem::path& file);
