#include "editor/toolkit/COffscreenContext.h"

#include <cairo.h>

namespace {
cairo_surface_t* makeSurface(int width, int height, double scale) {
    const int w = width > 0 ? int(width * scale) : 1;
    const int h = height > 0 ? int(height * scale) : 1;
    return cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
}
} // namespace

COffscreenContext::COffscreenContext(int w, int h, double scale)
    : CDrawContext(makeSurface(w, h, scale), scale), width(w), height(h) {
    // The base took its own reference; this one came from the creation.
    cairo_surface_destroy(getSurface());
}

COffscreenContext::~COffscreenContext() = default;

bool COffscreenContext::isValid() const {
    return cairo_surface_status(getSurface()) == CAIRO_STATUS_SUCCESS;
}

void COffscreenContext::copyFrom(CDrawContext& destination, const CRect& rect,
                                 CPoint offset) const {
    if (rect.isEmpty() || !isValid())
        return;
    cairo_surface_t* source = getSurface();
    cairo_surface_flush(source);
    cairo_t* cr = destination.cairo();
    cairo_save(cr);
    cairo_rectangle(cr, rect.left, rect.top, rect.width(), rect.height());
    cairo_clip(cr);
    // The source is in device pixels of this context's scale; bring it to logical ones.
    cairo_translate(cr, rect.left - offset.x, rect.top - offset.y);
    cairo_scale(cr, 1.0 / getScale(), 1.0 / getScale());
    cairo_set_source_surface(cr, source, 0, 0);
    cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_NEAREST);
    cairo_paint(cr);
    cairo_restore(cr);
}
