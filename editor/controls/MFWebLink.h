#pragma once

#include "editor/controls/MFControl.h"

#include <string>

// A picture that opens a web address when it is clicked and released over it. The
// bitmap's second row shows while it is held.
class MFWebLink : public MFControl {
public:
    MFWebLink(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame,
              CBitmap* bitmap, const char* target);

    void draw(CDrawContext& context) override;
    int onMouseDown(CPoint where, long buttons) override;
    int onMouseUp(CPoint where, long buttons) override;
    int onMouseEntered(CPoint where, long buttons) override;
    int onMouseExited(CPoint where, long buttons) override;

    const std::string& getTarget() const { return target; }
    bool isPressed() const { return pressed; }

protected:
    // Opens the target with the desktop's handler; false if it could not.
    virtual bool openTarget();

    std::string target;
    bool pressed = false;
};
