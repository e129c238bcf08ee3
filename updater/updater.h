// The program's only screen and the update process that it runs.
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
    // Done and Failed are final: the device must be restarted.
    Done = 5,
    Failed = 6,
};

/// Waits for a USB drive, runs the decrypt script, lets the user choose and confirm an operation, and runs the format
/// and install scripts. The image store and the fonts must have been built.
class Updater : public Widget {
public:
    /// Builds the screen, turns on the LED bar and turns off the RGB LEDs.
    Updater();

    /// Runs one step of the state machine. `iteration` increases by one per call, about every millisecond. Throws
    /// std::runtime_error if a process cannot be started, and std::filesystem::filesystem_error if the drive cannot be
    /// queried. A script that is missing or exits with a non-zero status does not cause an exception; the state becomes
    /// `Failed`.
    void update(std::uint64_t iteration) override;
    bool onInput(InputEvent event) override;
    void broadcast(std::int32_t code, EventData data) override;
    void onResize(std::int32_t width, std::int32_t height) override;
    void draw() override;
    void notify(std::string senderName, std::int32_t code, EventData data) override;

    /// Shows the menu and hides the message, the dialog and the wheel. Shows the update button only if the installed
    /// version is known. Returns the new state, `Choosing`.
    UpdateState showMenu();

private:
    /// The notification codes of the buttons.
    enum Action : std::int32_t { askUpdate = 3, askFactoryReset = 4, cancel = 5, confirm = 6 };

    void buildTree();
    void askToConfirm(const std::string& question, bool factoryReset);
    void startWork();

    void turnWheel(std::uint64_t iteration);
    void checkForDrive(std::uint64_t iteration);
    void pollCommand();
    void showProgress();
    void commandSucceeded();
    void commandFailed(std::uint32_t status);
    void offerChoice();
    void setMessage(const std::string& text) { message.setText(text, false); }

    static constexpr std::int32_t noWheel = -1;

protected:
    I2cBus i2c;
    LedDriver leds;
    Text title;
    Button factoryButton;
    Button updateButton;
    /// The format script's argument: 0 for an update, 1 for a factory reset.
    std::uint32_t isFactoryReset = 0;
    Text message;
    /// The text that precedes the script's progress.
    std::string progressHeader;
    std::string updateQuestion;
    std::string factoryQuestion;
    Button noButton;
    Button yesButton;
    // The wheel is the busy indicator on the screen, not the knob.
    std::array<Bitmap, 8> wheelFrames;
    std::int32_t wheelFrame = noWheel;
    /// The iteration of the last check for the drive.
    std::uint64_t lastUsbCheck = 0;
    UpdateState state = UpdateState::WaitingForUsb;
    std::unique_ptr<CommandRunner> runner;
    /// The installed version; empty if there is none or it cannot be read.
    std::string oldVersion;
    std::string newVersion;
};
