#include "editor/controls/MFFrame.h"

#include "editor/controls/MFControl.h"
#include "editor/toolkit/CSystemWindow.h"

MFFrame::MFFrame(const CRect& rect, CSystemWindow* window, CEditorInterface* editor, double scale)
    : CFrame(rect, window, editor, scale) {}

MFFrame::~MFFrame() {
    // The controls still reach this frame while they go (a modal control gives its place
    // back), so they go before it does.
    modalControl = nullptr;
    deleteOverlay();
    removeAll();
}

void MFFrame::draw(CDrawContext& context) {
    drawRect(context, size);
}

void MFFrame::drawRect(CDrawContext& context, const CRect& updateRect) {
    if (updateRect.width() <= 0 || updateRect.height() <= 0)
        return;
    drawBackgroundRect(context, updateRect);
    drawChildren(context, updateRect, modalControl);
    if (modalControl) {
        const CRect area = modalControl->getDrawnArea().intersection(updateRect);
        if (!area.isEmpty())
            modalControl->drawRect(context, area);
    }
}

int MFFrame::onMouseDown(CPoint where, long buttons) {
    if (CSystemWindow* window = getSystemWindow())
        window->takeFocus();
    if (modalControl)
        return modalControl->onMouseDown(where, buttons);
    return CFrame::onMouseDown(where, buttons);
}

int MFFrame::onMouseUp(CPoint where, long buttons) {
    if (modalControl)
        return modalControl->onMouseUp(where, buttons);
    return CFrame::onMouseUp(where, buttons);
}

int MFFrame::onMouseMoved(CPoint where, long buttons) {
    if (modalControl)
        return modalControl->onMouseMoved(where, buttons);
    return CFrame::onMouseMoved(where, buttons);
}

bool MFFrame::onWheel(CPoint where, float distance, long buttons) {
    if (modalControl)
        return modalControl->onWheel(where, distance, buttons);
    return CFrame::onWheel(where, distance, buttons);
}

void MFFrame::idle() {
    ++idleCounter;
    if (redrawAllFlag) {
        redrawAllFlag = false;
        setDirty();
    }
    CFrame::onIdle();
    CFrame::idle();
}
