#include "editor/controls/MFButton.h"

#include "editor/toolkit/CBitmap.h"
#include "editor/toolkit/CDrawContext.h"

#include <cmath>

MFButton::MFButton(const CRect& rect, CControlListener* l, int32_t t, MFFrame* owner,
                   CBitmap* strip, int32_t buttonMode)
    : MFControl(rect, l, t, owner, strip), mode(buttonMode) {
    kind = kindButton;
    controlFlags |= flagBitmap;
}

void MFButton::setLabel(const char* text, const char* alternate) {
    label = text ? text : "";
    alternateLabel = alternate ? alternate : "";
    setDirty();
}

int32_t MFButton::stateOf(float v) const {
    if (!(v > 0.0f))
        return 0;
    if (v >= float(stateCount - 1))
        return stateCount - 1;
    return int32_t(v);
}

int32_t MFButton::frameRow() const {
    const int32_t framesPerState =
        1 + (frameFlags & framePressed) + ((frameFlags & frameHover) / 2);
    int32_t row = framesPerState * stateOf(value);
    if (pressed && (frameFlags & framePressed))
        row += 1;
    else if (hover && (frameFlags & frameHover))
        row += 1 + (frameFlags & framePressed);
    return row;
}

void MFButton::draw(CDrawContext& context) {
    if (!isShown())
        return;
    if (boundValue)
        value = boundValue->load();
    const int32_t state = stateOf(value);
    if (background && background->isLoaded()) {
        background->draw(context, size, CPoint(0, frameRow() * size.height()));
    } else {
        // Fallback: a grey that lightens with the state, and a frame.
        const uint8_t grey = uint8_t(state > 0 ? 160 : 80);
        context.setFillColor(CColor{grey, grey, grey, 255});
        context.drawRect(size, CDrawContext::drawFilled);
        context.setFrameColor(pressed ? ccolor::white : CColor{200, 200, 200, 255});
        context.drawRect(size, CDrawContext::drawStroked);
    }
    const std::string& text = state > 0 && !alternateLabel.empty() ? alternateLabel : label;
    if (!text.empty() && font) {
        context.setFont(font, textSize);
        context.setFontColor(textColour);
        context.drawString(text.c_str(), size, false, textAlignment);
    }
    drawHelpText(context);
}

bool MFButton::hitTest(CPoint where, long buttons) const {
    if (mouseWhenHidden && visible)
        return mouseableArea.pointInside(where);
    return MFControl::hitTest(where, buttons);
}

void MFButton::advance(long buttons) {
    if ((buttons & cbutton::right) && stateCount > 2)
        value = 0.0f;
    else
        value = float((stateOf(value) + 1) % stateCount);
}

int MFButton::onMouseDown(CPoint where, long buttons) {
    if (!hitTest(where, buttons))
        return mouseNotHandled;
    if (mode == menu) {
        if (attachedMenu) {
            const CPoint beneath(size.left, size.bottom);
            attachedMenu->openModal(0, &beneath, tag);
        }
        return mouseHandledNoMoves;
    }
    if ((buttons & (cbutton::right | cbutton::apple)) && learnMenu) {
        learnMenu->setVisible(true);
        learnMenu->openModal(2, &where, tag);
        return mouseHandledNoMoves;
    }
    showHover();
    pressed = true;
    beginEdit();
    switch (mode) {
    case toggle:
        advance(buttons);
        notify();
        break;
    case triState:
        if (stateOf(value) == 0)
            value = (buttons & cbutton::right) ? 2.0f : 1.0f;
        else
            value = 0.0f;
        notify();
        break;
    case hoverToggle:
        break; // acts at the release
    default:   // momentary, one shot, until release, repeating
        value = 1.0f;
        notify();
        break;
    }
    setDirty();
    return mouseHandled;
}

int MFButton::onMouseUp(CPoint where, long buttons) {
    if (!pressed)
        return mouseNotHandled;
    pressed = false;
    hideHover();
    switch (mode) {
    case momentary:
    case repeating:
        value = 0.0f;
        notify();
        break;
    case untilRelease:
        if (!(buttons & cbutton::anyButton)) {
            value = 0.0f;
            notify();
        }
        break;
    case hoverToggle:
        if (size.pointInside(where)) {
            advance(buttons);
            notify();
        }
        break;
    default:
        break;
    }
    endEdit();
    setDirty();
    return mouseHandled;
}

int MFButton::onMouseMoved(CPoint where, long buttons) {
    if (mode == hoverToggle) {
        const bool inside = size.pointInside(where);
        if (inside != hover) {
            hover = inside;
            setDirty();
        }
    }
    if (pressed && mode == repeating && !(buttons & (cbutton::left | cbutton::right))) {
        notify();
        return mouseHandled;
    }
    return pressed ? mouseHandled : mouseNotHandled;
}

int MFButton::onMouseEntered(CPoint where, long buttons) {
    MFControl::onMouseEntered(where, buttons);
    if (!hover) {
        hover = true;
        if (frameFlags & frameHover)
            setDirty();
    }
    return mouseHandled;
}

int MFButton::onMouseExited(CPoint where, long buttons) {
    MFControl::onMouseExited(where, buttons);
    if (hover) {
        hover = false;
        if (frameFlags & frameHover)
            setDirty();
    }
    return mouseHandled;
}

void MFButton::onIdle() {
    MFControl::onIdle();
    if (boundValue) {
        const float bound = boundValue->load();
        if (bound != value && !(std::isnan(bound) && std::isnan(value))) {
            value = bound;
            setDirty();
        }
    }
}
