// All texts that the screen shows, except the scripts' progress and the versions.
#pragma once

#include <string>

namespace texts {

inline constexpr const char* title = "Update Firmware";

inline constexpr const char* factoryResetButton = "Factory Reset";
inline constexpr const char* updateButton = "Update Firmware";
inline constexpr const char* noButton = "No";
inline constexpr const char* yesButton = "Yes";

inline constexpr const char* waiting = "Waiting for USB...";
/// Followed by the progress of the decrypt script.
inline constexpr const char* preparingHeader = "Preparing new firmware...\n\n";
/// Followed by the progress of the format and install scripts.
inline constexpr const char* updatingHeader =
    "Updating...\n\nDo not unplug the power.\n\nThis may take a few minutes.\n\nState: ";
inline constexpr const char* done = "Everything done!\nYou can now restart the device";

inline constexpr const char* driveFailed = "Failed: Unable to access the USB drive.";
inline constexpr const char* firmwareNotFound = "Failed: Firmware file \"tonecrate.fw\" not found.";
inline constexpr const char* firmwareCorrupt = "Failed: Firmware file is corrupt.";

// After a failed update, the user can try a factory reset; after a failed factory reset, there is nothing else to try.
inline constexpr const char* updateFormatFailed =
    "Failed: Unable to format internal memory.\nYou can try a factory reset.";
inline constexpr const char* resetFormatFailed =
    "Failed: Unable to format internal memory.\nThis should not happen, please contact us.";
inline constexpr const char* updateInstallFailed = "Failed: Unable to install files.\nYou can try a factory reset.";
inline constexpr const char* resetInstallFailed =
    "Failed: Unable to install files.\nThis should not happen, please contact us.";

inline std::string updateQuestion(const std::string& oldVersion, const std::string& newVersion)
{
    // Deliberate: the wording without an old version has no full stop after the new version.
    const std::string action = oldVersion.empty()
                                   ? "I will update the firmware to " + newVersion
                                   : "I will update the firmware from " + oldVersion + " to " + newVersion + ".";
    return action + "\n\nDo not unplug the power during the process.\n\nDo you want to continue?";
}

inline std::string factoryQuestion(const std::string& newVersion)
{
    return "I will do a factory reset to firmware " + newVersion +
           ".\n\nALL DATA/PRESETS WILL BE LOST!\n\nDo not unplug the power during the process.\n\n"
           "Do you want to continue?";
}

} // namespace texts
