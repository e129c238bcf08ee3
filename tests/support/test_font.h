// Image store and fonts for tests: empty at the start of each, filled with hand-written pictures.
#pragma once

#include "graphics/font.h"
#include "graphics/image_store.h"
#include "tests/support/picture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>

/// A test that begins and ends with an empty image store and no fonts.
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

/// Stores `picture` where a font built from `directory` finds it as the glyph of `code`.
inline void storeGlyph(const std::string& directory, std::uint8_t code, const Picture& picture)
{
    char file[8];
    std::snprintf(file, sizeof file, "%02x.png", unsigned{code});
    storeImage(directory + '/' + file, picture);
}

/// The font "tiny": glyphs 3 rows high, 'a' 2 wide, 'b' 3 wide, 'i' 1 wide, the stand-in 4 wide; one column and two
/// rows of spacing.
inline void buildTinyFont()
{
    storeGlyph("tiny", 0x00, {"####", "#..#", "####"});
    storeGlyph("tiny", 'a', {"#.", "##", "#."});
    storeGlyph("tiny", 'b', {"#.#", ".#.", "#.#"});
    storeGlyph("tiny", 'i', {"#", ".", "#"});
    buildFont("tiny", "tiny", 1, 2, 1);
}

/// The compiled-in images and the fonts of the program.
inline void buildRealFonts()
{
    buildImageStore();
    buildFont("font8", "img/font8", 1, 2, 1);
    buildFont("font16", "img/font8", 2, 4, 2);
    buildFont("font64", "img/font8", 8, 16, 8);
}
