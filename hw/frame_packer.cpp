// Packs four rows of pixels into each row of bytes.
#include "hw/frame_packer.h"

void packFrame(const Bitmap& canvas, Frame& frame)
{
    const auto join = [](Pixel upper, std::uint8_t lower) { return static_cast<std::uint8_t>(upper + 4 * lower); };
    std::uint8_t* __restrict bytes = frame.data(); // shares no memory with the canvas
    for (std::int32_t y = 0; y < displayHeight; y += pixelsPerByte, bytes += displayWidth) {
        const Pixel* rows[] = {canvas.row(y), canvas.row(y + 1), canvas.row(y + 2), canvas.row(y + 3)};
        for (std::int32_t x = 0; x < displayWidth; ++x) {
            bytes[x] = join(rows[0][x], join(rows[1][x], join(rows[2][x], rows[3][x])));
        }
    }
}
