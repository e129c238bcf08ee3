// Converts, prints and compares pictures.
#include "tests/support/picture.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace {

constexpr std::string_view levelLetters = ".-+#";

Pixel valueOf(char letter)
{
    if (const auto level = levelLetters.find(letter); level != std::string_view::npos) {
        return static_cast<Pixel>(level);
    }
    if (letter == ' ') {
        return transparentPixel;
    }
    if (letter >= '4' && letter <= '9') {
        return static_cast<Pixel>(letter - '0');
    }
    throw std::invalid_argument(std::string("invalid pixel character: ") + letter);
}

} // namespace

char letterOf(Pixel value)
{
    if (value < levelLetters.size()) {
        return levelLetters[value];
    }
    if (value == transparentPixel) {
        return ' ';
    }
    return value <= 9 ? static_cast<char>('0' + value) : '?';
}

Bitmap bitmapOf(const Picture& picture)
{
    const std::size_t width = picture.empty() ? 0 : picture.front().size();
    std::vector<std::uint8_t> values;
    for (const std::string& row : picture) {
        if (row.size() != width) {
            throw std::invalid_argument("the rows of the picture differ in length");
        }
        std::transform(row.begin(), row.end(), std::back_inserter(values), valueOf);
    }
    return {static_cast<std::int32_t>(width), static_cast<std::int32_t>(picture.size()), values};
}

Picture pictureOf(const Bitmap& bitmap)
{
    Picture picture;
    for (std::int32_t y = 0; y < bitmap.getHeight(); ++y) {
        std::string& row = picture.emplace_back();
        for (std::int32_t x = 0; x < bitmap.getWidth(); ++x) {
            row += letterOf(bitmap.pixel(x, y));
        }
    }
    return picture;
}

Bitmap filledBitmap(std::int32_t width, std::int32_t height, Pixel value)
{
    Bitmap bitmap(width, height);
    bitmap.fill(value);
    return bitmap;
}

std::string sideBySide(const Picture& expected, const Picture& actual)
{
    const auto rowOf = [](const Picture& picture, std::size_t y) {
        return y < picture.size() ? '|' + picture[y] + '|' : std::string();
    };
    const std::string heading = "expected";
    std::size_t column = heading.size();
    for (std::size_t y = 0; y < expected.size(); ++y) {
        column = std::max(column, rowOf(expected, y).size());
    }
    const auto padded = [column](std::string text) {
        text.resize(column + 2, ' ');
        return text;
    };
    std::string result = padded(heading) + "actual\n";
    for (std::size_t y = 0; y < std::max(expected.size(), actual.size()); ++y) {
        const std::string left = rowOf(expected, y);
        const std::string right = rowOf(actual, y);
        result += padded(left) + right + (left == right ? "\n" : "  <- differs\n");
    }
    return result;
}

testing::AssertionResult shows(const Bitmap& bitmap, const Picture& expected)
{
    const Picture actual = pictureOf(bitmap);
    if (actual == expected) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << '\n' << sideBySide(expected, actual);
}

testing::AssertionResult shows(const Bitmap& bitmap, const Bitmap& expected)
{
    return shows(bitmap, pictureOf(expected));
}
