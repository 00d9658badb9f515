#pragma once

#include "editor/toolkit/CDrawContext.h"

// A drawing surface of its own, of a given size in logical pixels, whose content can be
// copied onto another context: for panels drawn once and shown many times.
class COffscreenContext : public CDrawContext {
public:
    COffscreenContext(int width, int height, double scale = 1.0);
    ~COffscreenContext() override;

    int getWidth() const { return width; }
    int getHeight() const { return height; }
    bool isValid() const;

    // Copies the part of this surface that starts at offset into rect of the destination.
    void copyFrom(CDrawContext& destination, const CRect& rect, CPoint offset = {}) const;

private:
    int width;
    int height;
};
