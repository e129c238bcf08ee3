// A text label, wrapped to its own width and cut to its own height.
#pragma once

#include "widgets/widget.h"

#include <string>

class Text : public Widget {
public:
    Text() = default;
    /// Its size stays 0 by 0 until the owner sets one.
    Text(std::string fontName, std::string initialText, Pixel textColor);

    void draw() override;

    void setFont(std::string fontName);
    /// With `fit`, the label takes the size of the text set on one line. The widget's name stays.
    void setText(std::string newText, bool fit);
    void setColor(Pixel value);
    /// Otherwise the text begins at the top. On by default.
    void setVerticallyCentered(bool value);
    /// The label takes the size of the picture, over which the text is drawn.
    void setBackgroundImage(const std::string& path);

    [[nodiscard]] const std::string& getText() const { return text; }

private:
    std::string font;
    std::string text;
    Pixel color = inkPixel;
    Bitmap backgroundImage;
    bool verticallyCentered = true;
};
