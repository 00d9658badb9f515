#pragma once

#include "SkinTable.h"

#include <cairo.h>

// Draws one bitmap of the table onto a surface of exactly its size.
void drawBitmap(cairo_t* cr, const BitmapSpec& spec);

// The pictures that fill whole areas of the window (SkinPictures.cpp).
void drawBackground(cairo_t* cr, const BitmapSpec& spec);
void drawAboutPanel(cairo_t* cr, const BitmapSpec& spec);
void drawPanel(cairo_t* cr, const BitmapSpec& spec);
void drawVinylPicture(cairo_t* cr, const BitmapSpec& spec);
void drawTableBackground(cairo_t* cr, const BitmapSpec& spec);

// A lane's track with its step grid, shared by the window and the zone cells.
void laneTrack(cairo_t* cr, int x, int y, int width, int height);
