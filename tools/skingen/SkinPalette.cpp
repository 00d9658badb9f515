#include "SkinPalette.h"

#include <algorithm>
#include <cmath>

namespace {

double encodeSrgb(double linear) {
    if (linear <= 0.0031308)
        return 12.92 * linear;
    return 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055;
}

// OKLab to linear sRGB, Björn Ottosson's published matrices.
Rgb oklabToLinear(double lightness, double a, double b) {
    const double l = std::pow(lightness + 0.3963377774 * a + 0.2158037573 * b, 3.0);
    const double m = std::pow(lightness - 0.1055613458 * a - 0.0638541728 * b, 3.0);
    const double s = std::pow(lightness - 0.0894841775 * a - 1.2914855480 * b, 3.0);
    return Rgb{4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s,
               -1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s,
               -0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s};
}

bool inGamut(Rgb c) {
    constexpr double slack = 1e-4;
    return c.r >= -slack && c.r <= 1.0 + slack && c.g >= -slack && c.g <= 1.0 + slack &&
           c.b >= -slack && c.b <= 1.0 + slack;
}

// Hue of the first effect; the others follow at equal steps around the wheel.
constexpr double firstHue = 25.0;

} // namespace

Rgb mix(Rgb a, Rgb b, double amount) {
    return Rgb{a.r + (b.r - a.r) * amount, a.g + (b.g - a.g) * amount, a.b + (b.b - a.b) * amount};
}

Rgb oklch(double lightness, double chroma, double hueDegrees) {
    const double hue = hueDegrees * M_PI / 180.0;
    Rgb linear = oklabToLinear(lightness, chroma * std::cos(hue), chroma * std::sin(hue));
    for (double c = chroma; !inGamut(linear) && c > 0.0; c -= 0.002)
        linear = oklabToLinear(lightness, c * std::cos(hue), c * std::sin(hue));
    auto encode = [](double v) { return encodeSrgb(std::clamp(v, 0.0, 1.0)); };
    return Rgb{encode(linear.r), encode(linear.g), encode(linear.b)};
}

namespace Palette {

static double hueOf(int effect) {
    return firstHue + effect * 360.0 / effectCount;
}

Rgb effectHue(int effect) {
    return oklch(0.76, 0.13, hueOf(effect));
}
Rgb effectHueDim(int effect) {
    return oklch(0.58, 0.10, hueOf(effect));
}
Rgb effectHueBright(int effect) {
    return oklch(0.88, 0.15, hueOf(effect));
}

} // namespace Palette
