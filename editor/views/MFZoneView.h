#pragma once

#include "editor/controls/MFControl.h"
#include "editor/toolkit/CColor.h"
#include "editor/toolkit/CControlListener.h"
#include "platform/MFRelaxed.h"

#include <cstdint>

class CBitmap;
class CDrawContext;
class MFZone;
class MFZoneHandlerInterface;

// The lane editor: one row of steps on which the user paints zones with the mouse. A press
// on an empty step makes a zone and drags its edge, a press near an end drags that end, a
// press in the middle (or with control) moves the zone, and the right button or a double
// click deletes it. The zones belong to the lane; the view only asks and changes, and it
// gives up a drawing pass whenever the audio side says the lane is busy.
class MFZoneView : public MFControl, public CControlListener {
public:
    // Tags of the optional context menu's entries.
    static constexpr int32_t tagClear = 10061;
    static constexpr int32_t tagRandomSteps = 10063;
    static constexpr int32_t tagRandomSpare = 10064;
    // Mode of the drop preview that this view answers.
    static constexpr int32_t dropMode = 2000;
    static constexpr int32_t ghostAlpha = 128;
    static constexpr int32_t defaultAlpha = 180;
    static constexpr int32_t defaultStepsShown = 48;
    static constexpr int32_t defaultMaxEnd = 128;
    static constexpr int32_t cellsPerGroup = 4;
    // A drop preview's length comes from the mouse height: up to this many steps.
    static constexpr int32_t dropLengthScale = 13;
    static constexpr int32_t dropLongest = 12;

    using CustomDraw = void (*)(CDrawContext& context, MFZone* zone, const CRect& rect);
    using AfterDraw = void (*)(CDrawContext& context, MFZone* zone, const CRect& rect,
                               int32_t firstStep, int32_t cells);

    MFZoneView(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame,
               MFZoneHandlerInterface* lane);
    ~MFZoneView() override;

    // Called once after creation.
    void setup(int32_t stepsShown, const float* scroll, CBitmap* sprite, bool canDelete,
               bool canCreate, int32_t newZoneKind, bool alwaysPush, CColor colourFirst,
               CColor colourLast, bool showBorder, CColor colourBorder, int32_t maxEnd,
               int32_t alpha);
    // The lane's "something changed wholesale" flag; the idle redraws and clears it.
    void watchDirtyFlag(MFRelaxed<bool>* flag) { laneDirty = flag; }
    // The index of the zone the audio side plays now; the idle redraws when it moves.
    void watchMark(const MFRelaxed<int32_t>* mark);
    // The optional context menu: opened at a right click, it reports back to this view.
    void setPopup(MFControl* menu) { popup = menu; }
    void setCustomDraw(CustomDraw f) { customDraw = f; }
    void setAfterDraw(AfterDraw f) { afterDraw = f; }

    void draw(CDrawContext& context) override;
    // Only the cells that meet the area are blitted: a playhead passing over the lanes
    // redraws a strip of each, not all its cells.
    void drawRect(CDrawContext& context, const CRect& updateRect) override;
    int onMouseDown(CPoint where, long buttons) override;
    int onMouseMoved(CPoint where, long buttons) override;
    int onMouseUp(CPoint where, long buttons) override;
    void onIdle() override;
    // The context menu's entries.
    void valueChanged(CControl* control) override;

    // A drag source's preview of a new zone of `kind`; commit makes it. Only dropMode is
    // answered. True when the call was for this view.
    bool previewDrop(int32_t kind, int32_t mode, CPoint where, bool commit);

    // The step under x (first shown step is 0), or -1; a pixel shared by two steps
    // belongs to the lower one.
    int32_t stepAt(int32_t x) const;

    MFZoneHandlerInterface* getLane() const { return lane; }
    MFZone* getDragZone() const { return dragZone; }
    bool isMoving() const { return moveMode; }
    bool isResizingLeft() const { return resizeLeft; }
    int32_t getDropStart() const { return dropStart; }
    int32_t getDropEnd() const { return dropEnd; }

private:
    float stepWidth() const { return float(size.right - size.left) / float(stepsShown); }
    int32_t scrollSteps() const { return scroll ? int32_t(*scroll) : 0; }
    // Draws the sprite cells of a zone spanning start..end (lane steps) from group row g.
    void drawCells(CDrawContext& context, int32_t start, int32_t end, int32_t group,
                   int32_t strength);
    void blit(CDrawContext& context, int32_t x, int32_t row, int32_t strength);
    CRect zoneRect(int32_t first, int32_t last) const;
    void dragMove(int32_t step);
    void dragResize(int32_t step);
    // Whether a zone other than dragZone lies at step.
    MFZone* otherZoneAt(int32_t step);
    void clearDrop();
    // Marks the area of the zone with this index in the list for redrawing.
    void invalidZone(int32_t index);

    CustomDraw customDraw = nullptr;
    AfterDraw afterDraw = nullptr;
    MFZone* dragZone = nullptr;
    MFZoneHandlerInterface* lane;
    MFControl* popup = nullptr;
    CBitmap* sprite = nullptr;
    CColor colourFirst;
    CColor colourLast;
    CColor colourBorder;
    const float* scroll = nullptr;
    MFRelaxed<bool>* laneDirty = nullptr;
    // The area being redrawn while a pass runs; the whole view otherwise.
    CRect drawArea;
    bool drawAreaSet = false;
    const MFRelaxed<int32_t>* markedZone = nullptr;
    int32_t lastMark = 0;
    int32_t pressStep = 0;
    int32_t currentStep = 0;
    int32_t grabOffset = 0;
    int32_t dropStart = -1;
    int32_t dropEnd = -1;
    int32_t dropKind = 0;
    int32_t stepsShown = defaultStepsShown;
    int32_t newZoneKind = 0;
    int32_t maxEnd = defaultMaxEnd;
    int32_t minStart = 0;
    int32_t lastPattern = 0;
    int32_t alpha = defaultAlpha;
    bool canDelete = true;
    bool canCreate = true;
    bool moveMode = false;
    bool resizeLeft = false;
    bool pushNeighbours = false;
    bool alwaysPush = false;
    bool showBorder = false;
    bool doubleClickDeletes = true;
};
