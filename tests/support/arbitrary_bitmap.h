// Random bitmaps for property tests: small, of all levels, transparent pixels and unusual values.
#pragma once

#include "tests/support/picture.h"

#include <rapidcheck.h>

#include <cstddef>
#include <cstdint>
#include <vector>

template <>
struct rc::Arbitrary<Bitmap> {
    static Gen<Bitmap> arbitrary()
    {
        return gen::exec([] {
            const auto width = *gen::inRange<std::int32_t>(0, 12);
            const auto height = *gen::inRange<std::int32_t>(0, 10);
            const auto count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
            const auto value = gen::element<std::uint8_t>(0, 1, 2, 3, 3, 255, 255, 4, 9);
            return Bitmap(width, height, *gen::container<std::vector<std::uint8_t>>(count, value));
        });
    }
};

/// A coordinate mostly near the small bitmaps, now and then as far out as can be.
[[nodiscard]] inline rc::Gen<std::int32_t> coordinate()
{
    return rc::gen::weightedOneOf<std::int32_t>(
        {{20, rc::gen::inRange<std::int32_t>(-14, 15)},
         {1, rc::gen::arbitrary<std::int32_t>()},
         {1, rc::gen::element<std::int32_t>(INT32_MIN, INT32_MIN + 1, INT32_MAX - 1, INT32_MAX)}});
}
