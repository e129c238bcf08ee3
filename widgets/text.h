// A text label that wraps at its own width. Draws at most as many lines as fit in its height at the font's line
// spacing, but always the first line. Draws no text if the font is unknown.
#pragma once

#include "widgets/widget.h"

#include <string>

class Text : public Widget {
public:
    Text() = default;
    /// The size is 0 by 0 until the owner sets it.
    Text(std::string fontName, std::string initialText, Pixel textColor);

    void draw() override;

    void setFont(std::string fontName);
    /// If `fit` is true, the label takes the size of the text on one line. Does not change the widget's name.
    void setText(std::string newText, bool fit);
    void setColor(Pixel value);
    /// Without centring, the text starts at the top. Centring is on by default.
    void setVerticallyCentered(bool value);
    /// The label takes the size of the picture. The text is drawn over the picture.
    void setBackgroundImage(const std::string& path);

protected:
    std::string font;
    std::string text;
    Pixel color = inkPixel;
    Bitmap backgroundImage;
    bool verticallyCentered = true;
};
