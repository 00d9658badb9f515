#include "editor/toolkit/CViewContainer.h"

#include "editor/toolkit/CBitmap.h"
#include "editor/toolkit/CDirtyRegion.h"
#include "editor/toolkit/CDrawContext.h"

#include <algorithm>

CViewContainer::CViewContainer(const CRect& rect) : CView(rect) {}

CViewContainer::~CViewContainer() {
    // Children go in reverse order, so that later views, which may refer to earlier
    // ones, go first.
    while (!children.empty()) {
        CView* last = children.back();
        children.pop_back();
        delete last;
    }
}

void CViewContainer::addView(CView* view) {
    if (!view || isChild(view))
        return;
    children.push_back(view);
    view->attached(this, frame);
    view->setDirty();
}

bool CViewContainer::removeView(CView* view, bool deleteView) {
    const auto it = std::find(children.begin(), children.end(), view);
    if (it == children.end())
        return false;
    view->invalid();
    children.erase(it);
    if (mouseDownView == view)
        mouseDownView = nullptr;
    if (mouseOverView == view)
        mouseOverView = nullptr;
    view->removed();
    if (deleteView)
        delete view;
    return true;
}

void CViewContainer::removeAll() {
    while (!children.empty())
        removeView(children.back(), true);
}

bool CViewContainer::isChild(const CView* view) const {
    return std::find(children.begin(), children.end(), view) != children.end();
}

CView* CViewContainer::getView(int index) const {
    return index >= 0 && index < int(children.size()) ? children[std::size_t(index)] : nullptr;
}

void CViewContainer::draw(CDrawContext& context) {
    drawRect(context, getDrawnArea());
}

void CViewContainer::drawRect(CDrawContext& context, const CRect& updateRect) {
    drawBackgroundRect(context, updateRect);
    drawChildren(context, updateRect);
}

void CViewContainer::drawBackgroundRect(CDrawContext& context, const CRect& updateRect) {
    if (!background)
        return;
    const CRect area = updateRect.intersection(size);
    background->draw(context, area, area.topLeft() - size.topLeft());
}

void CViewContainer::drawChildren(CDrawContext& context, const CRect& updateRect,
                                  const CView* skip) {
    const CPoint origin = childOrigin();
    const CRect local = updateRect.offsetBy(CPoint{} - origin);
    context.pushOrigin(origin);
    for (std::size_t i = 0; i < children.size(); ++i) {
        CView* child = children[i];
        if (child == skip)
            continue;
        const CRect area = child->getDrawnArea().intersection(local);
        if (!area.isEmpty())
            child->drawRect(context, area);
    }
    context.popOrigin();
}

CView* CViewContainer::getViewAt(CPoint where, long buttons) const {
    const CPoint local = toChild(where);
    for (auto it = children.rbegin(); it != children.rend(); ++it) {
        CView* child = *it;
        if (child->getMouseEnabled() && child->hitTest(local, buttons))
            return child;
    }
    return nullptr;
}

int CViewContainer::onMouseDown(CPoint where, long buttons) {
    const CPoint local = toChild(where);
    // Top to bottom; a view that does not take the press lets it reach what lies beneath.
    for (std::size_t n = children.size(); n-- > 0;) {
        if (n >= children.size())
            continue; // a handler removed views
        CView* child = children[n];
        if (!child->getMouseEnabled() || !child->hitTest(local, buttons))
            continue;
        const int result = child->onMouseDown(local, buttons);
        if (result == mouseHandled) {
            mouseDownView = child;
            return result;
        }
        if (result == mouseHandledNoMoves)
            return result;
    }
    return mouseNotHandled;
}

int CViewContainer::onMouseUp(CPoint where, long buttons) {
    CView* target = mouseDownView;
    mouseDownView = nullptr;
    if (!target)
        return mouseNotHandled;
    return target->onMouseUp(toChild(where), buttons);
}

int CViewContainer::onMouseMoved(CPoint where, long buttons) {
    const CPoint local = toChild(where);
    if (mouseDownView)
        return mouseDownView->onMouseMoved(local, buttons);
    CView* over = getViewAt(where, buttons);
    if (over != mouseOverView) {
        if (mouseOverView)
            mouseOverView->onMouseExited(local, buttons);
        mouseOverView = over;
        if (over)
            over->onMouseEntered(local, buttons);
    }
    return over ? over->onMouseMoved(local, buttons) : mouseNotHandled;
}

int CViewContainer::onMouseExited(CPoint where, long buttons) {
    if (mouseOverView) {
        mouseOverView->onMouseExited(toChild(where), buttons);
        mouseOverView = nullptr;
    }
    return mouseHandled;
}

bool CViewContainer::onWheel(CPoint where, float distance, long buttons) {
    const CPoint local = toChild(where);
    for (std::size_t n = children.size(); n-- > 0;) {
        if (n >= children.size())
            continue;
        CView* child = children[n];
        if (child->getMouseEnabled() && child->hitTest(local, buttons) &&
            child->onWheel(local, distance, buttons))
            return true;
    }
    return false;
}

void CViewContainer::onIdle() {
    for (std::size_t i = 0; i < children.size(); ++i)
        children[i]->onIdle();
}

void CViewContainer::attached(CView* container, CFrame* owner) {
    CView::attached(container, owner);
    for (CView* child : children)
        child->attached(this, owner);
}

void CViewContainer::removed() {
    for (CView* child : children)
        child->attached(this, nullptr);
    CView::removed();
}

void CViewContainer::collectDirty(CDirtyRegion& region, CPoint origin) {
    if (dirty) {
        dirty = false;
        // The whole area goes in first, so the children's own areas merge into it.
        region.add(getDrawnArea().offsetBy(origin));
    }
    const CPoint inner = origin + childOrigin();
    for (CView* child : children)
        child->collectDirty(region, inner);
}
