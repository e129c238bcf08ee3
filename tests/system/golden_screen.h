// Compares the device's screen with its golden picture.
#pragma once

#include "sim/models/screen.h"

#include <gtest/gtest.h>
#include <string>

/// Compares with screens/`name`.png. If they differ, writes the actual picture, the expected picture and their
/// difference to the build folder's failed_screens/. With UPDATE_SCREENS set in the environment, writes the golden
/// picture instead.
testing::AssertionResult matchesGolden(const sim::Screen& screen, const std::string& name);

/// Compares two screens. If they differ, writes the same three pictures under `name`.
testing::AssertionResult sameScreen(const sim::Screen& actual, const sim::Screen& expected, const std::string& name);
