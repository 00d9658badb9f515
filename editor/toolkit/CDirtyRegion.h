#pragma once

#include "editor/toolkit/CRect.h"

// The areas of the window that the next pass redraws: a short fixed list of rectangles,
// merged where they overlap, kept within bounds. It never allocates; when it is full it
// becomes the one rectangle around everything.
class CDirtyRegion {
public:
    static constexpr int capacity = 32;

    explicit CDirtyRegion(const CRect& bounds = {}) : bounds(bounds) {}

    void setBounds(const CRect& rect) { bounds = rect; }
    void add(const CRect& rect);
    void clear() { count = 0; }
    bool isEmpty() const { return count == 0; }
    int size() const { return count; }
    const CRect& operator[](int i) const { return rects[i]; }
    const CRect* begin() const { return rects; }
    const CRect* end() const { return rects + count; }
    // The rectangle around all of it.
    CRect bounding() const;

private:
    CRect bounds;
    CRect rects[capacity];
    int count = 0;
};
