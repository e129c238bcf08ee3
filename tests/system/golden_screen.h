// Compares screens with golden pictures and with each other.
#pragma once

#include "sim/models/screen.h"

#include <gtest/gtest.h>
#include <string>

/// Compares `screen` with the golden picture screens/`name`.png. If they differ, writes the actual picture, the
/// expected picture and their difference to failed_screens/ in the build folder. If the environment variable
/// UPDATE_SCREENS is set, writes the golden picture instead of comparing.
testing::AssertionResult matchesGolden(const sim::Screen& screen, const std::string& name);

/// Compares two screens. If they differ, writes the same three pictures, with `name` in their file names.
testing::AssertionResult sameScreen(const sim::Screen& actual, const sim::Screen& expected, const std::string& name);
