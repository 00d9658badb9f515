#pragma once

#include "editor/controls/MFControl.h"

#include <vector>

// A panel of controls that behaves as a small frame: it draws its background, shadow and
// children, and passes the mouse to the child beneath it, the last added on top. Its
// children's rectangles are in its own coordinates. Opened as modal it joins the frame on
// top of everything; in mode 3 a press outside it closes it. While it is out of the frame
// its owner holds it, and deletes it before the frame.
class MFViewContainer : public MFControl {
public:
    static constexpr int32_t modeClosesOutside = 3;

    MFViewContainer(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame,
                    CBitmap* background = nullptr);
    ~MFViewContainer() override;

    // Takes ownership.
    void addView(CView* view);
    bool removeView(CView* view, bool deleteView = true);
    int getNbViews() const { return int(children.size()); }
    CView* getView(int index) const;
    void setFocusView(CView* view) { focusView = view; }
    CView* getFocusView() const { return focusView; }

    void draw(CDrawContext& context) override;
    void drawRect(CDrawContext& context, const CRect& updateRect) override;
    int onMouseDown(CPoint where, long buttons) override;
    int onMouseUp(CPoint where, long buttons) override;
    int onMouseMoved(CPoint where, long buttons) override;
    bool onWheel(CPoint where, float distance, long buttons) override;
    void onIdle() override;
    // Shows or hides the children with the panel.
    void setVisible(bool flag) override;
    void openModal(int32_t mode, const CPoint* where, int32_t tag) override;
    void closeModal() override;

    CPoint childOrigin() const override { return size.topLeft(); }
    void attached(CView* container, CFrame* owner) override;
    void removed() override;
    void collectDirty(CDirtyRegion& region, CPoint origin) override;

private:
    CView* childAt(CPoint local, long buttons) const;

    std::vector<CView*> children;
    CView* focusView = nullptr;
    CView* mouseDownView = nullptr;
};
