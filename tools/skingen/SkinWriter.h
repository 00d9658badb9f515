#pragma once

#include "SkinTable.h"

#include <cairo.h>
#include <string>
#include <vector>

struct DrawnBitmap {
    const BitmapEntry* entry;
    cairo_surface_t* surface;
    std::vector<unsigned char> png;
};

std::vector<unsigned char> encodePng(cairo_surface_t* surface);
void writeFile(const std::string& path, const std::vector<unsigned char>& bytes);

// A C++ source with one array per image and the table of ids, for MFEmbeddedSkin.h.
void writeEmbeddedSource(const std::string& path, const std::vector<DrawnBitmap>& bitmaps);

// All bitmaps on one page, tall strips folded into columns at frame boundaries.
void writeContactSheet(const std::string& path, const std::vector<DrawnBitmap>& bitmaps);

struct PreviewArea {
    int x = 0;
    int y = 0;
    int width = 770;
    int height = 525;
};

// A rough view of the window (or part of it) for judging the art in place, enlarged without
// smoothing.
void writePreview(const std::string& path, const std::vector<DrawnBitmap>& bitmaps, int effect,
                  int scale, PreviewArea area);
