// Makes the same drawing calls, with arbitrary arguments, on a bitmap and on the drawing model: all pixels must match.
#include "fuzz/fuzz_target.h"
#include "graphics/bitmap.h"
#include "tests/support/drawing_call.h"
#include "tests/support/drawing_model.h"

#include <cstddef>
#include <cstdint>

namespace {

constexpr std::size_t maxOperations = 64;

/// The levels, the transparent value and an invalid value.
constexpr Pixel commonValues[] = {0, 1, 2, 3, 255, 3, 9, 255};

Pixel takeValue(FuzzInput& input)
{
    const auto byte = input.take<std::uint8_t>();
    return byte < 128 ? commonValues[byte & 7] : byte;
}

model::Raster takeRaster(FuzzInput& input)
{
    struct Shape {
        std::int32_t maxWidth;
        std::int32_t maxHeight;
    };
    constexpr Shape shapes[] = {{40, 30}, {150, 8}, {8, 200}, {24, 24}};
    const Shape& shape = shapes[input.take<std::uint8_t>() & 3];
    const std::int32_t width = input.takeFrom(0, shape.maxWidth);
    model::Raster raster(width, input.takeFrom(0, shape.maxHeight));
    const auto seed = input.take<std::uint8_t>();
    for (std::size_t i = 0; i < raster.pixels.size(); ++i) {
        raster.pixels[i] = commonValues[(i * (seed | 1U) >> 2 ^ seed) & 7];
    }
    return raster;
}

DrawingCall takeCall(std::uint8_t operation, const Bitmap& target, FuzzInput& input)
{
    DrawingCall call;
    call.operation = static_cast<DrawingCall::Operation>(operation);
    const std::int32_t sides[] = {target.getWidth(), target.getHeight()};
    for (std::size_t i = 0; i < call.numbers.size(); ++i) {
        // Most coordinates are on or near the target.
        const bool isFar = input.takeFrom(0, 3) == 0;
        call.numbers[i] = isFar ? input.takeCoordinate() : input.takeFrom(-8, sides[i % 2] + 8);
    }
    call.value = takeValue(input);
    if (operation >= DrawingCall::DrawBitmap) {
        call.source = takeRaster(input);
    }
    return call;
}

void requireSame(const Bitmap& actual, const model::Raster& expected)
{
    require(rasterOf(actual) == expected, "every pixel matches the model");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
    FuzzInput input(bytes, count);
    model::Raster expected = takeRaster(input);
    Bitmap actual = bitmapOf(expected);
    for (std::size_t i = 0; i < maxOperations && !input.isEmpty(); ++i) {
        const auto operation = static_cast<std::uint8_t>(input.takeFrom(0, DrawingCall::operationCount));
        if (operation < DrawingCall::operationCount) {
            const DrawingCall call = takeCall(operation, actual, input);
            call.applyTo(actual);
            call.applyTo(expected);
        } else {
            const Pixel value = takeValue(input);
            expected = takeRaster(input);
            actual.resize(static_cast<std::int32_t>(expected.width), static_cast<std::int32_t>(expected.height));
            expected.fill(value);
            actual.fill(value);
        }
        requireSame(actual, expected);
    }
    requireSame(actual.inkMask(), expected.inkMask());
    requireSame(actual.scaled(2), expected.scaled(2));
    require(actual.hasTransparency() == expected.hasTransparency(), "hasTransparency returns the model's result");
    return 0;
}
