// Lays out and draws the text label.
#include "widgets/text.h"

#include "graphics/font.h"
#include "graphics/image_store.h"
#include "graphics/saturate.h"

#include <algorithm>
#include <utility>

Text::Text(std::string fontName, std::string initialText, Pixel textColor)
    : font(std::move(fontName)), text(std::move(initialText)), color(textColor)
{
    name = text;
}

void Text::draw()
{
    surface.drawBitmap(0, 0, backgroundImage, false);

    // 64-bit: heights and spacings may be near the limits of int32_t.
    const std::int32_t width = surface.getWidth();
    const std::int64_t height = surface.getHeight();
    const std::int64_t gap = fontLineSpacing(font);
    const std::int64_t pitch = gap + fontHeight(font);
    if (pitch == 0) {
        return; // the font is unknown, or its line spacing is minus its height
    }
    // Deliberate: the font's line spacing determines how many lines fit and where a centred block starts, but the lines
    // are drawn with a gap of one row.
    const std::int64_t fit = (height + gap) / pitch;
    std::int64_t top = 0;
    if (verticallyCentered) {
        const std::int64_t lines = std::min<std::int64_t>(countLines(font, text, width), fit);
        top = (height - (lines * pitch - gap)) / 2;
    }
    drawText(surface, 0, saturate(top), font, text, color, width, saturate(fit), 1);
}

void Text::setFont(std::string fontName)
{
    font = std::move(fontName);
    markDirty();
}

void Text::setText(std::string newText, bool fit)
{
    text = std::move(newText);
    if (fit) {
        setSize(static_cast<std::int32_t>(textWidth(font, text)), fontHeight(font));
    }
    markDirty();
}

void Text::setColor(Pixel value)
{
    color = value;
    markDirty();
}

void Text::setVerticallyCentered(bool value)
{
    verticallyCentered = value;
    markDirty();
}

void Text::setBackgroundImage(const std::string& path)
{
    backgroundImage = getImage(path);
    setSize(backgroundImage.getWidth(), backgroundImage.getHeight());
}
