#include "editor/controls/MFWebLink.h"

#include "editor/controls/MFFrame.h"
#include "editor/toolkit/CBitmap.h"
#include "editor/toolkit/CDrawContext.h"
#include "platform/MFDesktopOpen.h"

MFWebLink::MFWebLink(const CRect& rect, CControlListener* l, int32_t t, MFFrame* owner,
                     CBitmap* bitmap, const char* address)
    : MFControl(rect, l, t, owner, bitmap), target(address ? address : "") {
    kind = kindWebLink;
}

void MFWebLink::draw(CDrawContext& context) {
    if (!isShown())
        return;
    if (background && background->isLoaded()) {
        background->draw(context, size, CPoint(0, pressed ? size.height() : 0));
    } else {
        context.setFont(font, textSize);
        context.setFontColor(pressed ? ccolor::white : CColor{160, 190, 255, 255});
        context.drawString(target.c_str(), size, false, CDrawContext::alignCenter);
    }
}

int MFWebLink::onMouseDown(CPoint where, long buttons) {
    if (!hitTest(where, buttons))
        return mouseNotHandled;
    pressed = true;
    setDirty();
    return mouseHandled;
}

int MFWebLink::onMouseUp(CPoint where, long) {
    if (!pressed)
        return mouseNotHandled;
    pressed = false;
    setDirty();
    if (size.pointInside(where))
        openTarget();
    return mouseHandled;
}

int MFWebLink::onMouseEntered(CPoint where, long buttons) {
    MFControl::onMouseEntered(where, buttons);
    if (mfFrame)
        mfFrame->setCursor(ccursor::hand);
    return mouseHandled;
}

int MFWebLink::onMouseExited(CPoint where, long buttons) {
    MFControl::onMouseExited(where, buttons);
    if (mfFrame)
        mfFrame->setCursor(ccursor::standard);
    return mouseHandled;
}

bool MFWebLink::openTarget() {
    return mfDesktopOpen(target);
}
