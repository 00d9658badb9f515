#pragma once

#include "editor/toolkit/CMouseEvent.h"
#include "editor/toolkit/CPoint.h"
#include "editor/toolkit/CRect.h"

class CBitmap;
class CDirtyRegion;
class CDrawContext;
class CFrame;

// Something on screen with a rectangle. A view's rectangle is in the coordinates of the
// container that holds it; the frame's children are in window coordinates.
class CView {
public:
    explicit CView(const CRect& size);
    virtual ~CView();
    CView(const CView&) = delete;
    CView& operator=(const CView&) = delete;

    virtual void draw(CDrawContext& context);
    // Draws the part within updateRect (in the same coordinates as the view's rectangle);
    // the context is already clipped to it.
    virtual void drawRect(CDrawContext& context, const CRect& updateRect);

    // A dirty view is redrawn at the frame's next pass.
    virtual bool isDirty() const { return dirty; }
    virtual void setDirty(bool flag = true) { dirty = flag; }
    // Asks for rect (in this view's own rectangle's coordinates) to be redrawn.
    virtual void invalidRect(const CRect& rect);
    // Asks for everything the view paints to be redrawn.
    virtual void invalid();

    virtual int onMouseDown(CPoint where, long buttons);
    virtual int onMouseUp(CPoint where, long buttons);
    virtual int onMouseMoved(CPoint where, long buttons);
    virtual int onMouseEntered(CPoint where, long buttons);
    virtual int onMouseExited(CPoint where, long buttons);
    // distance: notches, positive away from the user. True when the view used it.
    virtual bool onWheel(CPoint where, float distance, long buttons);
    // Whether a press at where (in the container's coordinates) is for this view.
    virtual bool hitTest(CPoint where, long buttons) const;

    virtual void setViewSize(const CRect& rect, bool invalidate = true);
    const CRect& getViewSize() const { return size; }
    void getViewSize(CRect& out) const { out = size; }
    void setMouseableArea(const CRect& rect) { mouseableArea = rect; }
    const CRect& getMouseableArea() const { return mouseableArea; }
    void setMouseEnabled(bool flag) { mouseEnabled = flag; }
    bool getMouseEnabled() const { return mouseEnabled; }
    // Takes a reference on the bitmap and lets go of the previous one.
    virtual void setBackground(CBitmap* bitmap);
    CBitmap* getBackground() const { return background; }

    CFrame* getFrame() const { return frame; }
    CView* getParentView() const { return parent; }

    // Per-tick work, run by the frame's idle on every view in tree order.
    virtual void onIdle() {}

    // The area the view paints, in its container's coordinates: its rectangle, or more
    // when it paints outside it (a shadow, a caption).
    virtual CRect getDrawnArea() const { return size; }
    // Where a container's children have their origin, in the container's coordinates.
    virtual CPoint childOrigin() const { return size.topLeft(); }
    // The view's rectangle in window coordinates.
    CRect toFrame(const CRect& rect) const;

    // Tree plumbing, called by containers.
    virtual void attached(CView* container, CFrame* owner);
    virtual void removed();
    // Moves what needs redrawing into the region; origin is the container's child origin
    // in window coordinates.
    virtual void collectDirty(CDirtyRegion& region, CPoint origin);

protected:
    CRect size;
    CRect mouseableArea;
    CView* parent = nullptr;
    CFrame* frame = nullptr;
    CBitmap* background = nullptr;
    bool dirty = false;
    bool mouseEnabled = true;
};
