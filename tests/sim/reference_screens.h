// The golden screens.
#pragma once

#include "sim/session/reference_screens.h"

inline const sim::ReferenceScreens& references()
{
    static const sim::ReferenceScreens screens(SCREENS_DIR);
    return screens;
}
