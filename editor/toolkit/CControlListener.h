#pragma once

class CControl;

// Told of every value change a control makes in a gesture.
class CControlListener {
public:
    virtual ~CControlListener() = default;
    virtual void valueChanged(CControl* control) = 0;
};
