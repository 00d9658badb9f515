#pragma once

#include "editor/toolkit/CView.h"

#include <cstdint>

class CControlListener;

// A view with a value: a float between a minimum and a maximum, a default to return to,
// a tag that names what it controls, and a listener told of each change.
class CControl : public CView {
public:
    CControl(const CRect& size, CControlListener* listener, int32_t tag,
             CBitmap* background = nullptr);

    virtual void setValue(float v) { value = v; }
    float getValue() const { return value; }
    void setMin(float v) { minimum = v; }
    float getMin() const { return minimum; }
    void setMax(float v) { maximum = v; }
    float getMax() const { return maximum; }
    void setDefaultValue(float v) { defaultValue = v; }
    float getDefaultValue() const { return defaultValue; }
    void setTag(int32_t t) { tag = t; }
    int32_t getTag() const { return tag; }
    void setListener(CControlListener* l) { listener = l; }
    CControlListener* getListener() const { return listener; }

    // Tell the host that a gesture on the parameter of the tag starts and ends.
    virtual void beginEdit();
    virtual void endEdit();

protected:
    // Clamps the value to minimum..maximum (a value that is not a number goes to minimum).
    void bounceValue();
    void notify();

    CControlListener* listener;
    int32_t tag;
    float value = 0.0f;
    float minimum = 0.0f;
    float maximum = 1.0f;
    float defaultValue = 0.5f;
};
