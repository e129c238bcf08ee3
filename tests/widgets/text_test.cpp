// Tests of the text label: size, layout, and the setters that mark it dirty.
#include "widgets/text.h"

#include "graphics/font.h"
#include "tests/support/test_font.h"
#include "tests/widgets/probe_widget.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace {

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();

using Label = Exposed<Text>;
using Size = std::pair<std::int32_t, std::int32_t>;

class TextTest : public GraphicsTest {
protected:
    TextTest() { buildTinyFont(); }

    /// Returns the surface of a label of the given size after drawing it.
    static Bitmap drawn(const std::string& font, const std::string& text, Size size, bool centred)
    {
        Label label(font, text, 3);
        label.setSize(size.first, size.second);
        label.setVerticallyCentered(centred);
        label.drawTree();
        return label.getSurface();
    }
};

TEST_F(TextTest, HasNoTextNoNameAndNoSizeInitially)
{
    Label label;
    EXPECT_EQ(label.name, "");
    EXPECT_EQ(sizeOf(label), Size(0, 0));
    EXPECT_FALSE(label.isSelectable());
    EXPECT_TRUE(label.isVisible());
    EXPECT_TRUE(label.dirty);
    label.drawTree();
    EXPECT_FALSE(label.dirty);

    label.setFont("tiny");
    label.setText("i", false);
    label.setSize(3, 5);
    label.drawTree();
    EXPECT_TRUE(shows(label.getSurface(), {"   ", "#  ", "   ", "#  ", "   "})) << "not centred, or not in full ink";
}

TEST_F(TextTest, TheInitialTextIsTheName)
{
    Label label("tiny", "ab", 2);
    EXPECT_EQ(label.name, "ab");
    EXPECT_EQ(sizeOf(label), Size(0, 0));
    EXPECT_FALSE(label.isSelectable());
    label.setText("i", false);
    EXPECT_EQ(label.name, "ab");
}

TEST_F(TextTest, EverySetterMarksTheLabelDirtyEvenIfTheValueIsUnchanged)
{
    storeImage("back.png", {"."});
    struct Case {
        const char* name;
        std::function<void(Text&)> set;
    };
    for (const Case& c : {Case{"setFont", [](Text& text) { text.setFont("tiny"); }},
                          Case{"setText", [](Text& text) { text.setText("ab", false); }},
                          Case{"setText fitting", [](Text& text) { text.setText("ab", true); }},
                          Case{"setColor", [](Text& text) { text.setColor(3); }},
                          Case{"setVerticallyCentered", [](Text& text) { text.setVerticallyCentered(true); }},
                          Case{"setBackgroundImage", [](Text& text) { text.setBackgroundImage("back.png"); }}}) {
        Label label("tiny", "ab", 3);
        label.setBackgroundImage("back.png");
        label.drawTree();
        c.set(label);
        EXPECT_TRUE(label.dirty) << c.name;
    }
}

TEST_F(TextTest, SetTextResizesTheLabelOnlyIfFitIsTrue)
{
    Label label("tiny", "ab", 3);
    label.setSize(20, 30);
    label.setText("i", false);
    EXPECT_EQ(sizeOf(label), Size(20, 30));
    label.setText("ai\nb", true);
    EXPECT_EQ(sizeOf(label), Size(13, 3)) << "not one line, or the line feed is not as wide as the replacement glyph";
    label.setText("", true);
    EXPECT_EQ(sizeOf(label), Size(0, 3));
    label.setFont("font12");
    label.setText("ab", true);
    EXPECT_EQ(sizeOf(label), Size(0, 0));
}

TEST_F(TextTest, SetBackgroundImageResizesTheLabelAndDrawsTheTextOverTheImage)
{
    storeImage("back.png", {"......", "......", "......", "......", "......"});
    Label label("tiny", "a", 3);
    label.setSize(100, 100);
    label.setBackgroundImage("back.png");
    label.drawTree();
    EXPECT_TRUE(shows(label.getSurface(), {"......", "#.....", "##....", "#.....", "......"}));
    label.setSize(7, 6);
    label.drawTree();
    EXPECT_TRUE(shows(label.getSurface(), {"...... ", "#..... ", "##.... ", "#..... ", "...... ", "       "}));
}

TEST_F(TextTest, AMissingBackgroundImageIsReportedAndMakesTheLabelEmpty)
{
    Label label("tiny", "a", 3);
    label.setSize(100, 100);
    testing::internal::CaptureStderr();
    label.setBackgroundImage("absent.png");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Image in image buffer not avilable:absent.png\n");
    EXPECT_EQ(sizeOf(label), Size(0, 0));
}

TEST_F(TextTest, DrawsOnlyTheBackgroundImageIfTheFontIsUnknown)
{
    storeImage("back.png", {".-+", "#.-"});
    Label label("font12", "a", 3);
    label.setSize(2, 2);
    label.drawTree();
    EXPECT_TRUE(shows(label.getSurface(), {"  ", "  "}));
    label.setBackgroundImage("back.png");
    label.drawTree();
    EXPECT_TRUE(shows(label.getSurface(), {".-+", "#.-"}));
}

TEST_F(TextTest, DrawsTextInTheLabelsColour)
{
    Label label("tiny", "i", 1);
    label.setSize(1, 3);
    label.drawTree();
    EXPECT_TRUE(shows(label.getSurface(), {"-", " ", "-"}));
    label.setColor(2);
    label.drawTree();
    EXPECT_TRUE(shows(label.getSurface(), {"+", " ", "+"}));
}

TEST_F(TextTest, LaysOutTheLinesThatFit)
{
    // Glyphs are 3 rows high and the font's line spacing is 2, so lines are 5 rows apart when measured. When drawn,
    // they are 4 rows apart.
    struct Layout {
        const char* description;
        const char* text;
        bool centred;
        Picture picture;
    };
    const std::vector<Layout> layouts = {
        {"one line, centred", "i", true, {" ", " ", "#", " ", "#", " ", " "}},
        {"one line, centred, the top rounded down", "i", true, {" ", "#", " ", "#", " ", " "}},
        {"one line at the top", "i", false, {"#", " ", "#", " ", " ", " "}},
        {"two lines centred as 8 rows, drawn as 7", "i\ni", true, {" ", "#", " ", "#", " ", "#", " ", "#", " ", " "}},
        {"two lines at the top", "i\ni", false, {"#", " ", "#", " ", "#", " ", "#", " ", " ", " "}},
        {"two of three lines fit in 8 rows", "i\ni\ni", true, {"#", " ", "#", " ", "#", " ", "#", " "}},
        {"one of three lines fits in 7 rows", "i\ni\ni", true, {" ", " ", "#", " ", "#", " ", " "}},
        {"a wrap at the width", "aa", false, {"#   ", "##  ", "#   ", "    ", "#   ", "##  ", "#   ", "    "}},
        {"a line as wide as the label", "aa", false, {"#  # ", "## ##", "#  # ", "     ", "     "}},
        {"no line fits: the first is drawn below the label", "i", true, {" ", " "}},
        {"no line fits: the first is drawn and clipped", "i", false, {"#", " "}},
        {"empty text", "", true, {"  ", "  ", "  "}},
    };
    for (const auto& [description, text, centred, picture] : layouts) {
        const Size size(static_cast<std::int32_t>(picture.front().size()), static_cast<std::int32_t>(picture.size()));
        EXPECT_TRUE(shows(drawn("tiny", text, size, centred), picture)) << description;
    }
}

TEST_F(TextTest, LayoutDoesNotOverflowNearTheLimitsOfInt32)
{
    struct Case {
        std::int32_t lineSpacing;
        bool centred;
        Picture picture;
    };
    const Picture centred = {" ", "#", " ", "#", " "};
    const Picture atTheTop = {"#", " ", "#", " ", " "};
    for (const Case& c :
         {Case{highest, true, centred}, Case{highest, false, atTheTop}, Case{highest - 3, true, centred},
          Case{lowest, true, Picture(5, " ")}, Case{lowest, false, atTheTop}}) {
        buildFont("far", "tiny", 1, c.lineSpacing, 1);
        EXPECT_TRUE(shows(drawn("far", "i\ni", {1, 5}, c.centred), c.picture)) << c.lineSpacing;
    }

    // Labels without pixels may have any height, and fonts any line spacing. A spacing of -4 makes lines -1 row apart;
    // with a height of lowest + 4, the number of lines that fit is lowest / -1, which exceeds int32_t.
    for (const std::int32_t lineSpacing : {lowest, -4, -3, 0, highest}) {
        buildFont("far", "tiny", 1, lineSpacing, 1);
        for (const std::int32_t height : {lowest, lowest + 4, highest}) {
            EXPECT_EQ(drawn("far", "i\ni", {0, height}, true).getHeight(), height);
        }
    }
}

// ---- with the program's font ----

class TextInFont8 : public GraphicsTest {
protected:
    TextInFont8() { buildRealFonts(); }

    static std::string lines(int count)
    {
        std::string text = "A";
        for (int line = 1; line < count; ++line) {
            text += "\nA";
        }
        return text;
    }
};

TEST_F(TextInFont8, ALabelOf100RowsShowsAtMostTenLines)
{
    struct Case {
        std::string text;
        bool centred;
        std::int32_t top;
        std::string shown;
    };
    for (const Case& c : {Case{"Waiting for USB...", true, 46, "Waiting for USB..."},
                          Case{"Waiting for USB...", false, 0, "Waiting for USB..."},
                          Case{lines(3), true, 36, lines(3)}, Case{lines(14), true, 1, lines(10)}}) {
        Label label("font8", c.text, 3);
        label.setSize(256, 100);
        label.setVerticallyCentered(c.centred);
        label.drawTree();
        Bitmap expected = filledBitmap(256, 100, transparentPixel);
        drawText(expected, 0, c.top, "font8", c.shown, 3, 256, 99, 1);
        EXPECT_TRUE(shows(label.getSurface(), expected)) << c.text;
    }
}

TEST_F(TextInFont8, DrawingALabelOfHeightZeroKeepsItsSize)
{
    Label label("font8", "A", 3);
    label.setSize(256, 0);
    label.drawTree();
    EXPECT_EQ(sizeOf(label), Size(256, 0));
}

TEST_F(TextInFont8, FittingTwoLettersResizesTheLabelTo11By8Pixels)
{
    Label label("font8", "", 3);
    label.drawTree();
    label.setText("AB", true);
    EXPECT_EQ(sizeOf(label), Size(11, 8));
    EXPECT_TRUE(label.dirty);
    label.drawTree();
    Bitmap expected = filledBitmap(11, 8, transparentPixel);
    drawText(expected, 0, 0, "font8", "AB", 3, 0, 1, 1);
    EXPECT_TRUE(shows(label.getSurface(), expected));
}

TEST_F(TextInFont8, HandlesNoInputAndNotifiesItsParentOfItsSelection)
{
    ProbeWidget screen;
    Label label("font8", "title", 3);
    screen.addChild(label, 0, 0, 100, 20);
    EXPECT_EQ(sizeOf(label), Size(100, 20));
    label.setSelected(true);
    EXPECT_EQ(screen.notifications, (Notifications{{"title", 1, {}}, {"title", 2, {}}}));
    for (const InputEvent event : {InputEvent::Press, InputEvent::Release, InputEvent::LongPress}) {
        EXPECT_FALSE(label.onInput(event));
    }
}

} // namespace
