#pragma once

#include "SkinTable.h"

#include <cairo.h>

// Draws one bitmap of the table onto a surface of exactly its size.
void drawBitmap(cairo_t* cr, const BitmapEntry& entry);

// The pictures that fill whole areas of the window (SkinPictures.cpp).
void drawBackground(cairo_t* cr, const BitmapEntry& entry);
void drawAboutPanel(cairo_t* cr, const BitmapEntry& entry);
void drawPanel(cairo_t* cr, const BitmapEntry& entry);
void drawVinylPicture(cairo_t* cr, const BitmapEntry& entry);
void drawTableBackground(cairo_t* cr, const BitmapEntry& entry);

// A lane's track with its step grid, shared by the window and the zone cells.
void laneTrack(cairo_t* cr, int x, int y, int width, int height);
