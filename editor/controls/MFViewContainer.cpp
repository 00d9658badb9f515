#include "editor/controls/MFViewContainer.h"

#include "editor/controls/MFFrame.h"
#include "editor/toolkit/CDrawContext.h"

#include <algorithm>

MFViewContainer::MFViewContainer(const CRect& rect, CControlListener* l, int32_t t, MFFrame* owner,
                                 CBitmap* bitmap)
    : MFControl(rect, l, t, owner, bitmap) {
    kind = kindViewContainer;
}

MFViewContainer::~MFViewContainer() {
    while (!children.empty()) {
        CView* last = children.back();
        children.pop_back();
        delete last;
    }
}

void MFViewContainer::addView(CView* view) {
    if (!view || std::find(children.begin(), children.end(), view) != children.end())
        return;
    children.push_back(view);
    view->attached(this, getFrame());
    view->setDirty();
}

bool MFViewContainer::removeView(CView* view, bool deleteView) {
    const auto it = std::find(children.begin(), children.end(), view);
    if (it == children.end())
        return false;
    view->invalid();
    children.erase(it);
    if (focusView == view)
        focusView = nullptr;
    if (mouseDownView == view)
        mouseDownView = nullptr;
    view->removed();
    if (deleteView)
        delete view;
    return true;
}

CView* MFViewContainer::getView(int index) const {
    return index >= 0 && index < int(children.size()) ? children[std::size_t(index)] : nullptr;
}

void MFViewContainer::draw(CDrawContext& context) {
    drawRect(context, getDrawnArea());
}

void MFViewContainer::drawRect(CDrawContext& context, const CRect& updateRect) {
    if (!isShown())
        return;
    drawBase(context);
    const CRect local = updateRect.offsetBy(CPoint{} - childOrigin());
    context.pushOrigin(childOrigin());
    for (CView* child : children) {
        const CRect area = child->getDrawnArea().intersection(local);
        if (!area.isEmpty())
            child->drawRect(context, area);
    }
    context.popOrigin();
    drawHelpText(context);
}

CView* MFViewContainer::childAt(CPoint local, long buttons) const {
    for (auto it = children.rbegin(); it != children.rend(); ++it)
        if ((*it)->getMouseEnabled() && (*it)->hitTest(local, buttons))
            return *it;
    return nullptr;
}

int MFViewContainer::onMouseDown(CPoint where, long buttons) {
    if (!isShown())
        return mouseNotHandled;
    if (!size.pointInside(where)) {
        if (modalMode == modeClosesOutside && mfFrame && mfFrame->getModalControl() == this) {
            closeModal();
            return mouseHandledNoMoves;
        }
        return mouseNotHandled;
    }
    const CPoint local = where - childOrigin();
    for (std::size_t n = children.size(); n-- > 0;) {
        if (n >= children.size())
            continue; // a handler changed the children
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
    // A press on the panel itself is the panel's: nothing beneath it takes it.
    return mouseHandledNoMoves;
}

int MFViewContainer::onMouseUp(CPoint where, long buttons) {
    CView* target = mouseDownView;
    mouseDownView = nullptr;
    return target ? target->onMouseUp(where - childOrigin(), buttons) : mouseNotHandled;
}

int MFViewContainer::onMouseMoved(CPoint where, long buttons) {
    if (mouseDownView)
        return mouseDownView->onMouseMoved(where - childOrigin(), buttons);
    return mouseNotHandled;
}

bool MFViewContainer::onWheel(CPoint where, float distance, long buttons) {
    if (!isShown() || !size.pointInside(where))
        return false;
    const CPoint local = where - childOrigin();
    CView* child = childAt(local, buttons);
    return child && child->onWheel(local, distance, buttons);
}

void MFViewContainer::onIdle() {
    MFControl::onIdle();
    for (std::size_t i = 0; i < children.size(); ++i)
        children[i]->onIdle();
}

void MFViewContainer::openModal(int32_t mode, const CPoint* where, int32_t modalTag) {
    if (!mfFrame)
        return;
    if (where) {
        // Moved to the point, then pushed back inside the frame.
        const CRect bounds = mfFrame->getViewSize();
        CRect placed = size;
        placed.moveTo(where->x, where->y);
        if (placed.right > bounds.right)
            placed.offset(bounds.right - placed.right, 0);
        if (placed.bottom > bounds.bottom)
            placed.offset(0, bounds.bottom - placed.bottom);
        if (placed.left < bounds.left)
            placed.offset(bounds.left - placed.left, 0);
        if (placed.top < bounds.top)
            placed.offset(0, bounds.top - placed.top);
        setViewSizeAndMouseableArea(placed);
    }
    modalMode = mode;
    setVisible(true);
    setMouseEnabled(true);
    mfFrame->addView(this);
    MFControl::openModal(mode, where, modalTag);
}

void MFViewContainer::setVisible(bool flag) {
    for (CView* child : children)
        if (auto* control = dynamic_cast<MFControl*>(child))
            control->setVisible(flag);
    MFControl::setVisible(flag);
}

void MFViewContainer::closeModal() {
    for (CView* child : children)
        if (auto* control = dynamic_cast<MFControl*>(child))
            control->setVisible(false);
    mouseDownView = nullptr;
    if (mfFrame)
        mfFrame->removeView(this, false);
    MFControl::closeModal();
}

void MFViewContainer::attached(CView* container, CFrame* owner) {
    MFControl::attached(container, owner);
    for (CView* child : children)
        child->attached(this, owner);
}

void MFViewContainer::removed() {
    for (CView* child : children)
        child->attached(this, nullptr);
    MFControl::removed();
}

void MFViewContainer::collectDirty(CDirtyRegion& region, CPoint origin) {
    MFControl::collectDirty(region, origin);
    const CPoint inner = origin + childOrigin();
    for (CView* child : children)
        child->collectDirty(region, inner);
}
