// The files that the tests of sessions share.
#pragma once

#include "sim/session/device_files.h"
#include "sim/session/reference_screens.h"

inline const sim::ReferenceScreens& references()
{
    static const sim::ReferenceScreens screens(SCREENS_DIR);
    return screens;
}

/// The keys and the drives are made only once.
inline sim::DeviceFiles& files()
{
    static sim::DeviceFiles shared(SIM_DIR "/scripts", SIM_DIR "/firmware");
    return shared;
}
