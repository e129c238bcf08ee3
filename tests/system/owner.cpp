// Turns the knob, clicks, and follows the scripts line by line.
#include "tests/system/owner.h"

#include "sim/session/reference_screens.h"
#include "tests/system/screen_painter.h"
#include "updater/timing.h"

namespace matrix {

bool Owner::reachMenu()
{
    current = Operation::Update;
    device.switchOn();
    visitStage(Stage::Waiting);
    if (device.isOn()) {
        if (!device->hasDrive()) { // a fault may have plugged in another drive
            device.plugGoodDrive();
        }
        device->runTo((device->iteration() / usbCheckPeriod + 1) * usbCheckPeriod);
        followScripts(Stage::Decrypting);
    }
    const bool isMenu = device.isOn() && device->standardOutput().find("failed") == std::string::npos;
    if (isMenu) {
        visitStage(Stage::Menu);
    }
    return isMenu && device.isOn();
}

void Owner::operate(Operation operation)
{
    const bool isReset = operation == Operation::Reset;
    current = operation;
    select(isReset ? "menu-factory-reset" : "menu-update");
    device->click();
    settle();
    visitStage(Stage::Dialog);
    if (!device.isOn()) {
        return;
    }
    device->turn(1); // "Yes" is selected unless a fault has delayed an earlier turn
    settle();
    if (screenName().ends_with("-no")) {
        device->turn(1);
        settle();
    }
    device->click();
    followScripts(Stage::Formatting);
    if (device.isOn() && screenName() == "done") {
        visitStage(Stage::Done);
    }
}

/// Turns the knob until the menu shows `screen`, at most three times. In a menu with only the factory reset, turns it
/// once, which selects the factory reset.
void Owner::select(const std::string& screen)
{
    constexpr int longest = 3;
    const bool isOnlyReset = screenName() == "menu-without-update";
    for (int turns = 0; turns < longest && screenName() != screen; ++turns) {
        device->turn(1);
        settle();
        if (isOnlyReset) {
            return;
        }
    }
}

/// Visits the moment with the progress line `name`, or the first moment of the stage if `name` is empty.
void Owner::visitStage(Stage stage, const std::string& name)
{
    for (const Moment* moment : path(current)) {
        if (moment->stage == stage && (name.empty() || name == moment->name)) {
            visit(*moment);
            return;
        }
    }
    unknownLines.push_back(name);
}

void Owner::followScripts(Stage stage)
{
    while (device->isScriptRunning()) {
        device.release();
        while (const auto line = device.nextLine()) {
            visitStage(stage, *line);
            if (!device.isOn()) {
                return;
            }
            device.release();
        }
        stage = Stage::Installing;
    }
    settle();
}

bool Owner::isShown(const std::string& message, bool wheelTurns)
{
    const sim::Screen screen = device->screen();
    if (!wheelTurns && screen == ScreenPainter().message(message).screen()) {
        return true;
    }
    for (int frame = 0; frame < 8; ++frame) {
        if (screen == ScreenPainter().message(message).wheel(frame).screen()) {
            return true;
        }
    }
    return false;
}

void Owner::settle()
{
    device->runTo(device->iteration() / drawingInterval * drawingInterval + 50);
}

std::string Owner::screenName()
{
    static const sim::ReferenceScreens goldenScreens{SCREENS_DIR};
    return goldenScreens.nameOf(device->screen());
}

} // namespace matrix
