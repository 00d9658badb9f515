#pragma once

#include <cstdint>

// A colour of 8-bit red, green, blue and alpha (255 opaque), not premultiplied.
struct CColor {
    uint8_t red = 0;
    uint8_t green = 0;
    uint8_t blue = 0;
    uint8_t alpha = 255;

    constexpr bool operator==(const CColor&) const = default;
};

namespace ccolor {
constexpr CColor black{0, 0, 0, 255};
constexpr CColor white{255, 255, 255, 255};
// The key colour of the skin's strips: pixels of it are left out by drawTransparent.
constexpr CColor transparentKey{255, 0, 255, 255};
} // namespace ccolor
