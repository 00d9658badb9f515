#pragma once

#include <cairo.h>

// A picture: a cairo image surface in premultiplied 32-bit ARGB. Strips of frames are
// stacked vertically. Reference counted: the creator holds the first reference, every
// other holder calls remember() and forget(), and the last forget() deletes the bitmap.
class CBitmap {
public:
    // Takes ownership of the surface; null makes a bitmap that draws nothing.
    explicit CBitmap(cairo_surface_t* surface) : image(surface) {
        if (image != nullptr) {
            width = cairo_image_surface_get_width(image);
            height = cairo_image_surface_get_height(image);
        }
    }
    virtual ~CBitmap() {
        if (image != nullptr)
            cairo_surface_destroy(image);
    }
    CBitmap(const CBitmap&) = delete;
    CBitmap& operator=(const CBitmap&) = delete;

    int getWidth() const { return width; }
    int getHeight() const { return height; }
    cairo_surface_t* surface() const { return image; }
    bool isLoaded() const { return image != nullptr; }

    void remember() { ++references; }
    void forget() {
        if (--references == 0)
            delete this;
    }

private:
    cairo_surface_t* image = nullptr;
    int width = 0;
    int height = 0;
    int references = 1;
};
