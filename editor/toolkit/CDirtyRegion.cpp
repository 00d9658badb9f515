#include "editor/toolkit/CDirtyRegion.h"

void CDirtyRegion::add(const CRect& rect) {
    CRect r = rect.intersection(bounds);
    if (r.isEmpty())
        return;
    // Absorb every rectangle the new one overlaps; a union can reach further ones, so
    // start again after each merge.
    for (int i = 0; i < count;) {
        if (rects[i].contains(r))
            return;
        if (rects[i].overlaps(r)) {
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
