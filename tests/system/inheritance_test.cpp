// What the scripts get from the program that starts them.
#include "tests/system/system_test.h"

#include <array>
#include <string>

namespace {

class Inheritance : public SystemTest {};

TEST_F(Inheritance, GivesEveryScriptTheThreeStandardDescriptorsAndNoDevice)
{
    const std::string listing = "ls /proc/self/fd > \"$DEVICE_ROOT/descriptors.${0##*/}\"";
    const std::array<std::string, 3> scripts = {"decrypt.sh", "format.sh", "install.sh"};
    for (const std::string& script : scripts) {
        device.replaceScript(script, listing);
    }
    device.setVersions("1.0", "2.0");
    device.toPreparing();
    device->awaitScriptEnd();
    device.settle();
    for (const int step : {-1, 1}) { // to the update, to "Yes"
        device.turn(step);
        device.click();
    }
    device->awaitScriptEnd();
    device->run(1);
    device->awaitScriptEnd();
    device.settle();
    EXPECT_TRUE(device->standardOutput().ends_with("Everything done"));
    for (const std::string& script : scripts) {
        // On the fourth, the lowest that is free, ls reads the descriptors.
        EXPECT_EQ(device.readFile("descriptors." + script), "0\n1\n2\n3\n") << script;
    }
}

} // namespace
