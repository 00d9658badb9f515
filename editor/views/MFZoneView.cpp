#include "editor/views/MFZoneView.h"

#include "editor/controls/MFFrame.h"
#include "editor/toolkit/CBitmap.h"
#include "editor/toolkit/CDrawContext.h"
#include "pattern/MFZone.h"
#include "pattern/MFZoneHandlerInterface.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {
constexpr CColor dropColour{255, 0, 0, 255};
constexpr CColor zoneTextColour = ccolor::white;

uint8_t blendChannel(uint8_t from, uint8_t to, float t) {
    return uint8_t(float(from) + (float(to) - float(from)) * t);
}
} // namespace

MFZoneView::MFZoneView(const CRect& rect, CControlListener* l, int32_t t, MFFrame* owner,
                       MFZoneHandlerInterface* laneShown)
    : MFControl(rect, l, t, owner), lane(laneShown) {
    if (lane)
        lastPattern = lane->currentIndex();
}

MFZoneView::~MFZoneView() {
    if (sprite)
        sprite->forget();
}

void MFZoneView::setup(int32_t steps, const float* scrollValue, CBitmap* bitmap, bool deletes,
                       bool creates, int32_t kindOfNew, bool pushAlways, CColor first, CColor last,
                       bool border, CColor borderColour, int32_t endLimit, int32_t strength) {
    stepsShown = std::max(1, steps);
    scroll = scrollValue;
    if (bitmap)
        bitmap->remember();
    if (sprite)
        sprite->forget();
    sprite = bitmap;
    canDelete = deletes;
    canCreate = creates;
    newZoneKind = kindOfNew;
    alwaysPush = pushAlways;
    colourFirst = first;
    colourLast = last;
    showBorder = border;
    colourBorder = borderColour;
    maxEnd = endLimit;
    alpha = strength;
}

int32_t MFZoneView::stepAt(int32_t x) const {
    const float w = stepWidth();
    for (int32_t k = 0; k < stepsShown; ++k) {
        const int32_t from = int32_t(float(k) * w + float(size.left));
        const int32_t to = int32_t(float(from) + w);
        if (x >= from && x <= to)
            return k;
    }
    return -1;
}

// --- drawing ---------------------------------------------------------------------------

CRect MFZoneView::zoneRect(int32_t first, int32_t last) const {
    const float w = stepWidth();
    const int32_t left = first >= 0 ? int32_t(float(first) * w + float(size.left)) : size.left;
    const int32_t right =
        last <= stepsShown ? std::min(size.right, int32_t(float(last + 1) * w + float(size.left)))
                           : size.right;
    return CRect(left, size.top, right, size.bottom);
}

void MFZoneView::blit(CDrawContext& context, int32_t x, int32_t row, int32_t strength) {
    const int32_t h = size.height();
    const CRect cell(x, size.top, x + sprite->getWidth(), size.bottom);
    if (drawAreaSet && cell.intersection(drawArea).isEmpty())
        return;
    const CPoint source(0, row * h);
    if (strength == 0)
        sprite->draw(context, cell, source);
    else
        sprite->drawAlphaBlend(context, cell, source, strength);
}

void MFZoneView::drawCells(CDrawContext& context, int32_t start, int32_t end, int32_t group,
                           int32_t strength) {
    const int32_t o = scrollSteps();
    const int32_t first = start - o;
    const int32_t last = end - o;
    const float w = stepWidth();
    const int32_t leftPixel = zoneRect(first, last).left;
    const int32_t cutLeft = std::max(0, -first);
    const int32_t cutRight = std::max(0, last - (stepsShown - 1));
    const int32_t n = (end - start) - cutLeft - cutRight;
    if (n <= 0) {
        blit(context, leftPixel, group, strength);
        return;
    }
    blit(context, leftPixel, group + (first < 0 ? 2 : 1), strength);
    for (int32_t i = 1; i < n; ++i)
        blit(context, int32_t(float(leftPixel) + float(i) * w), group + 2, strength);
    blit(context, int32_t(float(leftPixel) + float(n) * w), group + 3, strength);
}

void MFZoneView::drawRect(CDrawContext& context, const CRect& updateRect) {
    drawArea = updateRect;
    drawAreaSet = true;
    draw(context);
    drawAreaSet = false;
}

void MFZoneView::draw(CDrawContext& context) {
    if (!isShown())
        return;
    drawBase(context);
    if (!lane)
        return;

    const int32_t count = lane->zoneCount();
    const std::vector<MFZone*>& list = lane->zones();
    if (int32_t(list.size()) < count) {
        // The list is being changed: try again at the next pass.
        setDirty();
        return;
    }
    const int32_t o = scrollSteps();
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (lane->isBusy()) {
            // The audio side walks the list: leave the rest for the next pass.
            setDirty();
            return;
        }
        MFZone* zone = list[i];
        if (zone->deleted.get())
            continue;
        const int32_t first = zone->start - o;
        const int32_t last = zone->end - o;
        if (last < 0 || first >= stepsShown)
            continue;
        const CRect rect = zoneRect(first, last);
        if (customDraw) {
            customDraw(context, zone, rect);
        } else if (!sprite) {
            const float middle = float(zone->start + zone->end) * 0.5f - float(o);
            const float t = std::clamp(middle / float(stepsShown), 0.0f, 1.0f);
            context.setFillColor({blendChannel(colourFirst.red, colourLast.red, t),
                                  blendChannel(colourFirst.green, colourLast.green, t),
                                  blendChannel(colourFirst.blue, colourLast.blue, t), 255});
            context.drawRect(rect, CDrawContext::drawFilled);
            if (font) {
                char text[16];
                std::snprintf(text, sizeof text, "%d", int(i));
                context.setFont(font, textSize);
                context.setFontColor(zoneTextColour);
                context.drawString(text, rect);
            }
        } else {
            const int32_t group = lane->isMarkedStep(int32_t(i)) ? cellsPerGroup : 0;
            drawCells(context, zone->start, zone->end, group, alpha);
        }
        if (afterDraw)
            afterDraw(context, zone, rect, first, last - first + 1);
        if (showBorder) {
            context.setFrameColor(colourBorder);
            context.drawRect(rect, CDrawContext::drawStroked);
        }
    }

    // Where a move would put the zone, while it cannot get there.
    if (dragZone && moveMode && sprite) {
        const int32_t target = currentStep - grabOffset;
        const int32_t length = dragZone->end - dragZone->start;
        if (dragZone->start != target && target - o >= 0 && target + length - o < stepsShown)
            drawCells(context, target, target + length, 0, ghostAlpha);
    }

    if (dropStart != -1 && dropEnd != -1) {
        const float w = stepWidth();
        const CRect rect(
            int32_t(float(dropStart - o) * w + float(size.left)), size.top,
            std::min(size.right, int32_t(float(dropEnd - o + 1) * w + float(size.left))),
            size.bottom);
        context.setFillColor(dropColour);
        context.drawRect(rect, CDrawContext::drawFilled);
        if (font) {
            context.setFont(font, textSize);
            context.setFontColor(zoneTextColour);
            context.drawString(lane->name(), rect);
        }
    }
}

// --- the gesture -------------------------------------------------------------------------

int MFZoneView::onMouseDown(CPoint where, long buttons) {
    if (!size.pointInside(where) || !isShown() || !lane)
        return mouseNotHandled;
    const int32_t shown = stepAt(where.x);
    if (shown < 0)
        return mouseHandledNoMoves;
    const int32_t step = scrollSteps() + shown;
    showHover();
    MFZone* zone = lane->zoneAt(step);

    if (popup && (buttons & (cbutton::right | cbutton::apple))) {
        lane->stepPressed(step);
        setDirty();
        popup->setViewSize(
            CRect(where, popup->getViewSize().width(), popup->getViewSize().height()));
        popup->setValue(float(step));
        popup->openModal(2, &where, tag);
        return mouseHandledNoMoves;
    }

    if ((canDelete && zone && (buttons & cbutton::right)) ||
        (doubleClickDeletes && zone && (buttons & cbutton::doubleClick))) {
        if (zone == dragZone)
            dragZone = nullptr; // a right click in the middle of a drag
        lane->removeZone(zone);
        value = 1.0f;
        notify();
        setDirty();
        return mouseHandledNoMoves;
    }

    if (!zone && (buttons & cbutton::left)) {
        if (!canCreate)
            return mouseHandledNoMoves;
        zone = lane->createZone(newZoneKind);
        if (zone) {
            zone->setRange(step, step);
            if (!lane->addZone(zone)) {
                // The audio side would not let go: nothing of the new zone is left.
                lane->destroyZone(zone);
                zone = nullptr;
            }
        }
        setDirty();
    }
    if (!zone)
        return mouseHandled;

    dragZone = zone;
    pressStep = currentStep = step;
    resizeLeft = step < zone->start + (zone->end - zone->start + 1) / 2;
    moveMode = (buttons & cbutton::control) ||
               (zone->end > zone->start && step != zone->start && step != zone->end);
    grabOffset = step - zone->start;
    pushNeighbours = alwaysPush || (buttons & cbutton::shift);

    lane->stepPressed(step);
    if (mfFrame)
        mfFrame->setCursor(moveMode ? ccursor::hand : ccursor::horizontalResize);
    value = 1.0f;
    notify();
    setDirty();
    return mouseHandled;
}

MFZone* MFZoneView::otherZoneAt(int32_t step) {
    MFZone* zone = lane->zoneAt(step);
    return zone != dragZone ? zone : nullptr;
}

void MFZoneView::dragMove(int32_t step) {
    const int32_t s = dragZone->start;
    const int32_t e = dragZone->end;
    if (step == s)
        return;
    currentStep = step;
    const int32_t n = step - grabOffset;
    bool legal = n >= minStart && n + (e - s) + 1 <= maxEnd;
    for (int32_t t = n; legal && t <= n + (e - s); ++t)
        if (otherZoneAt(t))
            legal = false;
    if (legal)
        dragZone->setRange(n, n + e - s);
}

void MFZoneView::dragResize(int32_t step) {
    const int32_t s = dragZone->start;
    const int32_t e = dragZone->end;
    if (resizeLeft && step > e)
        resizeLeft = false;
    else if (!resizeLeft && step < s)
        resizeLeft = true;

    if (!resizeLeft) {
        MFZone* neighbour = lane->zoneAt(e + 1);
        if (neighbour == dragZone)
            neighbour = nullptr;
        for (int32_t t = e; t <= step; ++t) {
            MFZone* other = otherZoneAt(t);
            if (!other)
                continue;
            // Only the direct neighbour gives way, and only while it keeps a step.
            if (!pushNeighbours || other != neighbour || step >= neighbour->end)
                return;
        }
        if (pushNeighbours && neighbour && neighbour->start != step + 1)
            neighbour->setStart(step + 1);
        if (step != e)
            dragZone->setEnd(step);
    } else {
        MFZone* neighbour = lane->zoneAt(s - 1);
        if (neighbour == dragZone)
            neighbour = nullptr;
        for (int32_t t = step; t <= s - 1; ++t) {
            MFZone* other = otherZoneAt(t);
            if (!other)
                continue;
            if (!pushNeighbours || other != neighbour || step <= neighbour->start)
                return;
        }
        if (pushNeighbours && neighbour && neighbour->end != step - 1)
            neighbour->setEnd(step - 1);
        if (step != s)
            dragZone->setStart(step);
    }
}

int MFZoneView::onMouseMoved(CPoint where, long) {
    if (!dragZone)
        return mouseNotHandled;
    // A pattern switch or a loaded state took the zone away under the gesture: it ends.
    // Only the pointer is compared, so a zone already freed is never touched.
    if (lane->indexOfZone(dragZone) < 0) {
        dragZone = nullptr;
        setDirty();
        return mouseHandled;
    }
    // The height is ignored: the drag acts as if the mouse were on the lane.
    const int32_t shown = stepAt(where.x);
    if (shown < 0)
        return mouseHandled;
    const int32_t step = scrollSteps() + shown;
    if (moveMode)
        dragMove(step);
    else
        dragResize(step);
    setDirty();
    return mouseHandled;
}

int MFZoneView::onMouseUp(CPoint, long) {
    dragZone = nullptr;
    if (mfFrame)
        mfFrame->setCursor(ccursor::standard);
    startHideCount();
    value = 0.0f;
    notify();
    hideHover();
    setDirty();
    return mouseHandled;
}

// --- idle, menu, drop ----------------------------------------------------------------------

void MFZoneView::onIdle() {
    MFControl::onIdle();
    if (!lane)
        return;
    lane->purgeDeleted();
    const int32_t pattern = lane->currentIndex();
    if (pattern != lastPattern) {
        lastPattern = pattern;
        setDirty();
    } else if (laneDirty && laneDirty->load()) {
        setDirty();
        laneDirty->store(false);
    }
    if (markedZone) {
        const int32_t mark = markedZone->load();
        if (mark != lastMark) {
            // Only the zone that went out and the zone that lit up change their look.
            invalidZone(lastMark);
            invalidZone(mark);
            lastMark = mark;
        }
    }
}

void MFZoneView::invalidZone(int32_t index) {
    if (!lane || index < 0)
        return;
    const std::vector<MFZone*>& list = lane->zones();
    if (index >= int32_t(list.size()))
        return; // no such zone is drawn
    const MFZone* zone = list[std::size_t(index)];
    const int32_t o = scrollSteps();
    const int32_t first = zone->start - o;
    const int32_t last = zone->end - o;
    if (last < 0 || first >= stepsShown)
        return;
    invalidRect(zoneRect(first, last).intersection(size));
}

void MFZoneView::watchMark(const MFRelaxed<int32_t>* mark) {
    markedZone = mark;
    if (mark)
        lastMark = mark->load();
}

void MFZoneView::valueChanged(CControl* control) {
    if (!lane || control->getValue() != 1.0f)
        return;
    switch (control->getTag()) {
    case tagClear:
        lane->clearZones(false);
        break;
    case tagRandomSteps:
        lane->setRandomSteps(stepsShown);
        break;
    case tagRandomSpare:
        lane->spareOperation2();
        break;
    default:
        return;
    }
    setDirty();
    if (mfFrame)
        mfFrame->setDirty();
}

void MFZoneView::clearDrop() {
    if (dropStart == -1 && dropEnd == -1)
        return;
    dropStart = dropEnd = -1;
    setDirty();
}

bool MFZoneView::previewDrop(int32_t kind, int32_t mode, CPoint where, bool commit) {
    if (mode != dropMode || !lane)
        return false;
    if (!size.pointInside(where)) {
        clearDrop();
        return true;
    }
    const float across = float(where.x - size.left) / float(size.right - size.left);
    const int32_t step = scrollSteps() + int32_t(across * float(stepsShown));
    int32_t lastFree = 0;
    if (!lane->freeRange(step, lastFree)) {
        clearDrop();
        return true;
    }
    const float height = float(where.y - size.top) / float(size.bottom - size.top);
    const int32_t length = int32_t((1.0f - height) * float(dropLengthScale));
    const int32_t end =
        length < dropLongest && step + length <= lastFree ? step + length : lastFree;
    if (dropStart != step || dropEnd != end || dropKind != kind) {
        dropStart = step;
        dropEnd = end;
        dropKind = kind;
        setDirty();
    }
    if (commit) {
        MFZone* zone = lane->createZone(kind);
        if (zone) {
            zone->setRange(dropStart, dropEnd);
            if (!lane->addZone(zone))
                lane->destroyZone(zone);
        }
        clearDrop();
        setDirty();
    }
    return true;
}
