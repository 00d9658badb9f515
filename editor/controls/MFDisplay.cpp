#include "editor/controls/MFDisplay.h"

#include "editor/toolkit/CBitmap.h"
#include "editor/toolkit/CDrawContext.h"

#include <cmath>
#include <cstdio>

MFDisplay::MFDisplay(const CRect& rect, CControlListener* l, int32_t t, MFFrame* owner,
                     CBitmap* bitmap)
    : MFControl(rect, l, t, owner, bitmap) {
    kind = kindDisplay;
    frameHeight = rect.height();
}

void MFDisplay::bind(const MFRelaxed<float>* bound, float boundMinimum, float boundMaximum) {
    boundValue = bound;
    boundMin = boundMinimum;
    boundMax = boundMaximum;
    setDirty();
}

float MFDisplay::shownValue() const {
    return boundValue ? boundValue->load() : value;
}

int32_t MFDisplay::frameRow() const {
    float row;
    if (rawBound) {
        row = shownValue();
    } else {
        const float range = boundMax - boundMin;
        const float normalised =
            boundValue ? (range != 0.0f ? (boundValue->load() - boundMin) / range : 0.0f) : value;
        row = normalised * float(frameCount - 1);
        if (roundBound)
            row += 0.5f;
    }
    // Any float lands on a row of the strip.
    if (!(row > 0.0f))
        return 0;
    if (row >= float(frameCount - 1))
        return frameCount - 1;
    return int32_t(row);
}

void MFDisplay::formatText(char* text) const {
    const float v = shownValue();
    if (v < zeroThreshold) {
        std::snprintf(text, textCapacity, "%s", zeroText.c_str());
        return;
    }
    if (textSource) {
        const char* source = textSource->getDisplayText();
        std::snprintf(text, textCapacity, "%s", source ? source : "");
    } else if (formatter) {
        char formatted[textCapacity];
        formatter(v, formatted);
        std::snprintf(text, textCapacity, "%s%s", textPrefix.c_str(), formatted);
    } else if (integer) {
        const int whole = std::fabs(v) < 2.0e9f ? int(v) : 0;
        if (textPrefix.empty())
            std::snprintf(text, textCapacity, "%d", whole);
        else
            std::snprintf(text, textCapacity, "%s %d", textPrefix.c_str(), whole);
    } else {
        char format[32];
        if (textPrefix.empty()) {
            std::snprintf(format, sizeof format, "%%%d.%df", int(digits), int(decimals));
            std::snprintf(text, textCapacity, format, double(v));
        } else {
            std::snprintf(format, sizeof format, "%%s %%%d.%df", int(digits), int(decimals));
            std::snprintf(text, textCapacity, format, textPrefix.c_str(), double(v));
        }
    }
    std::size_t used = 0;
    while (used < std::size_t(textCapacity) && text[used])
        ++used;
    std::snprintf(text + used, std::size_t(textCapacity) - used, "%s", textSuffix.c_str());
}

void MFDisplay::draw(CDrawContext& context) {
    if (!isShown())
        return;
    if (controlFlags & flagFill) {
        context.setFillColor(colour);
        context.drawRect(size, CDrawContext::drawFilled);
    }
    lastFrameOffset = frameOffset();
    lastShown = shownValue();
    if (background && background->isLoaded()) {
        const CPoint offset(0, lastFrameOffset);
        if (useTransparent)
            background->drawTransparent(context, size, offset);
        else if (alpha < 255)
            background->drawAlphaBlend(context, size, offset, alpha);
        else
            background->draw(context, size, offset);
    }
    const CRect textArea(size.left + insetLeft, size.top + insetTop, size.right - insetRight,
                         size.bottom - insetBottom);
    context.setFont(font, textSize);
    context.setFontColor(textColour);
    if (!valueLabel.empty())
        context.drawString(valueLabel.c_str(), textArea, false, CDrawContext::alignLeft);
    if (showText) {
        char text[textCapacity];
        formatText(text);
        context.drawString(text, textArea, false, CDrawContext::alignCenter);
    }
    drawHelpText(context);
}

void MFDisplay::onIdle() {
    MFControl::onIdle();
    // A hidden display draws nothing, so what it last drew is stale until its page
    // returns, and the page's return repaints it anyway.
    if (!isShown())
        return;
    const float shown = shownValue();
    const bool textChanged =
        showText && shown != lastShown && !(std::isnan(shown) && std::isnan(lastShown));
    if (textChanged || frameOffset() != lastFrameOffset)
        setDirty();
}

int MFDisplay::onMouseDown(CPoint where, long) {
    if (!isShown() || !enabled || !mouseableArea.pointInside(where))
        return mouseNotHandled;
    dragging = true;
    lastPoint = where;
    beginEdit();
    return mouseHandled;
}

int MFDisplay::onMouseMoved(CPoint where, long buttons) {
    if (!dragging || !(buttons & (cbutton::left | cbutton::right)))
        return mouseNotHandled;
    const int d = horizontal ? -(where.x - lastPoint.x) : where.y - lastPoint.y;
    const float step = (buttons & cbutton::shift) ? fineDragStep : dragStep;
    value += sensitivity * step * float(d);
    lastPoint = where;
    bounceValue();
    notify();
    setDirty();
    return mouseHandled;
}

int MFDisplay::onMouseUp(CPoint, long) {
    if (!dragging)
        return mouseNotHandled;
    dragging = false;
    endEdit();
    setDirty();
    return mouseHandled;
}
