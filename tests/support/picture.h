// Pictures written out as rows of characters, to build bitmaps from and to compare them with.
#pragma once

#include "graphics/bitmap.h"

#include <gmock/gmock.h>

#include <iosfwd>
#include <string>
#include <vector>

/// One string a row, all equally long. A character a pixel: '.' '-' '+' '#' are the levels 0 to 3, a blank is
/// transparent, '4' to '9' are those values. '?' only appears in what is printed: any other value.
using Picture = std::vector<std::string>;

/// A picture without rows makes a 0 by 0 bitmap.
[[nodiscard]] Bitmap bitmapOf(const Picture& picture);
[[nodiscard]] Picture pictureOf(const Bitmap& bitmap);
/// The letter of a pixel value.
[[nodiscard]] char letterOf(Pixel value);

/// How failing tests show a bitmap; found by the test libraries by these names.
void PrintTo(const Bitmap& bitmap, std::ostream* stream);
void showValue(const Bitmap& bitmap, std::ostream& stream);

/// Both pictures side by side, with the rows marked that differ.
[[nodiscard]] std::string sideBySide(const Picture& expected, const Picture& actual);

/// Matches a bitmap of exactly this size and these pixels: EXPECT_THAT(bitmap, shows({"..#", "##."})).
[[nodiscard]] testing::Matcher<const Bitmap&> shows(Picture expected);
[[nodiscard]] testing::Matcher<const Bitmap&> shows(const Bitmap& expected);
