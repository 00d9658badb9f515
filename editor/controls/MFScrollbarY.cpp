#include "editor/controls/MFScrollbarY.h"

#include "editor/toolkit/CControlListener.h"
#include "editor/toolkit/CDrawContext.h"

#include <algorithm>

MFScrollbarY::MFScrollbarY(const CRect& rect, CControlListener* l, int32_t t, MFFrame* owner)
    : MFControl(rect, l, t, owner) {}

void MFScrollbarY::setTargets(float* xTarget, float* yTarget, bool trackX) {
    x = xTarget;
    y = yTarget;
    followX = trackX;
}

void MFScrollbarY::setVisibleFraction(float fraction) {
    visibleFraction = std::clamp(fraction, 0.0f, 1.0f);
}

CRect MFScrollbarY::placeIn(const CRect& panel) {
    return {panel.right - insetRight - barWidth, panel.top + insetTop, panel.right - insetRight,
            panel.bottom - insetBottom};
}

void MFScrollbarY::setColours(CColor fill, CColor frameC, CColor thumb) {
    fillColour = fill;
    frameColour = frameC;
    thumbColour = thumb;
}

CRect MFScrollbarY::thumbRect() const {
    const CRect track = size.insetBy(1, 1);
    const int32_t height = track.height();
    const int32_t thumb =
        std::min(height, std::max(minThumb, int32_t(float(height) * visibleFraction)));
    const float position = y ? std::clamp(*y, 0.0f, 1.0f) : 0.0f;
    const int32_t top = track.top + int32_t(float(height - thumb) * position);
    return {track.left, top, track.right, top + thumb};
}

void MFScrollbarY::draw(CDrawContext& context) {
    if (!isShown() || size.isEmpty())
        return;
    context.setFillColor(fillColour);
    context.drawRect(size, CDrawContext::drawFilled);
    context.setFrameColor(frameColour);
    context.drawRect(size, CDrawContext::drawStroked);
    context.setFillColor(thumbColour);
    context.drawRect(thumbRect().insetBy(1, 0), CDrawContext::drawFilled);
}

int MFScrollbarY::onMouseDown(CPoint where, long) {
    if (!isShown() || !size.pointInside(where))
        return mouseNotHandled;
    dragging = true;
    last = where;
    return mouseHandled;
}

int MFScrollbarY::onMouseUp(CPoint, long) {
    if (!dragging)
        return mouseNotHandled;
    dragging = false;
    return mouseHandled;
}

int MFScrollbarY::onMouseMoved(CPoint where, long) {
    if (!dragging)
        return mouseNotHandled;
    if (y)
        *y = std::clamp(*y + float(where.y - last.y) * dragStep, 0.0f, 1.0f);
    if (followX && x)
        *x = std::clamp(*x + float(where.x - last.x) * dragStep, 0.0f, 1.0f);
    last = where;
    setDirty();
    if (listener)
        listener->valueChanged(this);
    return mouseHandled;
}
