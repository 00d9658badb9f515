#include "editor/toolkit/CDirtyRegion.h"

namespace {
long area(const CRect& r) {
    return long(r.width()) * long(r.height());
}
// Neighbours join when their union wastes little: every area costs a walk through the whole
// view tree, so one column of lane cells is cheaper than fourteen cells apart.
bool worthJoining(const CRect& a, const CRect& b) {
    constexpr long slackPixels = 256;
    const long pieces = area(a) + area(b);
    return area(a.unionWith(b)) <= pieces + pieces / 4 + slackPixels;
}
} // namespace

void CDirtyRegion::add(const CRect& rect) {
    CRect r = rect.intersection(bounds);
    if (r.isEmpty())
        return;
    // Absorb every rectangle the new one overlaps or lies close to; a union can reach
    // further ones, so start again after each merge.
    for (int i = 0; i < count;) {
        if (rects[i].contains(r))
            return;
        if (rects[i].overlaps(r) || worthJoining(rects[i], r)) {
            r = r.unionWith(rects[i]);
            rects[i] = rects[--count];
            i = 0;
        } else {
            ++i;
        }
    }
    if (count == capacity) {
        r = r.unionWith(bounding());
        count = 0;
    }
    rects[count++] = r;
}

CRect CDirtyRegion::bounding() const {
    CRect all;
    for (int i = 0; i < count; ++i)
        all = all.unionWith(rects[i]);
    return all;
}
