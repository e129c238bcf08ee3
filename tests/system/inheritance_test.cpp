// The descriptors that the scripts inherit from the updater.
#include "tests/system/system_test.h"

namespace {

using Inheritance = SystemTest;

TEST_F(Inheritance, ScriptsInheritOnlyTheStandardDescriptors)
{
    const std::string scripts[] = {"decrypt.sh", "format.sh", "install.sh"};
    for (const std::string& script : scripts) {
        device.replaceScript(script, "ls /proc/self/fd > \"$DEVICE_ROOT/descriptors.${0##*/}\"");
    }
    device.setVersions("1.4.2", "2.0.0");
    device.toPreparing();
    device->awaitScriptEnd();
    device.settle();
    for (const int step : {-1, 1}) { // selects the update, then "Yes"
        device.turn(step);
        device.click();
    }
    device->awaitScriptEnd();
    device->run(1);
    device->awaitScriptEnd();
    device.settle();
    EXPECT_TRUE(device->standardOutput().ends_with("Everything done"));
    for (const std::string& script : scripts) {
        // ls itself opens the directory as descriptor 3, the lowest free descriptor.
        EXPECT_EQ(device.readFile("descriptors." + script), "0\n1\n2\n3\n") << script;
    }
}

} // namespace
