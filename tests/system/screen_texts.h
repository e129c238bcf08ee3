// The texts of the screens, as the owner reads them.
#pragma once

#include <string>

namespace texts {

inline const std::string waiting = "Waiting for USB...";
inline const std::string preparingHeader = "Preparing new firmware...\n\n";
inline const std::string updatingHeader =
    "Updating...\n\nDo not unplug the power.\n\nThis may take a few minutes.\n\nState: ";
inline const std::string done = "Everything done!\nYou can now restart the device";

inline const std::string driveFailed = "Failed: Unable to access the USB drive.";
inline const std::string firmwareNotFound = "Failed: Firmware file \"tonecrate.fw\" not found.";
inline const std::string firmwareCorrupt = "Failed: Firmware file is corrupt.";

inline std::string adviceAfter(bool factoryReset)
{
    return factoryReset ? "This should not happen, please contact us." : "You can try a factory reset.";
}

inline std::string formatFailed(bool factoryReset)
{
    return "Failed: Unable to format internal memory.\n" + adviceAfter(factoryReset);
}

inline std::string installFailed(bool factoryReset)
{
    return "Failed: Unable to install files.\n" + adviceAfter(factoryReset);
}

inline std::string updateQuestion(const std::string& oldVersion, const std::string& newVersion)
{
    return "I will update the firmware from " + oldVersion + " to " + newVersion +
           ".\n\nDo not unplug the power during the process.\n\nDo you want to continue?";
}

inline std::string factoryQuestion(const std::string& newVersion)
{
    return "I will do a factory reset to firmware " + newVersion +
           ".\n\nALL DATA/PRESETS WILL BE LOST!\n\nDo not unplug the power during the process.\n\nDo you want to "
           "continue?";
}

} // namespace texts
