#pragma once

#include "editor/controls/MFControl.h"
#include "editor/controls/MFValueFormats.h"
#include "platform/MFRelaxed.h"

#include <string>

// A button drawn from a strip: for each state one row, followed by a pressed row and a
// hover row where the frame flags ask for them. The mode says what a press and a release
// do to the value; a bound float, when given, is what the button shows.
class MFButton : public MFControl {
public:
    enum Mode : int32_t {
        momentary = 0, // 1 at the press, 0 at the release
        toggle = 1,    // the next state at the press, wrapping; right click resets past two states
        oneShot = 2,   // 1 at the press; the bound float resets it
        untilRelease = 4, // 1 at the press, 0 at a release with no button held
        repeating = 5,    // as momentary, and each move without left or right while held repeats
        triState = 6,     // 1 with left or 2 with right from 0; back to 0 otherwise
        hoverToggle = 7,  // advances as toggle at a release inside; tracks hover
        menu = 8,         // opens the attached menu beneath itself
    };
    static constexpr int32_t framePressed = 1;
    static constexpr int32_t frameHover = 2;

    MFButton(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame,
             CBitmap* strip, int32_t mode = momentary);

    void draw(CDrawContext& context) override;
    int onMouseDown(CPoint where, long buttons) override;
    int onMouseUp(CPoint where, long buttons) override;
    int onMouseMoved(CPoint where, long buttons) override;
    int onMouseEntered(CPoint where, long buttons) override;
    int onMouseExited(CPoint where, long buttons) override;
    void onIdle() override;
    void setLearnMenu(MFControl* menu) override { learnMenu = menu; }

    void bind(const MFRelaxed<float>* bound) { boundValue = bound; }
    void setFrameFlags(int32_t flags) { frameFlags = flags; }
    void setStateCount(int32_t count) { stateCount = count > 0 ? count : 1; }
    void setLabel(const char* text, const char* alternate = nullptr);
    void setTextAlignment(int32_t align) { textAlignment = align; }
    void setFormatter(MFValueFormatter f) { formatter = f; }
    void setMenu(MFControl* attached) { attachedMenu = attached; }
    // Keeps taking the mouse while its page is hidden.
    void setMouseWhenHidden(bool flag) { mouseWhenHidden = flag; }
    bool hitTest(CPoint where, long buttons) const override;
    int32_t getMode() const { return mode; }
    bool isPressed() const { return pressed; }
    bool isHover() const { return hover; }
    // The strip row drawn for the present state.
    int32_t frameRow() const;

private:
    void advance(long buttons);
    int32_t stateOf(float v) const;

    MFValueFormatter formatter = nullptr;
    MFControl* attachedMenu = nullptr;
    MFControl* learnMenu = nullptr;
    int32_t textAlignment = 1;
    std::string label;
    std::string alternateLabel;
    const MFRelaxed<float>* boundValue = nullptr;
    int32_t frameFlags = 0;
    int32_t mode;
    int32_t stateCount = 2;
    bool pressed = false;
    bool hover = false;
    bool mouseWhenHidden = false;
};
