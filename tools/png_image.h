// Reads PNG files as pictures in the grey levels of the display.
#pragma once

#include "tools/level_image.h"

#include <filesystem>

/// Reads a PNG file of any colour type and depth. The greys 255, 170, 84 and 0 become the levels 0, 1, 2 and 3.
///
/// Throws Refusal, with the first offending pixel where there is one, for any other colour, for transparency, for a
/// size above 4096 in a direction and for everything that is not one whole, sound PNG file.
LevelImage readPngImage(const std::filesystem::path& file);
