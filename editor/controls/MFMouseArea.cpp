#include "editor/controls/MFMouseArea.h"

MFMouseArea::MFMouseArea(const CRect& rect, CControlListener* l, int32_t t, MFFrame* owner)
    : MFControl(rect, l, t, owner) {
    kind = kindMouseArea;
}

void MFMouseArea::take(CPoint where, long buttons, bool clipped) {
    float x = size.width() > 0 ? float(where.x - size.left) / float(size.width()) : 0.0f;
    float y = size.height() > 0 ? float(where.y - size.top) / float(size.height()) : 0.0f;
    if (clipped) {
        x = x < 0.0f ? 0.0f : (x > 1.0f ? 1.0f : x);
        y = y < 0.0f ? 0.0f : (y > 1.0f ? 1.0f : y);
    }
    state[fieldLeft] = (buttons & cbutton::left) ? 1.0f : 0.0f;
    state[fieldRight] = (buttons & cbutton::right) ? 1.0f : 0.0f;
    state[fieldX] = x;
    state[fieldY] = y;
    state[fieldShift] = (buttons & cbutton::shift) ? 1.0f : 0.0f;
    state[fieldControl] = (buttons & cbutton::control) ? 1.0f : 0.0f;
    value = x;
}

int MFMouseArea::onMouseDown(CPoint where, long buttons) {
    if (!isShown() || !size.pointInside(where))
        return mouseNotHandled;
    take(where, buttons, false);
    if (enabled)
        beginEdit();
    notify();
    dragging = true;
    return mouseHandled;
}

int MFMouseArea::onMouseMoved(CPoint where, long buttons) {
    if (!dragging)
        return mouseNotHandled;
    take(where, buttons, clip);
    notify();
    return mouseHandled;
}

int MFMouseArea::onMouseUp(CPoint, long) {
    if (!dragging)
        return mouseNotHandled;
    state[fieldLeft] = state[fieldRight] = 0.0f;
    state[fieldShift] = state[fieldControl] = 0.0f;
    notify();
    dragging = false;
    setDirty();
    endEdit();
    return mouseHandled;
}
