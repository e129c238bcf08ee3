// Comparing the device's screen with a picture that a person can open.
#pragma once

#include "sim/models/screen.h"

#include <gtest/gtest.h>
#include <string>

/// Compares with golden/`name`.png. On a difference, the actual picture, the expected one and their difference are left
/// beside each other in the build folder's failed_screens/. With UPDATE_GOLDEN_SCREENS set in the environment, writes
/// the golden picture instead: look at it before you commit it.
testing::AssertionResult matchesGolden(const sim::Screen& screen, const std::string& name);

/// Compares two screens; on a difference, leaves the pictures as above, under `name`.
testing::AssertionResult sameScreen(const sim::Screen& actual, const sim::Screen& expected, const std::string& name);

#define EXPECT_SCREEN(device, name) EXPECT_TRUE(matchesGolden((device).screen(), name))
