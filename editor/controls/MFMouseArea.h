#pragma once

#include "editor/controls/MFControl.h"

// An invisible area that reports where and how it is pressed: which buttons, the position
// from 0 to 1 across and down, and the shift and control keys, as six floats the editor
// copies into the plug-in. The value is the position across.
class MFMouseArea : public MFControl {
public:
    enum Field : int32_t {
        fieldLeft,
        fieldRight,
        fieldX,
        fieldY,
        fieldShift,
        fieldControl,
        fieldCount
    };

    MFMouseArea(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame);

    void draw(CDrawContext&) override {}
    int onMouseDown(CPoint where, long buttons) override;
    int onMouseUp(CPoint where, long buttons) override;
    int onMouseMoved(CPoint where, long buttons) override;

    // Positions of a drag outside the area are clipped to 0..1.
    void setClip(bool flag) { clip = flag; }
    // left, right, x, y, shift, control.
    const float* getState() const { return state; }
    float get(Field field) const { return state[field]; }
    bool isDragging() const { return dragging; }

private:
    void take(CPoint where, long buttons, bool clipped);

    float state[fieldCount] = {};
    bool clip = true;
    bool dragging = false;
};
