#include "editor/controls/MFKnob.h"

#include "editor/toolkit/CBitmap.h"
#include "editor/toolkit/CDrawContext.h"

#include <cmath>
#include <cstdio>

namespace {
// The row of a strip of count frames for a value in 0..1; any float lands inside.
int32_t stripRow(float normalised, int32_t count, bool stepped) {
    if (count <= 1 || !(normalised > 0.0f))
        return 0;
    const float scaled = stepped ? float(count) * normalised : float(count - 1) * normalised;
    if (scaled >= float(count - 1))
        return count - 1;
    return int32_t(scaled);
}

void remember(CBitmap* bitmap) {
    if (bitmap)
        bitmap->remember();
}

void forget(CBitmap*& bitmap) {
    if (bitmap)
        bitmap->forget();
    bitmap = nullptr;
}
} // namespace

MFKnob::MFKnob(const CRect& rect, CControlListener* l, int32_t t, MFFrame* owner, CBitmap* strip,
               int32_t height, int32_t count, float knobSensitivity)
    : MFControl(rect, l, t, owner), bitmap(strip), frameHeight(height),
      frameCount(count > 0 ? count : 1), sensitivity(knobSensitivity) {
    kind = kindKnob;
    remember(bitmap);
}

MFKnob::~MFKnob() {
    forget(bitmap);
    forget(backgroundBitmap);
    forget(overlayBitmap);
}

void MFKnob::bind(const MFRelaxed<float>* bound, float boundMinimum, float boundMaximum) {
    boundValue = bound;
    boundMin = boundMinimum;
    boundMax = boundMaximum;
    if (boundValue)
        value = normalisedBound();
    setDirty();
}

void MFKnob::setBackgroundBitmap(CBitmap* b) {
    remember(b);
    forget(backgroundBitmap);
    backgroundBitmap = b;
}

void MFKnob::setOverlay(CBitmap* b, const MFRelaxed<float>* v, int32_t mode, int32_t alpha) {
    remember(b);
    forget(overlayBitmap);
    overlayBitmap = b;
    overlayValue = v;
    overlayMode = mode;
    overlayAlpha = alpha;
}

float MFKnob::normalisedBound() const {
    const float range = boundMax - boundMin;
    if (range == 0.0f)
        return 0.0f;
    return (boundValue->load() - boundMin) / range;
}

int32_t MFKnob::frameRow() const {
    return stripRow(boundValue ? normalisedBound() : value, frameCount, steppedFrames);
}

void MFKnob::draw(CDrawContext& context) {
    if (!isShown() || hidden)
        return;
    if (backgroundBitmap)
        backgroundBitmap->draw(context, size);
    if (bitmap && bitmap->isLoaded()) {
        bitmap->draw(context, size, CPoint(0, frameRow() * frameHeight));
    } else {
        // The developer's fallback: the number on white.
        context.setFillColor(ccolor::white);
        context.drawRect(size, CDrawContext::drawFilled);
        char text[32];
        std::snprintf(text, sizeof text, "%2.2f", double(boundValue ? boundValue->load() : value));
        context.setFont(font, textSize);
        context.setFontColor(ccolor::black);
        context.drawString(text, size, false, CDrawContext::alignCenter);
    }
    drawOverlay(context);
    drawHelpText(context);
}

void MFKnob::drawOverlay(CDrawContext& context) {
    if (!overlayBitmap || !overlayValue || overlayMode == overlayNone)
        return;
    float v = overlayValue->load();
    if (!(v > 0.0f))
        v = 0.0f;
    if (v > 1.0f)
        v = 1.0f;
    lastOverlay = v;
    CRect area = size;
    CPoint offset;
    if (overlayMode == overlaySlideX)
        area.offset(int(v * float(size.width())) - size.width(), 0);
    else if (overlayMode == overlaySlideY)
        area.offset(0, size.height() - int(v * float(size.height())));
    else if (overlayMode == overlayFrame)
        offset.y =
            stripRow(v, frameHeight > 0 ? overlayBitmap->getHeight() / frameHeight : 1, false) *
            frameHeight;
    context.pushClip(size);
    overlayBitmap->drawAlphaBlend(context, area, offset, overlayAlpha);
    context.popClip();
}

float MFKnob::valueAt(CPoint where) const {
    if (horizontal)
        return size.width() > 0 ? float(where.x - size.left) / float(size.width()) : 0.0f;
    return size.height() > 0 ? 1.0f - float(where.y - size.top) / float(size.height()) : 0.0f;
}

int MFKnob::onMouseDown(CPoint where, long buttons) {
    if (!isShown() || !mouseableArea.pointInside(where))
        return mouseNotHandled;
    if ((buttons & (cbutton::right | cbutton::apple)) && learnMenu) {
        learnMenu->setVisible(true);
        learnMenu->openModal(2, &where, tag);
        return mouseHandledNoMoves;
    }
    if (!(buttons & cbutton::control) && (!(buttons & cbutton::doubleClick) || absolute)) {
        showHover();
        dragging = true;
        lastPoint = where;
        if (touchedFlag)
            touchedFlag->store(1.0f);
        beginEdit();
        if (absolute) {
            value = valueAt(where);
            bounceValue();
            notify();
            setDirty();
        }
        return mouseHandled;
    }
    // A double click, or a click with control, returns the knob to its default.
    beginEdit();
    value = defaultValue;
    notify();
    endEdit();
    setDirty();
    return mouseHandledNoMoves;
}

int MFKnob::onMouseMoved(CPoint where, long buttons) {
    if (!dragging || !(buttons & (cbutton::left | cbutton::right)))
        return mouseNotHandled;
    if (absolute) {
        value = valueAt(where);
    } else {
        const int d = horizontal ? -(where.x - lastPoint.x) : where.y - lastPoint.y;
        const float step = (buttons & cbutton::shift) ? fineDragStep : dragStep;
        value += sensitivity * step * float(d);
    }
    lastPoint = where;
    bounceValue();
    notify();
    setDirty();
    return mouseHandled;
}

int MFKnob::onMouseUp(CPoint where, long) {
    if (!size.pointInside(where))
        startHideCount();
    dragging = false;
    if (springBack) {
        value = 0.5f;
        notify();
    } else if (touchedFlag) {
        touchedFlag->store(0.0f);
        notify();
    }
    endEdit();
    setDirty();
    return mouseHandled;
}

bool MFKnob::onWheel(CPoint, float distance, long) {
    if (!isShown() || noWheel)
        return false;
    value += distance * wheelStep;
    bounceValue();
    beginEdit();
    notify();
    endEdit();
    setDirty();
    return true;
}

void MFKnob::onIdle() {
    MFControl::onIdle();
    if (overlayValue && overlayMode != overlayNone && overlayValue->load() != lastOverlay)
        setDirty();
    if (dragging || !boundValue)
        return;
    const float bound = normalisedBound();
    if (bound != value && !(std::isnan(bound) && std::isnan(value))) {
        value = bound;
        setDirty();
    }
}
