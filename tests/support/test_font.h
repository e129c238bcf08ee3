// Fills and empties the image store and the font registry for tests.
#pragma once

#include "graphics/font.h"
#include "graphics/image_store.h"
#include "tests/support/picture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>

/// Empties the image store and the font registry before and after each test.
class GraphicsTest : public testing::Test {
protected:
    GraphicsTest() { clear(); }
    ~GraphicsTest() override { clear(); }

private:
    static void clear()
    {
        imageStore.clear();
        fontRegistry.clear();
    }
};

inline void storeImage(const std::string& path, const Picture& picture)
{
    imageStore.insert_or_assign(path, bitmapOf(picture));
}

/// Stores the glyph of `code` for fonts built from `directory`.
inline void storeGlyph(const std::string& directory, std::uint8_t code, const Picture& picture)
{
    char file[8];
    std::snprintf(file, sizeof file, "%02x.png", unsigned{code});
    storeImage(directory + '/' + file, picture);
}

/// Builds the font "tiny": glyphs of 3 rows; 'a' has 2 columns, 'b' 3, 'i' 1, the replacement glyph 4. The
/// letter spacing is 1, the line spacing 2.
inline void buildTinyFont()
{
    storeGlyph("tiny", 0x00, {"####", "#..#", "####"});
    storeGlyph("tiny", 'a', {"#.", "##", "#."});
    storeGlyph("tiny", 'b', {"#.#", ".#.", "#.#"});
    storeGlyph("tiny", 'i', {"#", ".", "#"});
    buildFont("tiny", "tiny", 1, 2, 1);
}

/// Stores the compiled-in images and builds the program's fonts.
inline void buildRealFonts()
{
    buildImageStore();
    buildFont("font8", "img/font8", 1, 2, 1);
    buildFont("font16", "img/font8", 2, 4, 2);
    buildFont("font64", "img/font8", 8, 16, 8);
}
