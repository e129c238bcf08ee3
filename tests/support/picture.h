// Pictures written as rows of characters, to create bitmaps from and to compare them with.
#pragma once

#include "graphics/bitmap.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// One string per row, all of the same length, one character per pixel: '.' '-' '+' '#' are the levels 0 to 3, a space
/// is transparent, '4' to '9' are those values. Any other value prints as '?'.
using Picture = std::vector<std::string>;

/// A picture without rows becomes a 0 by 0 bitmap. Throws std::invalid_argument for anything that is not a picture.
[[nodiscard]] Bitmap bitmapOf(const Picture& picture);
[[nodiscard]] Picture pictureOf(const Bitmap& bitmap);
[[nodiscard]] char letterOf(Pixel value);

/// A bitmap of one value.
[[nodiscard]] Bitmap filledBitmap(std::int32_t width, std::int32_t height, Pixel value);

/// Both pictures next to each other, with a mark behind the rows that differ.
[[nodiscard]] std::string sideBySide(const Picture& expected, const Picture& actual);

/// Whether the bitmap has exactly this size and these pixels: EXPECT_TRUE(shows(bitmap, {"..#", "##."})).
[[nodiscard]] testing::AssertionResult shows(const Bitmap& bitmap, const Picture& expected);
[[nodiscard]] testing::AssertionResult shows(const Bitmap& bitmap, const Bitmap& expected);
