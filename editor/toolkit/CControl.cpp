#include "editor/toolkit/CControl.h"

#include "editor/toolkit/CControlListener.h"
#include "editor/toolkit/CEditorInterface.h"
#include "editor/toolkit/CFrame.h"

CControl::CControl(const CRect& rect, CControlListener* l, int32_t t, CBitmap* bitmap)
    : CView(rect), listener(l), tag(t) {
    if (bitmap)
        setBackground(bitmap);
}

void CControl::beginEdit() {
    if (frame && frame->getEditor())
        frame->getEditor()->beginEdit(tag);
}

void CControl::endEdit() {
    if (frame && frame->getEditor())
        frame->getEditor()->endEdit(tag);
}

void CControl::bounceValue() {
    if (!(value >= minimum))
        value = minimum;
    else if (value > maximum)
        value = maximum;
}

void CControl::notify() {
    if (listener)
        listener->valueChanged(this);
}
