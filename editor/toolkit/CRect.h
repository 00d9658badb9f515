#pragma once

#include "editor/toolkit/CPoint.h"

#include <algorithm>

// A rectangle of whole pixels. The right and bottom edges are exclusive: a rectangle
// from 10 to 20 covers the ten pixels 10 to 19.
struct CRect {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    constexpr CRect() = default;
    constexpr CRect(int l, int t, int r, int b) : left(l), top(t), right(r), bottom(b) {}
    constexpr CRect(CPoint origin, int width, int height)
        : left(origin.x), top(origin.y), right(origin.x + width), bottom(origin.y + height) {}

    constexpr int width() const { return right - left; }
    constexpr int height() const { return bottom - top; }
    constexpr CPoint topLeft() const { return {left, top}; }
    constexpr bool isEmpty() const { return right <= left || bottom <= top; }

    constexpr bool pointInside(CPoint p) const {
        return p.x >= left && p.x < right && p.y >= top && p.y < bottom;
    }
    constexpr bool contains(const CRect& r) const {
        return r.left >= left && r.top >= top && r.right <= right && r.bottom <= bottom;
    }
    constexpr bool overlaps(const CRect& r) const { return !intersection(r).isEmpty(); }

    constexpr CRect& offset(int dx, int dy) {
        left += dx;
        right += dx;
        top += dy;
        bottom += dy;
        return *this;
    }
    constexpr CRect& offset(CPoint d) { return offset(d.x, d.y); }
    constexpr CRect offsetBy(CPoint d) const { return CRect(*this).offset(d); }
    constexpr CRect& moveTo(int x, int y) { return offset(x - left, y - top); }
    // Moves the edges inwards by dx and dy; negative values widen.
    constexpr CRect& inset(int dx, int dy) {
        left += dx;
        right -= dx;
        top += dy;
        bottom -= dy;
        return *this;
    }
    constexpr CRect insetBy(int dx, int dy) const { return CRect(*this).inset(dx, dy); }

    // The common part; empty (possibly with crossed edges) when there is none.
    constexpr CRect intersection(const CRect& r) const {
        return {std::max(left, r.left), std::max(top, r.top), std::min(right, r.right),
                std::min(bottom, r.bottom)};
    }
    // The smallest rectangle holding both; an empty side does not count.
    constexpr CRect unionWith(const CRect& r) const {
        if (r.isEmpty())
            return *this;
        if (isEmpty())
            return r;
        return {std::min(left, r.left), std::min(top, r.top), std::max(right, r.right),
                std::max(bottom, r.bottom)};
    }

    constexpr bool operator==(const CRect&) const = default;
};
