// Packs a bitmap into the display's memory format.
#pragma once

#include "graphics/bitmap.h"
#include "hw/frame.h"

/// `canvas` must have at least 256 by 160 pixels with values 0 to 3. Values are not masked: a larger value corrupts the
/// following pixels of its byte.
void packFrame(const Bitmap& canvas, Frame& frame);
