#pragma once

#include "editor/toolkit/CBitmap.h"

#include <cairo.h>
#include <cstdint>

// Reading the decoded skin's pixels: cairo's 32-bit premultiplied ARGB words.
namespace SkinPixels {

inline uint32_t at(const CBitmap& bitmap, int x, int y) {
    cairo_surface_t* surface = bitmap.surface();
    const unsigned char* row =
        cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface);
    return reinterpret_cast<const uint32_t*>(row)[x];
}

inline int red(uint32_t pixel) {
    return (pixel >> 16) & 0xff;
}
inline int green(uint32_t pixel) {
    return (pixel >> 8) & 0xff;
}
inline int blue(uint32_t pixel) {
    return pixel & 0xff;
}
inline int alpha(uint32_t pixel) {
    return pixel >> 24;
}

// Rec. 601 luma, 0..255.
inline double luminance(uint32_t pixel) {
    return 0.299 * red(pixel) + 0.587 * green(pixel) + 0.114 * blue(pixel);
}

} // namespace SkinPixels
