#pragma once

#include "editor/toolkit/CPoint.h"
#include "editor/toolkit/CRect.h"

typedef struct _cairo_surface cairo_surface_t;
class CDrawContext;

// A picture in logical pixels: a cairo image surface in premultiplied 32-bit ARGB.
// Strips of frames are stacked vertically and drawn a part at a time.
//
// Reference counted: the creator holds the first reference; every other holder calls
// remember() when it takes the bitmap and forget() when it lets go, and the last
// forget() deletes it.
class CBitmap {
public:
    CBitmap() = default;
    // Takes ownership of the surface; null makes a bitmap that draws nothing, for a
    // picture that failed to decode (callers then draw their fallback).
    explicit CBitmap(cairo_surface_t* surface);
    virtual ~CBitmap();
    CBitmap(const CBitmap&) = delete;
    CBitmap& operator=(const CBitmap&) = delete;

    int getWidth() const { return width; }
    int getHeight() const { return height; }
    cairo_surface_t* surface() const { return image; }
    bool isLoaded() const { return image != nullptr; }

    // Copies the part of the bitmap that starts at offset into rect.
    void draw(CDrawContext& context, const CRect& rect, CPoint offset = {}) const;
    // The same, leaving out the pixels of the key colour (opaque magenta).
    void drawTransparent(CDrawContext& context, const CRect& rect, CPoint offset = {});
    // The same, blended over what lies beneath with alpha 0 (invisible) to 255 (opaque).
    void drawAlphaBlend(CDrawContext& context, const CRect& rect, CPoint offset, int alpha) const;

    void remember() { ++references; }
    void forget();
    int referenceCount() const { return references; }

private:
    void paint(CDrawContext& context, cairo_surface_t* source, const CRect& rect, CPoint offset,
               double alpha) const;
    // A copy of the picture with the key colour made fully transparent, made on first use.
    cairo_surface_t* keyedImage();

    cairo_surface_t* image = nullptr;
    cairo_surface_t* keyed = nullptr;
    int width = 0;
    int height = 0;
    int references = 1;
};
