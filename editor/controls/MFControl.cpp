#include "editor/controls/MFControl.h"

#include "editor/controls/MFFrame.h"
#include "editor/toolkit/CBitmap.h"
#include "editor/toolkit/CDrawContext.h"

#include <algorithm>

MFControl::MFControl(const CRect& rect, CControlListener* l, int32_t t, MFFrame* owner,
                     CBitmap* bitmap)
    : CControl(rect, l, t, bitmap), mfFrame(owner) {
    if (owner) {
        font = owner->getFont();
        textSize = owner->getTextSize();
    }
}

MFControl::~MFControl() {
    // A modal control that goes away gives its place back.
    if (mfFrame && mfFrame->getModalControl() == this)
        mfFrame->setModalControl(previousModal);
}

void MFControl::draw(CDrawContext& context) {
    if (!isShown())
        return;
    drawBase(context);
    drawHelpText(context);
}

void MFControl::drawBase(CDrawContext& context) {
    if (controlFlags & flagShadow)
        drawShadow(context);
    if (controlFlags & flagFill) {
        context.setFillColor(colour);
        context.drawRect(size, CDrawContext::drawFilled);
    }
    if ((controlFlags & flagBitmap) && background)
        background->draw(context, size);
}

void MFControl::drawShadow(CDrawContext& context) {
    // Rings of one pixel around the control, darkest next to it; each ring further out
    // changes the alpha by shadowOffset.
    context.setLineWidth(1);
    for (int32_t ring = 0; ring < shadowWidth; ++ring) {
        const int32_t alpha = std::clamp(shadowAlpha + ring * shadowOffset, 0, 255);
        if (alpha == 0)
            break;
        context.setFrameColor(CColor{0, 0, 0, uint8_t(alpha)});
        context.drawRect(size.insetBy(-(ring + 1), -(ring + 1)), CDrawContext::drawStroked);
    }
}

void MFControl::drawHelpText(CDrawContext& context) {
    if (!helpText || !*helpText || !font)
        return;
    context.setFont(font, helpTextSize);
    context.setFontColor(textColour);
    context.drawString(helpText, CRect(size.left, size.top - helpTextRise, size.right, size.top),
                       false, CDrawContext::alignCenter);
}

CRect MFControl::getDrawnArea() const {
    CRect area = size;
    if (controlFlags & flagShadow)
        area = area.insetBy(-shadowWidth, -shadowWidth);
    if (helpText && *helpText)
        area = area.unionWith(CRect(size.left, size.top - helpTextRise, size.right, size.top));
    return area;
}

int MFControl::onMouseDown(CPoint, long) {
    if (!isShown())
        return mouseNotHandled;
    showHover();
    return mouseHandled;
}

int MFControl::onMouseUp(CPoint, long) {
    if (!isShown())
        return mouseNotHandled;
    hideHover();
    return mouseHandled;
}

int MFControl::onMouseMoved(CPoint, long) {
    return mouseNotHandled;
}

int MFControl::onMouseEntered(CPoint, long) {
    if (!isShown())
        return mouseNotHandled;
    startShowCount();
    return mouseHandled;
}

int MFControl::onMouseExited(CPoint, long) {
    startHideCount();
    return mouseHandled;
}

bool MFControl::hitTest(CPoint where, long buttons) const {
    return isShown() && CControl::hitTest(where, buttons);
}

void MFControl::setVisible(bool flag) {
    if (visible == flag)
        return;
    visible = flag;
    invalid();
}

void MFControl::invalid() {
    dirty = false;
    invalidInFrame(getDrawnArea());
}

void MFControl::invalidInFrame(const CRect& rect) {
    // The frame's overlay redraws by itself: its moves and changes cost no views beneath.
    if (mfFrame && mfFrame->getOverlay() == this)
        return;
    if (parent)
        CView::invalidRect(rect);
    else if (mfFrame)
        mfFrame->invalidRect(rect);
}

void MFControl::openModal(int32_t mode, const CPoint*, int32_t) {
    if (!mfFrame)
        return;
    if (mfFrame->getModalControl() != this)
        previousModal = mfFrame->getModalControl();
    mfFrame->setModalControl(this);
    modalMode = mode;
    invalidInFrame(getDrawnArea());
    setDirty();
}

void MFControl::closeModal() {
    if (!mfFrame)
        return;
    if (mfFrame->getModalControl() == this)
        mfFrame->setModalControl(previousModal);
    previousModal = nullptr;
    modalMode = 0;
    mfFrame->setDirty();
}

void MFControl::startShowCount() {
    hintCountdownShow = mfFrame ? mfFrame->hintDelayTicks : MFFrame::defaultHintDelayTicks;
    hintCountdownHide = -1;
}

void MFControl::startHideCount() {
    hintCountdownHide = mfFrame ? mfFrame->hintHoldTicks : MFFrame::defaultHintHoldTicks;
    hintCountdownShow = -1;
}

void MFControl::onIdle() {
    if (!isShown()) {
        if (hintVisible)
            hideHover();
        return;
    }
    // -1 is an idle count; a count that reaches 0 fires once.
    if (hintVisible) {
        if (hintCountdownHide > 0 && --hintCountdownHide == 0)
            hideHover();
    } else if (hintCountdownShow > 0 && --hintCountdownShow == 0) {
        showHover();
    }
}

void MFControl::showHover() {
    for (MFControl* view : hoverShow)
        view->setVisible(true);
    for (MFControl* view : hoverHide)
        view->setVisible(false);
    hintCountdownShow = hintCountdownHide = -1;
    hintVisible = true;
}

void MFControl::hideHover() {
    for (MFControl* view : hoverShow)
        view->setVisible(false);
    for (MFControl* view : hoverHide)
        view->setVisible(true);
    hintCountdownShow = hintCountdownHide = -1;
    hintVisible = false;
}

void MFControl::setViewSize(const CRect& rect, bool invalidate) {
    CControl::setViewSize(rect, invalidate);
}

void MFControl::setViewSizeAndMouseableArea(const CRect& rect) {
    setViewSize(rect, true);
    mouseableArea = rect;
}

void MFControl::setShadow(int32_t alpha, int32_t offset, int32_t width) {
    shadowAlpha = alpha;
    shadowOffset = offset;
    shadowWidth = std::max(0, width);
}

void MFControl::beginEdit() {
    if (sendEditEvents)
        CControl::beginEdit();
}

void MFControl::endEdit() {
    if (sendEditEvents)
        CControl::endEdit();
}
