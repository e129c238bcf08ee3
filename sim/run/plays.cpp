// The plays.
#include "sim/run/plays.h"

namespace sim {

namespace {

constexpr Step startOnPartition[] = {
    {Act::See, "waiting"},
    {Act::Plug},
    {Act::AwaitScript, "/usr/sbin/decrypt.sh /dev/sda1"},
};

constexpr Step startOnWholeDrive[] = {
    {Act::See, "waiting"},
    {Act::Plug},
    {Act::AwaitScript, "/usr/sbin/decrypt.sh /dev/sda"},
};

constexpr Step confirmUpdate[] = {
    {Act::See, "menu"},
    {Act::TurnRight},
    {Act::See, "menu-factory-reset"},
    {Act::TurnRight},
    {Act::See, "menu-update"},
    {Act::Click},
    {Act::See, "update-no"},
    {Act::TurnRight},
    {Act::See, "update-yes"},
    {Act::Click},
    {Act::AwaitScript, "/usr/sbin/format.sh 0"},
};

constexpr Step confirmReset[] = {
    {Act::See, "menu"},
    {Act::TurnRight},
    {Act::See, "menu-factory-reset"},
    {Act::Click},
    {Act::See, "factory-reset-no"},
    {Act::TurnRight},
    {Act::See, "factory-reset-yes"},
    {Act::Click},
    {Act::AwaitScript, "/usr/sbin/format.sh 1"},
};

constexpr Step install[] = {{Act::AwaitScript, "/usr/sbin/install.sh"}};
constexpr Step pull[] = {{Act::Pull}};

constexpr Step seeDone[] = {{Act::See, "done"}};
constexpr Step seeDriveFailed[] = {{Act::See, "failed-drive"}};
constexpr Step seeNoFirmware[] = {{Act::See, "failed-no-firmware"}};
constexpr Step seeCorrupt[] = {{Act::See, "failed-corrupt"}};
constexpr Step seeFormatFailed[] = {{Act::See, "failed-format"}};
constexpr Step seeInstallFailed[] = {{Act::See, "failed-install"}};

/// Too small for any file system.
constexpr int hopelessKib = 4;
/// Enough for the owner's presets, too small for the firmware.
constexpr int scarceKib = 128;

} // namespace

std::span<const Play> allPlays()
{
    static const Play plays[] = {
        {.name = "update",
         .summary = "an update that keeps the presets (the default)",
         .scenes = {startOnPartition, confirmUpdate, install, seeDone},
         .outcome = Outcome::Updated},
        {.name = "factory-reset",
         .summary = "a factory reset, which loses them",
         .scenes = {startOnPartition, confirmReset, install, seeDone},
         .outcome = Outcome::Reset},
        {.name = "no-firmware",
         .summary = "a drive without tonecrate.fw",
         .scenes = {startOnPartition, seeNoFirmware},
         .outcome = Outcome::LeftAlone,
         .drive = DriveKind::NoFirmware},
        {.name = "corrupt",
         .summary = "a tonecrate.fw with one wrong byte",
         .scenes = {startOnPartition, seeCorrupt},
         .outcome = Outcome::LeftAlone,
         .drive = DriveKind::CorruptFirmware},
        {.name = "no-partition",
         .summary = "an update from a drive without a partition table",
         .scenes = {startOnWholeDrive, confirmUpdate, install, seeDone},
         .outcome = Outcome::Updated,
         .drive = DriveKind::FirmwareWithoutPartition},
        {.name = "unplugged",
         .summary = "a drive that is pulled while it is read",
         .scenes = {startOnPartition, pull, seeDriveFailed},
         .outcome = Outcome::LeftAlone},
        {.name = "format-fails",
         .summary = "a memory too small to be formatted",
         .scenes = {startOnPartition, confirmUpdate, seeFormatFailed},
         .outcome = Outcome::LeftAlone,
         .memoryKib = hopelessKib},
        {.name = "install-fails",
         .summary = "a memory too small for the firmware",
         .scenes = {startOnPartition, confirmUpdate, install, seeInstallFailed},
         .outcome = Outcome::LeftAlone,
         .memoryKib = scarceKib},
    };
    return plays;
}

const Play* findPlay(std::string_view name)
{
    for (const Play& play : allPlays()) {
        if (play.name == name) {
            return &play;
        }
    }
    return nullptr;
}

} // namespace sim
