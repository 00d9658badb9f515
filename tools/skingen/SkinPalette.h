#pragma once

// The colours of the skin: a charcoal ground, light grey text, and one accent hue for
// each of the fourteen effects, all at the same perceptual lightness.

struct Rgb {
    double r = 0.0;
    double g = 0.0;
    double b = 0.0;
};

constexpr Rgb grey(int level) {
    return Rgb{level / 255.0, level / 255.0, level / 255.0};
}
constexpr Rgb rgb8(int r, int g, int b) {
    return Rgb{r / 255.0, g / 255.0, b / 255.0};
}

Rgb mix(Rgb a, Rgb b, double amount);

// A colour given as OKLCH (lightness 0..1, chroma, hue in degrees), brought into the sRGB
// gamut by lowering the chroma, so that the lightness stays what was asked for.
Rgb oklch(double lightness, double chroma, double hueDegrees);

namespace Palette {
constexpr Rgb ground = rgb8(27, 29, 32);     // the window's ground, between the cards
constexpr Rgb plate = rgb8(38, 41, 45);      // raised cards: bars, panels, output section
constexpr Rgb plateLight = rgb8(54, 58, 63); // a card's lit top and left edge
constexpr Rgb plateShade = rgb8(17, 18, 20); // a card's bottom and right edge
constexpr Rgb well = rgb8(19, 20, 22);       // recessed fields: displays, lanes, tables
constexpr Rgb wellEdge = rgb8(11, 12, 13);   // a field's shaded inner edge
constexpr Rgb wellRim = rgb8(48, 51, 56);    // a field's lit outer edge below and right
constexpr Rgb face = rgb8(58, 62, 68);       // button faces, top
constexpr Rgb faceLow = rgb8(46, 49, 54);    // button faces, bottom
constexpr Rgb facePressed = rgb8(31, 33, 36);
constexpr Rgb text = rgb8(214, 216, 219);    // labels and values
constexpr Rgb textDim = rgb8(142, 147, 153); // captions
constexpr Rgb textFaint = rgb8(92, 97, 103); // hints, unlit marks
constexpr Rgb lit = rgb8(236, 240, 243);     // a lit lamp or switch that has no effect hue
constexpr Rgb alarm = rgb8(232, 72, 77);     // record, clip, bypassed
constexpr Rgb caution = rgb8(236, 178, 64);  // loading, learn armed
constexpr Rgb go = rgb8(96, 200, 132);       // running from the host
constexpr Rgb key = rgb8(255, 0, 255);       // left out by transparent drawing

constexpr int effectCount = 14;
// The hue of effect index 0..13 (in chain order), at the lightness of labels.
Rgb effectHue(int effect);
// The same hue, darker: a zone at rest.
Rgb effectHueDim(int effect);
// The same hue, brighter: the zone sounding now, lit lamps.
Rgb effectHueBright(int effect);
} // namespace Palette
