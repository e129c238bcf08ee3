// The owner's part of an update or a factory reset on a device whose scripts wait for the test.
#pragma once

#include "tests/system/fault_tables.h"
#include "tests/system/held_device.h"

#include <string>
#include <vector>

namespace matrix {

/// Performs the owner's operations. Calls `visit` at each moment, and stops if `visit` has switched the device off.
class Owner {
public:
    Owner() = default;
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
    virtual ~Owner() = default;

protected:
    virtual void visit(const Moment& moment) = 0;

    /// Switches the device on, plugs in a good drive unless a drive is plugged in, and follows decrypt.sh. Returns true
    /// if the menu appears and `visit` has not switched the device off.
    bool reachMenu();
    /// Chooses and confirms the operation, and follows its scripts to the end.
    void operate(Operation operation);

    /// Runs until the display shows every change and no transfer to the display is in progress.
    void settle();
    /// True if the screen shows exactly `message` with any frame of the wheel or, unless `wheelTurns`, without it.
    [[nodiscard]] bool isShown(const std::string& message, bool wheelTurns);

    HeldDevice device;
    /// The progress lines that are not in the table of moments.
    std::vector<std::string> unknownLines;

private:
    void visitStage(Stage stage, const std::string& name = {});
    void followScripts(Stage stage);
    void select(const std::string& screen);
    /// The name of the golden screen on the display, or an empty text.
    [[nodiscard]] std::string screenName();

    Operation current = Operation::Update;
};

} // namespace matrix
