// Packing the Canvas into the display's format.
#pragma once

#include "graphics/bitmap.h"
#include "hw/frame.h"

/// `canvas` holds at least 256 by 160 pixels, of value 0 to 3. Values are not masked: any other spills into the
/// neighbouring pixels of its byte.
void packFrame(const Bitmap& canvas, Frame& frame);
