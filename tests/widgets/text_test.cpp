// The text label: its sizes, its layout, and what marks it dirty.
#include "widgets/text.h"

#include "graphics/font.h"
#include "tests/support/test_font.h"
#include "tests/widgets/probe_widget.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace {

class TextTest : public GraphicsTest {
protected:
    TextTest() { buildTinyFont(); }
};

std::pair<std::int32_t, std::int32_t> sizeOf(const Widget& widget)
{
    return {widget.getSurface().getWidth(), widget.getSurface().getHeight()};
}

TEST_F(TextTest, BeginsEmptyWithoutNameAndSize)
{
    Text text;
    EXPECT_EQ(text.getText(), "");
    EXPECT_EQ(text.getName(), "");
    EXPECT_EQ(sizeOf(text), std::pair(0, 0));
    EXPECT_FALSE(text.isSelectable());
    EXPECT_TRUE(text.isVisible());
    EXPECT_TRUE(text.isDirty());
    text.drawTree();
    EXPECT_FALSE(text.isDirty());
}

TEST_F(TextTest, TakesItsFirstTextAsItsNameAndNoSize)
{
    Text text("tiny", "ab", 2);
    EXPECT_EQ(text.getText(), "ab");
    EXPECT_EQ(text.getName(), "ab");
    EXPECT_EQ(sizeOf(text), std::pair(0, 0));
    EXPECT_FALSE(text.isSelectable());
}

TEST_F(TextTest, BeginsCentredAndInFullInk)
{
    Text text;
    text.setFont("tiny");
    text.setText("i", false);
    text.setSize(3, 5);
    text.drawTree();
    EXPECT_THAT(text.getSurface(), shows({"   ", "#  ", "   ", "#  ", "   "}));
}

TEST_F(TextTest, KeepsItsNameWhenItsTextChanges)
{
    Text text("tiny", "ab", 3);
    text.setText("i", false);
    EXPECT_EQ(text.getText(), "i");
    EXPECT_EQ(text.getName(), "ab");
}

TEST_F(TextTest, IsMarkedByEverySetterEvenWhenNothingChanges)
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
        SCOPED_TRACE(c.name);
        Text text("tiny", "ab", 3);
        settle(text);
        c.set(text);
        EXPECT_TRUE(text.isDirty());
    }
}

TEST_F(TextTest, KeepsItsSizeUnlessItIsToFit)
{
    Text text("tiny", "ab", 3);
    text.setSize(20, 30);
    text.setText("i", false);
    EXPECT_EQ(sizeOf(text), std::pair(20, 30));
    text.setText("ai\nb", true);
    EXPECT_EQ(sizeOf(text), std::pair(13, 3)) << "one line, the line feed as wide as the stand-in";
    text.setText("", true);
    EXPECT_EQ(sizeOf(text), std::pair(0, 3));
    text.setFont("font12");
    text.setText("ab", true);
    EXPECT_EQ(sizeOf(text), std::pair(0, 0));
}

TEST_F(TextTest, TakesTheSizeOfItsBackgroundImage)
{
    storeImage("back.png", {"......", "......", "......", "......", "......"});
    Text text("tiny", "a", 3);
    text.setSize(100, 100);
    text.setBackgroundImage("back.png");
    EXPECT_EQ(sizeOf(text), std::pair(6, 5));
    text.drawTree();
    EXPECT_THAT(text.getSurface(), shows({"......", "#.....", "##....", "#.....", "......"}));
}

TEST_F(TextTest, BecomesEmptyWithAMissingBackgroundImage)
{
    Text text("tiny", "a", 3);
    text.setSize(100, 100);
    testing::internal::CaptureStderr();
    text.setBackgroundImage("absent.png");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Image in image buffer not avilable:absent.png\n");
    EXPECT_EQ(sizeOf(text), std::pair(0, 0));
    text.drawTree();
}

TEST_F(TextTest, DrawsOnlyItsBackgroundImageInAnUnknownFont)
{
    storeImage("back.png", {".-+", "#.-"});
    Text text("font12", "a", 3);
    text.setSize(2, 2);
    text.drawTree();
    EXPECT_THAT(text.getSurface(), shows({"  ", "  "}));
    text.setBackgroundImage("back.png");
    text.drawTree();
    EXPECT_THAT(text.getSurface(), shows({".-+", "#.-"}));
}

TEST_F(TextTest, KeepsItsTextWithinASizeSetAfterTheBackgroundImage)
{
    storeImage("back.png", {"..", ".."});
    Text text("tiny", "a", 3);
    text.setBackgroundImage("back.png");
    text.setSize(3, 5);
    text.drawTree();
    EXPECT_THAT(text.getSurface(), shows({".. ", "#. ", "## ", "#  ", "   "}));
}

TEST_F(TextTest, DrawsInItsColour)
{
    Text text("tiny", "i", 1);
    text.setSize(1, 3);
    text.drawTree();
    EXPECT_THAT(text.getSurface(), shows({"-", " ", "-"}));
    text.setColor(2);
    text.drawTree();
    EXPECT_THAT(text.getSurface(), shows({"+", " ", "+"}));
}

/// A label in the tiny font: glyphs 3 high, spacing 2, so a pitch of 5 when it measures and of 4 when it draws.
struct Layout {
    std::string name;
    std::string text;
    bool centred;
    Picture picture;
};

void PrintTo(const Layout& layout, std::ostream* stream)
{
    *stream << layout.name;
}

class TextLayout : public TextTest, public testing::WithParamInterface<Layout> {};

TEST_P(TextLayout, ShowsThePicture)
{
    const Layout& layout = GetParam();
    Text text("tiny", layout.text, 3);
    text.setSize(static_cast<std::int32_t>(layout.picture.front().size()),
                 static_cast<std::int32_t>(layout.picture.size()));
    text.setVerticallyCentered(layout.centred);
    text.drawTree();
    EXPECT_THAT(text.getSurface(), shows(layout.picture));
}

const std::vector<Layout> layouts = {
    {"CentresOneLine", "i", true, {" ", " ", "#", " ", "#", " ", " "}},
    {"RoundsTheTopDown", "i", true, {" ", "#", " ", "#", " ", " "}},
    {"BeginsAtTheTopWhenNotCentred", "i", false, {"#", " ", "#", " ", " ", " "}},
    // Centred as 8 rows, drawn as 7.
    {"CentresWithTheGapOfTheFontButDrawsWithAGapOfOne",
     "i\ni",
     true,
     {" ", "#", " ", "#", " ", "#", " ", "#", " ", " "}},
    {"DrawsWithAGapOfOneAlsoWhenNotCentred", "i\ni", false, {"#", " ", "#", " ", "#", " ", "#", " ", " ", " "}},
    // Two lines fit in 8 rows, one in 7.
    {"DrawsAsManyLinesAsFit", "i\ni\ni", true, {"#", " ", "#", " ", "#", " ", "#", " "}},
    {"DropsALineThatDoesNotFitByOneRow", "i\ni\ni", true, {" ", " ", "#", " ", "#", " ", " "}},
    {"WrapsAtItsOwnWidth", "aa", false, {"#   ", "##  ", "#   ", "    ", "#   ", "##  ", "#   ", "    "}},
    {"FillsItsOwnWidth", "aa", false, {"#  # ", "## ##", "#  # ", "     ", "     "}},
    // Nothing fits in 2 rows: the first line is drawn all the same, below the middle or clipped.
    {"DrawsBelowItselfWhenNoLineFitsCentred", "i", true, {" ", " "}},
    {"DrawsAClippedFirstLineWhenNoLineFitsAndItIsNotCentred", "i", false, {"#", " "}},
    {"DrawsNothingForEmptyText", "", true, {"  ", "  ", "  "}},
};

std::string nameOf(const testing::TestParamInfo<Layout>& info)
{
    return info.param.name;
}
INSTANTIATE_TEST_SUITE_P(Label, TextLayout, testing::ValuesIn(layouts), nameOf);

// ---- with the real fonts ----

class TextInFont8 : public GraphicsTest {
protected:
    TextInFont8() { buildRealFonts(); }

    /// What drawText shows on a label of that size, from row `top` on.
    static Bitmap drawn(std::int32_t width, std::int32_t height, std::int32_t top, const std::string& text,
                        std::int32_t maxLines)
    {
        Bitmap bitmap(width, height);
        bitmap.fill(transparentPixel);
        drawText(bitmap, 0, top, "font8", text, 3, width, maxLines, 1);
        return bitmap;
    }

    static std::string lines(int count)
    {
        std::string text = "A";
        for (int line = 1; line < count; ++line) {
            text += "\nA";
        }
        return text;
    }
};

TEST_F(TextInFont8, DrawsOneLineOfALabel100RowsHighAtRow46OrAtTheTopWhenNotCentred)
{
    Text text("font8", "Waiting for USB...", 3);
    text.setSize(256, 100);
    text.drawTree();
    EXPECT_THAT(text.getSurface(), shows(drawn(256, 100, 46, "Waiting for USB...", 1)));
    text.setVerticallyCentered(false);
    text.drawTree();
    EXPECT_THAT(text.getSurface(), shows(drawn(256, 100, 0, "Waiting for USB...", 1)));
}

TEST_F(TextInFont8, DrawsTenOfFourteenLinesInALabel100RowsHighFromRow1)
{
    Text text("font8", lines(14), 3);
    text.setSize(256, 100);
    text.drawTree();
    EXPECT_THAT(text.getSurface(), shows(drawn(256, 100, 1, lines(10), 99)));
}

TEST_F(TextInFont8, DrawsThreeLinesInALabel100RowsHighFromRow36)
{
    Text text("font8", lines(3), 3);
    text.setSize(256, 100);
    text.drawTree();
    EXPECT_THAT(text.getSurface(), shows(drawn(256, 100, 36, lines(3), 3)));
}

TEST_F(TextInFont8, ShowsNothingInALabelOfHeightZero)
{
    Text text("font8", "A", 3);
    text.setSize(256, 0);
    text.drawTree();
    EXPECT_EQ(sizeOf(text), std::pair(256, 0));
}

TEST_F(TextInFont8, IsElevenByEightAndMarkedWhenItFitsAB)
{
    Text text("font8", "", 3);
    settle(text);
    text.setText("AB", true);
    EXPECT_EQ(sizeOf(text), std::pair(11, 8));
    EXPECT_TRUE(text.isDirty());
    text.drawTree();
    EXPECT_THAT(text.getSurface(), shows(drawn(11, 8, 0, "AB", 1)));
}

TEST_F(TextInFont8, TakesNoInputAndPassesNotificationsOn)
{
    ProbeWidget screen("screen");
    Text text("font8", "title", 3);
    screen.addChild(text, 0, 0, 100, 20);
    for (const InputEvent event : {InputEvent::Press, InputEvent::Release, InputEvent::LongPress}) {
        EXPECT_FALSE(text.onInput(event));
    }
    text.setSelected(true);
    EXPECT_THAT(screen.notifications, testing::ElementsAre(Notification{"title", 1, {}}, Notification{"title", 2, {}}));
    EXPECT_EQ(sizeOf(text), std::pair(100, 20));
}

} // namespace
