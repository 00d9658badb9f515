#include "editor/controls/MFTextEdit.h"

#include "editor/toolkit/CDrawContext.h"

MFTextEdit::MFTextEdit(const CRect& rect, CControlListener* l, int32_t t, MFFrame* owner,
                       CBitmap* bitmap)
    : MFControl(rect, l, t, owner, bitmap) {
    kind = kindTextEdit;
    controlFlags |= flagFill;
}

void MFTextEdit::draw(CDrawContext& context) {
    if (!isShown())
        return;
    drawBase(context);
    context.setFont(font, textSize);
    context.setFontColor(textColour);
    context.drawString(text.c_str(), size.insetBy(2, 0), false, CDrawContext::alignLeft);
}

int MFTextEdit::onMouseDown(CPoint where, long buttons) {
    if (!hitTest(where, buttons))
        return mouseNotHandled;
    return beginTextInput() ? mouseHandledNoMoves : mouseNotHandled;
}

void MFTextEdit::setText(const std::string& newText) {
    text = newText.substr(0, maxLength);
    notify();
    setDirty();
}
