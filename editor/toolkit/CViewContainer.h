#pragma once

#include "editor/toolkit/CView.h"

#include <vector>

// A view that holds views. It owns its children: removing one with deleteView, or
// deleting the container, deletes them. Children draw in the order they were added and
// are searched for the mouse in the reverse order, so the last added is on top.
class CViewContainer : public CView {
public:
    explicit CViewContainer(const CRect& size);
    ~CViewContainer() override;

    // Takes ownership. A view belongs to one container at a time.
    void addView(CView* view);
    // Takes the view out; deletes it unless deleteView is false (then the caller owns it).
    bool removeView(CView* view, bool deleteView = true);
    void removeAll();
    bool isChild(const CView* view) const;
    int getNbViews() const { return int(children.size()); }
    CView* getView(int index) const;

    void draw(CDrawContext& context) override;
    void drawRect(CDrawContext& context, const CRect& updateRect) override;

    int onMouseDown(CPoint where, long buttons) override;
    int onMouseUp(CPoint where, long buttons) override;
    int onMouseMoved(CPoint where, long buttons) override;
    int onMouseExited(CPoint where, long buttons) override;
    bool onWheel(CPoint where, float distance, long buttons) override;

    // The topmost child that takes the mouse at where (in this container's coordinates).
    CView* getViewAt(CPoint where, long buttons) const;

    void onIdle() override;
    void attached(CView* container, CFrame* owner) override;
    void removed() override;
    void collectDirty(CDirtyRegion& region, CPoint origin) override;

protected:
    // The container's own background for the part of updateRect it covers.
    virtual void drawBackgroundRect(CDrawContext& context, const CRect& updateRect);
    // Children overlapping updateRect (in the container's coordinates), in adding order;
    // skip is left out.
    void drawChildren(CDrawContext& context, const CRect& updateRect, const CView* skip = nullptr);
    CPoint toChild(CPoint where) const { return where - childOrigin(); }

    std::vector<CView*> children;
    CView* mouseDownView = nullptr;
    CView* mouseOverView = nullptr;
};
