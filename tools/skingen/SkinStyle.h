#pragma once

#include "SkinPalette.h"

#include <cairo.h>
#include <string>

// The few drawing styles that every bitmap of the skin is made of. Coordinates are
// whole pixels; edges and lines are filled rectangles, so that they land on pixels.

enum class Align { left, centre, right };
enum class Weight { regular, bold };

void setColour(cairo_t* cr, Rgb colour);
void fillRect(cairo_t* cr, int x, int y, int width, int height, Rgb colour);

// A raised card: the ground of bars, panels and the output section.
void plate(cairo_t* cr, int x, int y, int width, int height);
// A recessed field: displays, lanes, tables, menus.
void well(cairo_t* cr, int x, int y, int width, int height);
// A push button's face on a card, raised or pressed in. Corners show the card's colour.
void buttonFace(cairo_t* cr, int x, int y, int width, int height, bool pressed);

// One line of text in the box, vertically centred on its capitals, on a whole-pixel
// baseline. The font is "Arial" through fontconfig. Returns the text's width.
double text(cairo_t* cr, const std::string& line, int x, int y, int width, int height, double size,
            Rgb colour, Align align = Align::centre, Weight weight = Weight::bold);
double textWidth(cairo_t* cr, const std::string& line, double size, Weight weight);
// A caption over a control: small capitals in the caption grey, centred on centreX, at
// most maxWidth wide.
void caption(cairo_t* cr, const std::string& line, int centreX, int top, int maxWidth = 58,
             Rgb colour = Palette::textDim);

// A round lamp, lit with a soft glow or dark.
void lamp(cairo_t* cr, double centreX, double centreY, double radius, Rgb colour, bool lit);

// A knob of size x size pixels at the origin on the card's colour, its pointer at
// fraction 0..1 of a sweep of 300 degrees that starts at seven o'clock.
void knob(cairo_t* cr, int size, double fraction);

// The angle in cairo's terms (radians, clockwise from three o'clock) of a knob fraction.
double knobAngle(double fraction);
