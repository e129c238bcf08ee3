// The scenario.
#include "sim/run/scenarios.h"

namespace sim {

namespace {

constexpr Step awaitWaiting[] = {{Action::AwaitScreen, "waiting"}};

constexpr Step startOnPartition[] = {
    {Action::Plug},
    {Action::AwaitScript, "/usr/sbin/decrypt.sh /dev/sda1"},
};

constexpr Step startOnWholeDrive[] = {
    {Action::Plug},
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
constexpr Step pull[] = {{Action::Pull}};

constexpr Step awaitDone[] = {{Action::AwaitScreen, "done"}};
constexpr Step awaitDriveFailed[] = {{Action::AwaitScreen, "failed-drive"}};
constexpr Step awaitNoFirmware[] = {{Action::AwaitScreen, "failed-no-firmware"}};
constexpr Step awaitCorrupt[] = {{Action::AwaitScreen, "failed-corrupt"}};
constexpr Step awaitFormatFailed[] = {{Action::AwaitScreen, "failed-format"}};
constexpr Step awaitInstallFailed[] = {{Action::AwaitScreen, "failed-install"}};

/// Too small for any file system.
constexpr int hopelessKib = 4;
/// Enough for the owner's presets, too small for the firmware.
constexpr int scarceKib = 128;

} // namespace

std::span<const Scenario> allScenarios()
{
    static const Scenario scenarios[] = {
        {.name = "update",
         .summary = "an update that keeps the presets (the default)",
         .phases = {awaitWaiting, startOnPartition, confirmUpdate, install, awaitDone},
         .outcome = Outcome::Updated},
        {.name = "factory-reset",
         .summary = "a factory reset, which loses them",
         .phases = {startOnPartition, confirmReset, install, awaitDone},
         .outcome = Outcome::Reset},
        {.name = "no-firmware",
         .summary = "a drive without tonecrate.fw",
         .phases = {startOnPartition, awaitNoFirmware},
         .outcome = Outcome::LeftAlone,
         .drive = DriveKind::NoFirmware},
        {.name = "corrupt",
         .summary = "a tonecrate.fw with one wrong byte",
         .phases = {startOnPartition, awaitCorrupt},
         .outcome = Outcome::LeftAlone,
         .drive = DriveKind::CorruptFirmware},
        {.name = "no-partition",
         .summary = "an update from a drive without a partition table",
         .phases = {startOnWholeDrive, confirmUpdate, install, awaitDone},
         .outcome = Outcome::Updated,
         .drive = DriveKind::FirmwareWithoutPartition},
        {.name = "unplugged",
         .summary = "a drive that is pulled while it is read",
         .phases = {startOnPartition, pull, awaitDriveFailed},
         .outcome = Outcome::LeftAlone},
        {.name = "format-fails",
         .summary = "a memory too small to be formatted",
         .phases = {startOnPartition, confirmUpdate, awaitFormatFailed},
         .outcome = Outcome::LeftAlone,
         .memoryKib = hopelessKib},
        {.name = "install-fails",
         .summary = "a memory too small for the firmware",
         .phases = {startOnPartition, confirmUpdate, install, awaitInstallFailed},
         .outcome = Outcome::LeftAlone,
         .memoryKib = scarceKib},
    };
    return scenarios;
}

const Scenario* findScenario(std::string_view name)
{
    for (const Scenario& scenario : allScenarios()) {
        if (scenario.name == name) {
            return &scenario;
        }
    }
    return nullptr;
}

} // namespace sim
