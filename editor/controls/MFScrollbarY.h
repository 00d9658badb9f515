#pragma once

#include "editor/controls/MFControl.h"

// The vertical scroll bar of an open menu. It shows and moves the float it is given (0 at
// the top, 1 at the end); the menu that owns it passes the press and the drag on. The
// thumb's height is the visible part of the list, at least minThumb pixels.
class MFScrollbarY : public MFControl {
public:
    static constexpr int32_t minThumb = 5;
    // A pixel of drag moves the position this far.
    static constexpr float dragStep = 0.005f;
    // Where the bar lies within the panel it belongs to.
    static constexpr int32_t insetRight = 2, barWidth = 11, insetTop = 19, insetBottom = 18;

    MFScrollbarY(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame);

    // x is tracked too only when trackX is set; menus scroll vertically alone.
    void setTargets(float* xTarget, float* yTarget, bool trackX = false);
    // The visible part of the whole, 0..1: the thumb's height.
    void setVisibleFraction(float fraction);
    // The bar's place for a panel.
    static CRect placeIn(const CRect& panel);

    void setColours(CColor fill, CColor frameColour, CColor thumb);

    void draw(CDrawContext& context) override;
    int onMouseDown(CPoint where, long buttons) override;
    int onMouseUp(CPoint where, long buttons) override;
    int onMouseMoved(CPoint where, long buttons) override;
    bool isDragging() const { return dragging; }
    CRect thumbRect() const;

private:
    float* x = nullptr;
    float* y = nullptr;
    bool followX = false;
    bool dragging = false;
    CPoint last;
    float visibleFraction = 1.0f;
    CColor fillColour{92, 92, 92, 255};
    CColor frameColour{60, 60, 60, 255};
    CColor thumbColour{192, 192, 192, 255};
};
