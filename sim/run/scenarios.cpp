// The table of scenarios.
#include "sim/run/scenarios.h"

namespace sim {

namespace {

constexpr Step awaitWaiting[] = {{Action::AwaitScreen, "waiting"}};

constexpr Step startOnPartition[] = {
    {Action::InsertDrive},
    {Action::AwaitScript, "/usr/sbin/decrypt.sh /dev/sda1"},
};

constexpr Step startOnWholeDrive[] = {
    {Action::InsertDrive},
    {Action::AwaitScript, "/usr/sbin/decrypt.sh /dev/sda"},
};

constexpr Step confirmUpdate[] = {
    {Action::AwaitScreen, "menu"},
    {Action::TurnRight},
    {Action::AwaitScreen, "menu-factory-reset"},
    {Action::TurnRight},
    {Action::AwaitScreen, "menu-update"},
    {Action::Click},
    {Action::AwaitScreen, "update-no"},
    {Action::TurnRight},
    {Action::AwaitScreen, "update-yes"},
    {Action::Click},
    {Action::AwaitScript, "/usr/sbin/format.sh 0"},
};

constexpr Step confirmReset[] = {
    {Action::AwaitScreen, "menu"},
    {Action::TurnRight},
    {Action::AwaitScreen, "menu-factory-reset"},
    {Action::Click},
    {Action::AwaitScreen, "factory-reset-no"},
    {Action::TurnRight},
    {Action::AwaitScreen, "factory-reset-yes"},
    {Action::Click},
    {Action::AwaitScript, "/usr/sbin/format.sh 1"},
};

constexpr Step install[] = {{Action::AwaitScript, "/usr/sbin/install.sh"}};
constexpr Step ejectDrive[] = {{Action::EjectDrive}};

constexpr Step awaitDone[] = {{Action::AwaitScreen, "done"}};
constexpr Step awaitDriveFailed[] = {{Action::AwaitScreen, "failed-drive"}};
constexpr Step awaitNoFirmware[] = {{Action::AwaitScreen, "failed-no-firmware"}};
constexpr Step awaitCorrupt[] = {{Action::AwaitScreen, "failed-corrupt"}};
constexpr Step awaitFormatFailed[] = {{Action::AwaitScreen, "failed-format"}};
constexpr Step awaitInstallFailed[] = {{Action::AwaitScreen, "failed-install"}};

/// Large enough for the presets and the installed firmware, but too small for the firmware on the drive.
const SessionSetup tooSmall = {.memoryKib = 400};
/// Accepts the presets, but not the firmware. A worn memory reports its full size, so formatting succeeds.
const SessionSetup worn = {.usableKib = 100};

} // namespace

std::span<const Play> allScenarios()
{
    static const Play scenarios[] = {
        {.name = "update",
         .summary = "an update that keeps the presets (the default)",
         .phases = {awaitWaiting, startOnPartition, confirmUpdate, install, awaitDone},
         .outcome = Outcome::Updated},
        {.name = "factory-reset",
         .summary = "a factory reset, which deletes the presets",
         .phases = {startOnPartition, confirmReset, install, awaitDone},
         .outcome = Outcome::Reset},
        {.name = "no-firmware",
         .summary = "a drive without tonecrate.fw",
         .phases = {startOnPartition, awaitNoFirmware},
         .outcome = Outcome::Unchanged,
         .drive = "empty"},
        {.name = "corrupt",
         .summary = "a tonecrate.fw with one wrong byte",
         .phases = {startOnPartition, awaitCorrupt},
         .outcome = Outcome::Unchanged,
         .drive = "corrupt"},
        {.name = "no-partition",
         .summary = "an update from a drive without a partition table",
         .phases = {startOnWholeDrive, confirmUpdate, install, awaitDone},
         .outcome = Outcome::Updated,
         .drive = "whole-disk"},
        {.name = "unplugged",
         .summary = "a drive that is ejected while it is read",
         .phases = {startOnPartition, ejectDrive, awaitDriveFailed},
         .outcome = Outcome::Unchanged},
        {.name = "format-fails",
         .summary = "an internal memory too small for the firmware",
         .phases = {startOnPartition, confirmUpdate, awaitFormatFailed},
         .outcome = Outcome::Unchanged,
         .memory = tooSmall},
        {.name = "install-fails",
         .summary = "a worn internal memory, which accepts only a part of the firmware",
         .phases = {startOnPartition, confirmUpdate, install, awaitInstallFailed},
         .outcome = Outcome::Formatted,
         .memory = worn},
    };
    return scenarios;
}

const Play* findScenario(std::string_view name)
{
    for (const Play& scenario : allScenarios()) {
        if (scenario.name == name) {
            return &scenario;
        }
    }
    return nullptr;
}

} // namespace sim
