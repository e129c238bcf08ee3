// The loop over all pixels of a frame.
#include "hw/frame_packer.h"

void packFrame(const Bitmap& canvas, Frame& frame)
{
    auto* next = frame.data();
    for (std::int32_t y = 0; y < displayHeight; y += pixelsPerByte) {
        for (std::int32_t x = 0; x < displayWidth; ++x) {
            *next++ = static_cast<std::uint8_t>(canvas.pixel(x, y) + 4 * canvas.pixel(x, y + 1) +
                                                16 * canvas.pixel(x, y + 2) + 64 * canvas.pixel(x, y + 3));
        }
    }
}
