#include "editor/toolkit/CView.h"

#include "editor/toolkit/CBitmap.h"
#include "editor/toolkit/CDirtyRegion.h"
#include "editor/toolkit/CDrawContext.h"

CView::CView(const CRect& rect) : size(rect), mouseableArea(rect) {}

CView::~CView() {
    if (background)
        background->forget();
}

void CView::draw(CDrawContext& context) {
    if (background)
        background->draw(context, size);
}

void CView::drawRect(CDrawContext& context, const CRect&) {
    draw(context);
}

void CView::invalidRect(const CRect& rect) {
    if (parent && !rect.isEmpty())
        parent->invalidRect(rect.offsetBy(parent->childOrigin()));
}

void CView::invalid() {
    dirty = false;
    invalidRect(getDrawnArea());
}

int CView::onMouseDown(CPoint, long) {
    return mouseNotImplemented;
}
int CView::onMouseUp(CPoint, long) {
    return mouseNotImplemented;
}
int CView::onMouseMoved(CPoint, long) {
    return mouseNotImplemented;
}
int CView::onMouseEntered(CPoint, long) {
    return mouseNotImplemented;
}
int CView::onMouseExited(CPoint, long) {
    return mouseNotImplemented;
}
bool CView::onWheel(CPoint, float, long) {
    return false;
}

bool CView::hitTest(CPoint where, long) const {
    return mouseableArea.pointInside(where);
}

void CView::setViewSize(const CRect& rect, bool invalidate) {
    if (invalidate)
        invalid();
    const bool followsSize = mouseableArea == size;
    size = rect;
    if (followsSize)
        mouseableArea = rect;
    if (invalidate)
        invalid();
}

void CView::setBackground(CBitmap* bitmap) {
    if (bitmap)
        bitmap->remember();
    if (background)
        background->forget();
    background = bitmap;
    setDirty();
}

CRect CView::toFrame(const CRect& rect) const {
    CRect result = rect;
    for (const CView* p = parent; p; p = p->parent)
        result.offset(p->childOrigin());
    return result;
}

void CView::attached(CView* container, CFrame* owner) {
    parent = container;
    frame = owner;
}

void CView::removed() {
    parent = nullptr;
    frame = nullptr;
}

void CView::collectDirty(CDirtyRegion& region, CPoint origin) {
    if (!dirty)
        return;
    dirty = false;
    region.add(getDrawnArea().offsetBy(origin));
}
