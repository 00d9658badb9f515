#include "editor/toolkit/CBitmap.h"

#include "editor/toolkit/CDrawContext.h"

#include <cairo.h>
#include <cstdint>

namespace {
// Opaque magenta as a premultiplied native-endian ARGB word.
constexpr uint32_t keyPixel = 0xFFFF00FFu;
} // namespace

CBitmap::CBitmap(cairo_surface_t* surface) : image(surface) {
    if (!image)
        return;
    if (cairo_surface_status(image) != CAIRO_STATUS_SUCCESS ||
        cairo_surface_get_type(image) != CAIRO_SURFACE_TYPE_IMAGE) {
        cairo_surface_destroy(image);
        image = nullptr;
        return;
    }
    width = cairo_image_surface_get_width(image);
    height = cairo_image_surface_get_height(image);
}

CBitmap::~CBitmap() {
    if (keyed)
        cairo_surface_destroy(keyed);
    if (image)
        cairo_surface_destroy(image);
}

void CBitmap::forget() {
    if (--references == 0)
        delete this;
}

void CBitmap::paint(CDrawContext& context, cairo_surface_t* source, const CRect& rect,
                    CPoint offset, double alpha) const {
    if (!source || rect.isEmpty())
        return;
    cairo_t* cr = context.cairo();
    cairo_save(cr);
    cairo_rectangle(cr, rect.left, rect.top, rect.width(), rect.height());
    cairo_clip(cr);
    cairo_set_source_surface(cr, source, rect.left - offset.x, rect.top - offset.y);
    // Pixels map one to one (or to whole device pixels): never smooth them.
    cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_NEAREST);
    if (alpha >= 1.0)
        cairo_paint(cr);
    else
        cairo_paint_with_alpha(cr, alpha);
    cairo_restore(cr);
}

void CBitmap::draw(CDrawContext& context, const CRect& rect, CPoint offset) const {
    paint(context, image, rect, offset, 1.0);
}

void CBitmap::drawTransparent(CDrawContext& context, const CRect& rect, CPoint offset) {
    paint(context, keyedImage(), rect, offset, 1.0);
}

void CBitmap::drawAlphaBlend(CDrawContext& context, const CRect& rect, CPoint offset,
                             int alpha) const {
    if (alpha <= 0)
        return;
    paint(context, image, rect, offset, alpha >= 255 ? 1.0 : alpha / 255.0);
}

cairo_surface_t* CBitmap::keyedImage() {
    if (keyed || !image)
        return keyed;
    const cairo_format_t format = cairo_image_surface_get_format(image);
    if (format != CAIRO_FORMAT_ARGB32 && format != CAIRO_FORMAT_RGB24)
        return image; // no colour to key on
    cairo_surface_flush(image);
    keyed = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    if (cairo_surface_status(keyed) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(keyed);
        keyed = nullptr;
        return nullptr;
    }
    cairo_surface_flush(keyed);
    const int sourceStride = cairo_image_surface_get_stride(image);
    const int targetStride = cairo_image_surface_get_stride(keyed);
    const unsigned char* source = cairo_image_surface_get_data(image);
    unsigned char* target = cairo_image_surface_get_data(keyed);
    for (int y = 0; y < height; ++y) {
        const unsigned char* sourceRow = source + y * sourceStride;
        auto* targetRow = reinterpret_cast<uint32_t*>(target + y * targetStride);
        for (int x = 0; x < width; ++x) {
            uint32_t pixel = reinterpret_cast<const uint32_t*>(sourceRow)[x];
            if (format == CAIRO_FORMAT_RGB24)
                pixel |= 0xFF000000u; // the unused byte is undefined
            targetRow[x] = pixel == keyPixel ? 0u : pixel;
        }
    }
    cairo_surface_mark_dirty(keyed);
    return keyed;
}
