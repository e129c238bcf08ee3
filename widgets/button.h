// A selectable image button with a one-line label.
#pragma once

#include "widgets/widget.h"

#include <array>
#include <string>
#include <utility>

/// Shows one picture while unselected and another picture while selected. While selected, handles a press, the end of a
/// short press, and a long press by sending the action code that was set for this event; code 0 means no action.
class Button : public Widget {
public:
    /// Takes the size of the unselected picture; an unknown path yields an empty picture. The label's top-left corner
    /// is (labelLeft, labelTop). The label ends before a glyph that would exceed `maxLabelWidth` columns; 0 means no
    /// limit.
    Button(const std::string& imagePath, const std::string& selectedImagePath, std::int32_t labelLeft,
           std::int32_t labelTop, Pixel color, Pixel selectedColor, std::string fontName, std::string labelText,
           std::int32_t maxLabelWidth);

    bool onInput(InputEvent event) override;
    void draw() override;

    void setReleaseAction(std::int32_t code, EventData data) { setAction(releaseAction, code, std::move(data)); }
    void setLongPressAction(std::int32_t code, EventData data) { setAction(longPressAction, code, std::move(data)); }
    void setPressAction(std::int32_t code, EventData data) { setAction(pressAction, code, std::move(data)); }
    /// Used for a press only if there is no press action.
    void setSecondPressAction(std::int32_t code, EventData data)
    {
        setAction(secondPressAction, code, std::move(data));
    }

    void setOverlayShown(bool value);
    /// Sets the pictures that are drawn over the button's pictures while the overlay is shown. Does not mark the button
    /// dirty.
    void setOverlayImages(const std::string& path, const std::string& selectedPath);

private:
    enum Action : std::size_t { releaseAction, longPressAction, pressAction, secondPressAction, actionCount };

    void setAction(Action action, std::int32_t code, EventData data);

    Bitmap image;
    Bitmap selectedImage;
    std::int32_t labelX;
    std::int32_t labelY;
    Pixel labelColor;
    Pixel selectedLabelColor;
    std::string font;
    std::string label;
    std::int32_t labelWidth;
    std::array<std::int32_t, actionCount> actionCode{};
    std::array<EventData, actionCount> actionData;
    Bitmap overlayImage;
    Bitmap selectedOverlayImage;
    bool overlayShown = false;
};
