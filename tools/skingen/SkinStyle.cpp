#include "SkinStyle.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace {

constexpr double sweepDegrees = 300.0;
constexpr const char* fontFamily = "Arial";

void selectFont(cairo_t* cr, double size, Weight weight) {
    cairo_select_font_face(cr, fontFamily, CAIRO_FONT_SLANT_NORMAL,
                           weight == Weight::bold ? CAIRO_FONT_WEIGHT_BOLD
                                                  : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, size);
    // Grey antialiasing (the bitmaps are composited anywhere) with hinted outlines and
    // metrics, so that stems sit on pixels at these small sizes.
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_SLIGHT);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_ON);
    cairo_set_font_options(cr, options);
    cairo_font_options_destroy(options);
}

} // namespace

void setColour(cairo_t* cr, Rgb colour) {
    cairo_set_source_rgb(cr, colour.r, colour.g, colour.b);
}

void fillRect(cairo_t* cr, int x, int y, int width, int height, Rgb colour) {
    if (width <= 0 || height <= 0)
        return;
    setColour(cr, colour);
    cairo_rectangle(cr, x, y, width, height);
    cairo_fill(cr);
}

void plate(cairo_t* cr, int x, int y, int width, int height) {
    fillRect(cr, x, y, width, height, Palette::plate);
    fillRect(cr, x, y, width, 1, Palette::plateLight);
    fillRect(cr, x, y + 1, 1, height - 1, mix(Palette::plate, Palette::plateLight, 0.5));
    fillRect(cr, x + width - 1, y + 1, 1, height - 1,
             mix(Palette::plate, Palette::plateShade, 0.5));
    fillRect(cr, x, y + height - 1, width, 1, Palette::plateShade);
}

void well(cairo_t* cr, int x, int y, int width, int height) {
    fillRect(cr, x, y, width, height, Palette::well);
    fillRect(cr, x, y, width, 1, Palette::wellEdge);
    fillRect(cr, x, y + 1, 1, height - 1, Palette::wellEdge);
    fillRect(cr, x + 1, y + height - 1, width - 1, 1, Palette::wellRim);
    fillRect(cr, x + width - 1, y + 1, 1, height - 2, Palette::wellRim);
}

void buttonFace(cairo_t* cr, int x, int y, int width, int height, bool pressed) {
    // Outline: one dark pixel all round with the corners left in the card's colour.
    const Rgb outline = Palette::plateShade;
    fillRect(cr, x + 1, y, width - 2, 1, outline);
    fillRect(cr, x + 1, y + height - 1, width - 2, 1, outline);
    fillRect(cr, x, y + 1, 1, height - 2, outline);
    fillRect(cr, x + width - 1, y + 1, 1, height - 2, outline);
    const int ix = x + 1, iy = y + 1, iw = width - 2, ih = height - 2;
    if (pressed) {
        fillRect(cr, ix, iy, iw, ih, Palette::facePressed);
        fillRect(cr, ix, iy, iw, 1, mix(Palette::facePressed, Palette::wellEdge, 0.7));
        return;
    }
    cairo_pattern_t* shade = cairo_pattern_create_linear(0, iy, 0, iy + ih);
    cairo_pattern_add_color_stop_rgb(shade, 0, Palette::face.r, Palette::face.g, Palette::face.b);
    cairo_pattern_add_color_stop_rgb(shade, 1, Palette::faceLow.r, Palette::faceLow.g,
                                     Palette::faceLow.b);
    cairo_set_source(cr, shade);
    cairo_rectangle(cr, ix, iy, iw, ih);
    cairo_fill(cr);
    cairo_pattern_destroy(shade);
    fillRect(cr, ix, iy, iw, 1, mix(Palette::face, Palette::text, 0.18));
}

double textWidth(cairo_t* cr, const std::string& line, double size, Weight weight) {
    cairo_save(cr);
    selectFont(cr, size, weight);
    cairo_text_extents_t extents;
    cairo_text_extents(cr, line.c_str(), &extents);
    cairo_restore(cr);
    return extents.x_advance;
}

double text(cairo_t* cr, const std::string& line, int x, int y, int width, int height, double size,
            Rgb colour, Align align, Weight weight) {
    cairo_save(cr);
    selectFont(cr, size, weight);
    cairo_text_extents_t capital;
    cairo_text_extents(cr, "H", &capital);
    cairo_text_extents_t extents;
    cairo_text_extents(cr, line.c_str(), &extents);
    const double inkWidth = extents.x_advance;
    // A label that does not fit would be cut by its neighbour or the bitmap's edge.
    if (inkWidth > width + 0.5)
        throw std::runtime_error("\"" + line + "\" is " + std::to_string(inkWidth) +
                                 " pixels wide, in a box of " + std::to_string(width));
    double left = x;
    if (align == Align::centre)
        left = x + (width - inkWidth) / 2.0;
    else if (align == Align::right)
        left = x + width - inkWidth;
    // Capitals of height c centred in the box: baseline = top + (height + c) / 2.
    const double capHeight = -capital.y_bearing;
    const double base = std::round(y + (height + capHeight) / 2.0);
    setColour(cr, colour);
    cairo_move_to(cr, std::round(left), base);
    cairo_show_text(cr, line.c_str());
    cairo_restore(cr);
    return inkWidth;
}

void caption(cairo_t* cr, const std::string& line, int centreX, int top, int maxWidth, Rgb colour) {
    text(cr, line, centreX - maxWidth / 2, top, maxWidth, 9, 8.5, colour, Align::centre,
         Weight::bold);
}

void lamp(cairo_t* cr, double centreX, double centreY, double radius, Rgb colour, bool lit) {
    if (lit) {
        cairo_pattern_t* glow =
            cairo_pattern_create_radial(centreX, centreY, 0, centreX, centreY, radius * 2.2);
        cairo_pattern_add_color_stop_rgba(glow, 0, colour.r, colour.g, colour.b, 0.55);
        cairo_pattern_add_color_stop_rgba(glow, 1, colour.r, colour.g, colour.b, 0.0);
        cairo_set_source(cr, glow);
        cairo_arc(cr, centreX, centreY, radius * 2.2, 0, 2 * M_PI);
        cairo_fill(cr);
        cairo_pattern_destroy(glow);
        setColour(cr, colour);
        cairo_arc(cr, centreX, centreY, radius, 0, 2 * M_PI);
        cairo_fill(cr);
        setColour(cr, mix(colour, Rgb{1, 1, 1}, 0.6));
        cairo_arc(cr, centreX - radius * 0.25, centreY - radius * 0.25, radius * 0.4, 0, 2 * M_PI);
        cairo_fill(cr);
        return;
    }
    setColour(cr, Palette::wellEdge);
    cairo_arc(cr, centreX, centreY, radius, 0, 2 * M_PI);
    cairo_fill(cr);
    setColour(cr, mix(colour, Palette::well, 0.62));
    cairo_arc(cr, centreX, centreY, radius - 1.0, 0, 2 * M_PI);
    cairo_fill(cr);
}

double knobAngle(double fraction) {
    const double startDegrees = -90.0 - sweepDegrees / 2.0;
    return (startDegrees + sweepDegrees * fraction) * M_PI / 180.0;
}

void knob(cairo_t* cr, int size, double fraction) {
    const double centre = size / 2.0;
    const double arcWidth = std::max(2.0, std::round(size * 0.065));
    const double arcRadius = centre - arcWidth / 2.0 - 1.0;
    const double gap = std::max(1.5, size * 0.07);
    const double bodyRadius = arcRadius - arcWidth / 2.0 - gap;

    fillRect(cr, 0, 0, size, size, Palette::plate);

    // The arc: a dark track over the whole sweep, the value lit from the start.
    cairo_set_line_width(cr, arcWidth);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_BUTT);
    setColour(cr, Palette::wellEdge);
    cairo_arc(cr, centre, centre, arcRadius, knobAngle(0.0), knobAngle(1.0));
    cairo_stroke(cr);
    if (fraction > 0.0) {
        setColour(cr, mix(Palette::text, Palette::textDim, 0.25));
        cairo_arc(cr, centre, centre, arcRadius, knobAngle(0.0), knobAngle(fraction));
        cairo_stroke(cr);
    }

    // The body: a soft shadow, a rim, and a face lit from above.
    setColour(cr, Palette::plateShade);
    cairo_arc(cr, centre, centre + 1.0, bodyRadius + 0.5, 0, 2 * M_PI);
    cairo_fill(cr);
    setColour(cr, mix(Palette::plateShade, Palette::face, 0.4));
    cairo_arc(cr, centre, centre, bodyRadius, 0, 2 * M_PI);
    cairo_fill(cr);
    cairo_pattern_t* shade =
        cairo_pattern_create_linear(0, centre - bodyRadius, 0, centre + bodyRadius);
    const Rgb top = mix(Palette::face, Palette::text, 0.12);
    const Rgb bottom = mix(Palette::faceLow, Palette::plateShade, 0.35);
    cairo_pattern_add_color_stop_rgb(shade, 0, top.r, top.g, top.b);
    cairo_pattern_add_color_stop_rgb(shade, 1, bottom.r, bottom.g, bottom.b);
    cairo_set_source(cr, shade);
    cairo_arc(cr, centre, centre, bodyRadius - 1.0, 0, 2 * M_PI);
    cairo_fill(cr);
    cairo_pattern_destroy(shade);

    // The pointer: a bright bar from near the centre to near the rim.
    const double angle = knobAngle(fraction);
    const double inner = bodyRadius * 0.28;
    const double outer = bodyRadius * 0.86;
    cairo_set_line_width(cr, std::max(1.6, size * 0.06));
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    setColour(cr, Palette::lit);
    cairo_move_to(cr, centre + inner * std::cos(angle), centre + inner * std::sin(angle));
    cairo_line_to(cr, centre + outer * std::cos(angle), centre + outer * std::sin(angle));
    cairo_stroke(cr);
}
