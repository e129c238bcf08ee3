// The screen: construction, input and drawing.
#include "updater/updater.h"

#include "graphics/image_store.h"
#include "updater/screen_texts.h"

#include <utility>

namespace {

constexpr std::uint8_t ledBus = 22;
constexpr std::uint8_t ledAddress = 0x6C;
constexpr std::uint8_t allLeds = 10;

constexpr std::int32_t titleBandHeight = 20;
constexpr std::int32_t wheelCentreX = 128;
constexpr std::int32_t wheelBottom = 155;

Button imageButton(const std::string& image, std::int32_t labelX, const std::string& label, std::int32_t labelWidth)
{
    return {
        "img/" + image + ".png", "img/" + image + "_selected.png", labelX, 6, inkPixel, 0, "font8", label, labelWidth};
}

} // namespace

Updater::Updater()
    : i2c(ledBus), leds(i2c, ledAddress),
      factoryButton(imageButton("button_factory", 26, texts::factoryResetButton, 256)),
      updateButton(imageButton("button_update", 26, texts::updateButton, 256)),
      noButton(imageButton("dialog_button_cancel", 15, texts::noButton, 0)),
      yesButton(imageButton("dialog_button_ok", 15, texts::yesButton, 0))
{
    for (std::size_t i = 0; i < wheelFrames.size(); ++i) {
        wheelFrames[i] = getImage("img/wheel_" + std::to_string(i) + ".png");
    }
    name = "Updater";
    leds.setLevel(allLeds);
    leds.flush();
    background = 0;
    markDirty();
    // Deliberate: this name replaces the name set above.
    name = "SettingsWidget";

    buildTree();
    setMessage(texts::waiting);
    wheelFrame = 0;
}

void Updater::buildTree()
{
    title.setFont("font16");
    title.setText(texts::title, false);
    title.setColor(0);
    message.setFont("font8");
    message.setVerticallyCentered(false);

    factoryButton.setReleaseAction(askFactoryReset, {});
    updateButton.setReleaseAction(askUpdate, {});
    noButton.setReleaseAction(cancel, {});
    yesButton.setReleaseAction(confirm, {});
    for (Button* button : {&factoryButton, &updateButton, &noButton, &yesButton}) {
        button->setVisible(false);
    }

    addChild(title, 2, 2, 252, 16);
    addChild(factoryButton, 0, 20);
    addChild(updateButton, 0, 39);
    addChild(message, 0, 24, 256, 100);
    addChild(noButton, 142, 131);
    addChild(yesButton, 194, 131);
}

bool Updater::onInput(InputEvent event)
{
    if (Widget::onInput(event)) {
        return true;
    }
    switch (event) {
    case InputEvent::RotateRight:
        selectNext();
        return true;
    case InputEvent::RotateLeft:
        selectPrevious();
        return true;
    default:
        return false;
    }
}

void Updater::broadcast(std::int32_t code, EventData data)
{
    Widget::broadcast(code, std::move(data));
}

void Updater::onResize(std::int32_t /*width*/, std::int32_t /*height*/)
{}

void Updater::draw()
{
    surface.fillRect(0, 0, surface.getWidth(), titleBandHeight, inkPixel);
    if (wheelFrame != noWheel) {
        const Bitmap& wheel = wheelFrames[static_cast<std::size_t>(wheelFrame)];
        surface.drawBitmap(wheelCentreX - wheel.getWidth() / 2, wheelBottom - wheel.getHeight(), wheel, false);
    }
}

void Updater::notify(std::string /*senderName*/, std::int32_t code, EventData /*data*/)
{
    switch (code) {
    case askUpdate:
        askToConfirm(updateQuestion, false);
        break;
    case askFactoryReset:
        askToConfirm(factoryQuestion, true);
        break;
    case cancel:
        showMenu();
        break;
    case confirm:
        startWork();
        break;
    default:
        break; // selection notifications
    }
}

UpdateState Updater::showMenu()
{
    wheelFrame = noWheel;
    factoryButton.setVisible(true);
    // Without a known installed version, only a factory reset is offered.
    updateButton.setVisible(!oldVersion.empty());
    message.setVisible(false);
    noButton.setVisible(false);
    yesButton.setVisible(false);
    state = UpdateState::Choosing;
    return state;
}

void Updater::askToConfirm(const std::string& question, bool factoryReset)
{
    updateButton.setVisible(false);
    factoryButton.setVisible(false);
    message.setVisible(true);
    setMessage(question);
    noButton.setVisible(true);
    yesButton.setVisible(true);
    noButton.setSelected(true); // the safe choice
    isFactoryReset = factoryReset ? 1 : 0;
}
