#include "editor/toolkit/CDrawContext.h"

#include "editor/toolkit/CFontDesc.h"

#include <cairo.h>
#include <cmath>

CDrawContext::CDrawContext(cairo_surface_t* surface, double deviceScale)
    : target(cairo_surface_reference(surface)), cr(cairo_create(surface)), scale(deviceScale) {
    // Logical pixels stay whole in the layout; only here do they become device pixels.
    cairo_scale(cr, scale, scale);
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_SLIGHT);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_ON);
    cairo_set_font_options(cr, options);
    cairo_font_options_destroy(options);
}

CDrawContext::~CDrawContext() {
    cairo_destroy(cr);
    cairo_surface_destroy(target);
}

void CDrawContext::useColour(CColor c) {
    cairo_set_source_rgba(cr, c.red / 255.0, c.green / 255.0, c.blue / 255.0, c.alpha / 255.0);
}

void CDrawContext::setFont(const CFontDesc* desc, int size) {
    font = desc;
    fontSize = size > 0 ? size : (desc ? desc->getSize() : fontSize);
}

void CDrawContext::applyFont() {
    // Without a font of its own, text still comes out in the editor's family.
    static const CFontDesc fallback("Arial", 10);
    cairo_set_font_face(cr, (font ? font : &fallback)->fontFace());
    cairo_set_font_size(cr, fontSize);
}

void CDrawContext::lineTo(CPoint point) {
    useColour(frameColour);
    cairo_set_line_width(cr, lineWidth);
    // Square caps reach half a pixel past each centre, so both ends are whole pixels.
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_SQUARE);
    const double half = lineWidth % 2 ? 0.5 : 0.0;
    cairo_move_to(cr, penPosition.x + half, penPosition.y + half);
    cairo_line_to(cr, point.x + half, point.y + half);
    cairo_stroke(cr);
    penPosition = point;
}

void CDrawContext::drawRect(const CRect& rect, int style) {
    if (rect.isEmpty())
        return;
    if (style == drawFilled) {
        useColour(fillColour);
        cairo_rectangle(cr, rect.left, rect.top, rect.width(), rect.height());
        cairo_fill(cr);
        return;
    }
    useColour(frameColour);
    const double inset = lineWidth / 2.0;
    const double w = rect.width() - lineWidth;
    const double h = rect.height() - lineWidth;
    if (w <= 0 || h <= 0) { // too small for a hole: the outline is the whole rect
        cairo_rectangle(cr, rect.left, rect.top, rect.width(), rect.height());
        cairo_fill(cr);
        return;
    }
    cairo_set_line_width(cr, lineWidth);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_MITER);
    cairo_rectangle(cr, rect.left + inset, rect.top + inset, w, h);
    cairo_stroke(cr);
}

void CDrawContext::drawString(const char* text, const CRect& rect, bool opaque, int align) {
    if (rect.isEmpty())
        return;
    if (opaque)
        drawRect(rect, drawFilled);
    if (!text || !*text)
        return;
    cairo_save(cr);
    cairo_rectangle(cr, rect.left, rect.top, rect.width(), rect.height());
    cairo_clip(cr);
    applyFont();
    cairo_font_extents_t font;
    cairo_font_extents(cr, &font);
    cairo_text_extents_t extents;
    cairo_text_extents(cr, text, &extents);
    double x = rect.left;
    if (align == alignCenter)
        x = rect.left + (rect.width() - extents.x_advance) / 2.0;
    else if (align == alignRight)
        x = rect.right - extents.x_advance;
    // Whole-pixel baselines keep small text crisp.
    const double baseline =
        std::floor(rect.top + (rect.height() + font.ascent - font.descent) / 2.0);
    useColour(fontColour);
    cairo_move_to(cr, std::floor(x), baseline);
    cairo_show_text(cr, text);
    cairo_restore(cr);
}

int CDrawContext::getStringWidth(const char* text) {
    if (!text || !*text)
        return 0;
    cairo_save(cr);
    applyFont();
    cairo_text_extents_t extents;
    cairo_text_extents(cr, text, &extents);
    cairo_restore(cr);
    return int(std::ceil(extents.x_advance));
}

void CDrawContext::pushOrigin(CPoint delta) {
    cairo_save(cr);
    cairo_translate(cr, delta.x, delta.y);
}

void CDrawContext::popOrigin() {
    cairo_restore(cr);
}

void CDrawContext::pushClip(const CRect& rect) {
    cairo_save(cr);
    cairo_rectangle(cr, rect.left, rect.top, rect.width(), rect.height());
    cairo_clip(cr);
}

void CDrawContext::popClip() {
    cairo_restore(cr);
}
