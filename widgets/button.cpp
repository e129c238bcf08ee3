// Draws the button and translates input into its actions.
#include "widgets/button.h"

#include "graphics/font.h"
#include "graphics/image_store.h"

#include <utility>

Button::Button(const std::string& imagePath, const std::string& selectedImagePath, std::int32_t labelLeft,
               std::int32_t labelTop, Pixel color, Pixel selectedColor, std::string fontName, std::string labelText,
               std::int32_t maxLabelWidth)
    : image(getImage(imagePath)), selectedImage(getImage(selectedImagePath)), labelX(labelLeft), labelY(labelTop),
      labelColor(color), selectedLabelColor(selectedColor), font(std::move(fontName)), label(std::move(labelText)),
      labelWidth(maxLabelWidth)
{
    name = label;
    setSize(image.getWidth(), image.getHeight());
    setSelectable(true);
}

bool Button::onInput(InputEvent event)
{
    struct Trigger {
        InputEvent event;
        Action action;
    };
    // The second press action is listed after the press action, so pressAction takes precedence.
    static constexpr std::array<Trigger, actionCount> triggers = {{
        {InputEvent::Release, releaseAction},
        {InputEvent::LongPress, longPressAction},
        {InputEvent::Press, pressAction},
        {InputEvent::Press, secondPressAction},
    }};
    for (const Trigger& trigger : triggers) {
        if (selected && event == trigger.event && actionCode[trigger.action] != 0) {
            notify(name, actionCode[trigger.action], actionData[trigger.action]);
            return true;
        }
    }
    return Widget::onInput(event);
}

void Button::draw()
{
    surface.drawBitmap(0, 0, selected ? selectedImage : image, false);
    if (overlayShown) {
        surface.drawBitmap(0, 0, selected ? selectedOverlayImage : overlayImage, false);
    }
    if (!label.empty()) {
        drawText(surface, labelX, labelY, font, label, selected ? selectedLabelColor : labelColor, labelWidth, 1, 1);
    }
}

void Button::setAction(Action action, std::int32_t code, EventData data)
{
    actionCode[action] = code;
    actionData[action] = std::move(data);
}

void Button::setOverlayShown(bool value)
{
    if (value != overlayShown) {
        markDirty();
    }
    overlayShown = value;
}

void Button::setOverlayImages(const std::string& path, const std::string& selectedPath)
{
    overlayImage = getImage(path);
    selectedOverlayImage = getImage(selectedPath);
}
