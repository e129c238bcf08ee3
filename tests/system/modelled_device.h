// A device and the model of what its owner should experience, going the same way.
#pragma once

#include "tests/system/flow_model.h"
#include "tests/system/system_test.h"

#include <cstdint>
#include <string>

/// Whatever is done by an operation below is done to both. The scripts may be replaced until the drive is found.
class ModelledDevice {
public:
    ModelledDevice(const std::string& oldVersion, const std::string& newVersion);

    void findDrive();
    /// One step on the way through a whole update or factory reset: the drive is found, a script ends well, the owner
    /// chooses or confirms.
    void advance(bool isReset);
    void turn(bool right);
    void click();
    void pressLong();
    /// The script, which is the running one, prints that progress.
    void tell(const OrderedScript& script, const std::string& progress);
    /// The running script has been told to end so; waits until it has.
    void awaitScriptEnd(int status);
    /// The running script, if there is one.
    [[nodiscard]] const OrderedScript& currentScript() const;

    /// Runs until all that changed is drawn and on the glass.
    void comeToRest();
    /// What the model says that is on the glass.
    [[nodiscard]] sim::Screen expectedScreen();
    // At rest: the screen is that one, pixel by pixel. On a difference, leaves pictures under `name`.

    [[nodiscard]] testing::AssertionResult showsWhatItShould(const std::string& name);
    /// And the device is healthy.
    [[nodiscard]] testing::AssertionResult isAsExpected(const std::string& name);

    TestDevice device;
    FlowModel model;

private:
    void press(std::uint64_t iterations);

    std::uint64_t releaseSeen = 0;
};
