// The one screen of the program and the update that it leads through.
#pragma once

#include "graphics/bitmap.h"
#include "hw/i2c_bus.h"
#include "hw/led_driver.h"
#include "updater/command_runner.h"
#include "widgets/button.h"
#include "widgets/text.h"
#include "widgets/widget.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>

enum class UpdateState : std::uint32_t {
    WaitingForUsb = 0,
    /// The decrypt script runs.
    Preparing = 1,
    /// The menu or the confirmation dialog is shown.
    Choosing = 2,
    /// The format script runs.
    Formatting = 3,
    /// The install script runs.
    Installing = 4,
    // Nothing leads out of these two: the device has to be restarted.
    Done = 5,
    Failed = 6,
};

/// Waits for a USB drive, has it decrypted, lets the user choose and confirm, formats and installs. The images and
/// fonts must be there before it is built.
class Updater final : public Widget {
public:
    /// Also switches the device's LEDs on.
    Updater();

    /// One step of the state machine; `iteration` goes up by one a call, about every millisecond. Throws when a script
    /// cannot be started or the drive cannot be looked for.
    void update(std::uint64_t iteration) override;
    bool onInput(InputEvent event) override;
    void broadcast(std::int32_t code, EventData data) override;
    void onResize(std::int32_t width, std::int32_t height) override;
    void draw() override;
    void notify(std::string senderName, std::int32_t code, EventData data) override;

    /// Returns the new state.
    UpdateState showMenu();
    [[nodiscard]] UpdateState getState() const { return state; }

private:
    /// What the buttons send.
    enum Action : std::int32_t { askUpdate = 3, askFactoryReset = 4, cancel = 5, confirm = 6 };

    void buildTree();
    void askToConfirm(const std::string& question, bool factoryReset);
    void startWork();

    void turnWheel(std::uint64_t iteration);
    void lookForDrive(std::uint64_t iteration);
    void followCommand();
    void showProgress();
    void commandSucceeded();
    void commandFailed(std::uint32_t status);
    void offerChoice();
    void setMessage(const std::string& text) { message.setText(text, false); }

    static constexpr std::int32_t noWheel = -1;

    I2cBus i2c;
    LedDriver leds;
    Text title;
    Button factoryButton;
    Button updateButton;
    /// 0 for an update, 1 for a factory reset: the format script's argument.
    std::uint32_t isFactoryReset = 0;
    Text message;
    /// Stands before every progress line.
    std::string progressHeader;
    std::string updateQuestion;
    std::string factoryQuestion;
    Button noButton;
    Button yesButton;
    std::array<Bitmap, 8> wheelFrames;
    std::int32_t wheelFrame = noWheel;
    std::uint64_t lastUsbCheck = 0;
    UpdateState state = UpdateState::WaitingForUsb;
    std::unique_ptr<CommandRunner> runner;
    /// Empty when nothing (readable) is installed.
    std::string oldVersion;
    std::string newVersion;
};
