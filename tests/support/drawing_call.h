// Drawing calls as data, so that a test can make the same calls on the product's bitmap and on the model's raster.
#pragma once

#include "graphics/bitmap.h"
#include "tests/support/drawing_model.h"

#include <array>
#include <cstdint>

[[nodiscard]] inline model::Raster rasterOf(const Bitmap& bitmap)
{
    model::Raster raster(bitmap.getWidth(), bitmap.getHeight());
    for (std::int32_t y = 0; y < bitmap.getHeight(); ++y) {
        for (std::int32_t x = 0; x < bitmap.getWidth(); ++x) {
            raster.set(x, y, bitmap.pixel(x, y));
        }
    }
    return raster;
}

/// `raster` must not exceed the largest size of a bitmap.
[[nodiscard]] inline Bitmap bitmapOf(const model::Raster& raster)
{
    return {static_cast<std::int32_t>(raster.width), static_cast<std::int32_t>(raster.height), raster.pixels};
}

struct DrawingCall {
    enum Operation { Fill, FillRect, DrawLine, DrawRect, DrawBitmap, DrawInverted, DrawMask };
    static constexpr int operationCount = 7;

    Operation operation = Fill;
    /// Coordinates and sizes. The operation ignores numbers that it does not need.
    std::array<std::int32_t, 4> numbers{};
    Pixel value = 0;
    /// The bitmap or mask to draw.
    model::Raster source;

    void applyTo(Bitmap& bitmap) const { apply(bitmap, bitmapOf(source)); }
    void applyTo(model::Raster& raster) const { apply(raster, source); }

private:
    template <typename Target>
    void apply(Target& target, const Target& image) const
    {
        const auto [a, b, c, d] = numbers;
        switch (operation) {
        case Fill:
            return target.fill(value);
        case FillRect:
            return target.fillRect(a, b, c, d, value);
        case DrawLine:
            return target.drawLine(a, b, c, d, value);
        case DrawRect:
            return target.drawRect(a, b, c, d, value);
        case DrawBitmap:
            return target.drawBitmap(a, b, image, false);
        case DrawInverted:
            return target.drawBitmap(a, b, image, true);
        case DrawMask:
            return target.drawMask(a, b, image, value);
        }
    }
};
