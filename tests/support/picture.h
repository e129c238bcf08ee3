// Pictures written as rows of characters. Tests create bitmaps from them and compare bitmaps with them.
#pragma once

#include "graphics/bitmap.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// One string per row, all of the same length, one character per pixel: '.' '-' '+' '#' are the levels 0 to 3, a space
/// is transparent, '4' to '9' are the values 4 to 9. Any other value prints as '?'.
using Picture = std::vector<std::string>;

/// A picture without rows becomes a 0 by 0 bitmap. Throws std::invalid_argument if the rows differ in length or
/// contain an invalid character.
[[nodiscard]] Bitmap bitmapOf(const Picture& picture);
[[nodiscard]] Picture pictureOf(const Bitmap& bitmap);
[[nodiscard]] char letterOf(Pixel value);

/// Returns a bitmap with `value` in every pixel.
[[nodiscard]] Bitmap filledBitmap(std::int32_t width, std::int32_t height, Pixel value);

/// Returns a text with both pictures side by side, in which the rows that differ are marked.
[[nodiscard]] std::string sideBySide(const Picture& expected, const Picture& actual);

/// Succeeds if the bitmap has the size and the pixels of `expected`: EXPECT_TRUE(shows(bitmap, {"..#", "##."})).
/// All values that print as '?' count as equal.
[[nodiscard]] testing::AssertionResult shows(const Bitmap& bitmap, const Picture& expected);
[[nodiscard]] testing::AssertionResult shows(const Bitmap& bitmap, const Bitmap& expected);
