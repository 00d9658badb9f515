#pragma once

#include "editor/controls/MFControl.h"
#include "platform/MFRelaxed.h"

// A knob or fader drawn from a strip of frames. A vertical drag turns it (a horizontal
// one for faders), shift gives fine steps, a double click or a control click returns it to
// its default, and the wheel nudges it. While it is not dragged it follows the float it
// is bound to, so host automation moves it at the next idle.
class MFKnob : public MFControl {
public:
    static constexpr float dragStep = -0.01f;         // value per pixel, times sensitivity
    static constexpr float fineDragStep = -0.0005f;   // the same with shift
    static constexpr float wheelStep = 0.35f * 0.05f; // value per wheel notch
    static constexpr int panelFrames = 128;

    enum OverlayMode : int32_t {
        overlayNone = 0,
        overlaySlideX = 1,
        overlaySlideY = 2,
        overlayFrame = 3
    };

    MFKnob(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame,
           CBitmap* strip, int32_t frameHeight, int32_t frameCount, float sensitivity);
    ~MFKnob() override;

    void draw(CDrawContext& context) override;
    int onMouseDown(CPoint where, long buttons) override;
    int onMouseUp(CPoint where, long buttons) override;
    int onMouseMoved(CPoint where, long buttons) override;
    bool onWheel(CPoint where, float distance, long buttons) override;
    void onIdle() override;
    void setLearnMenu(MFControl* menu) override { learnMenu = menu; }

    // The float shown; its range boundMin..boundMax maps onto 0..1.
    void bind(const MFRelaxed<float>* bound, float boundMinimum = 0.0f, float boundMaximum = 1.0f);
    // Set to 1 while the knob is held and to 0 at release.
    void setTouchedFlag(MFRelaxed<float>* flag) { touchedFlag = flag; }
    void setBackgroundBitmap(CBitmap* bitmap);
    void setOverlay(CBitmap* bitmap, const MFRelaxed<float>* value, int32_t mode, int32_t alpha);
    void setHorizontal(bool flag) { horizontal = flag; }
    void setAbsolute(bool flag) { absolute = flag; }
    void setNoWheel(bool flag) { noWheel = flag; }
    void setSteppedFrames(bool flag) { steppedFrames = flag; }
    void setSpringBack(bool flag) { springBack = flag; }
    // Takes the mouse but draws nothing, for a knob whose value a display beneath shows.
    void setHidden(bool flag) { hidden = flag; }
    bool isDragging() const { return dragging; }
    // The strip row the value selects.
    int32_t frameRow() const;

private:
    float normalisedBound() const;
    float valueAt(CPoint where) const;
    void drawOverlay(CDrawContext& context);

    CPoint lastPoint;
    MFControl* learnMenu = nullptr;
    CBitmap* bitmap;
    CBitmap* backgroundBitmap = nullptr;
    CBitmap* overlayBitmap = nullptr;
    const MFRelaxed<float>* boundValue = nullptr;
    const MFRelaxed<float>* overlayValue = nullptr;
    MFRelaxed<float>* touchedFlag = nullptr;
    int32_t frameHeight;
    int32_t frameCount;
    int32_t overlayMode = overlayNone;
    int32_t overlayAlpha = 255;
    float lastOverlay = 0.0f;
    float boundMax = 1.0f;
    float boundMin = 0.0f;
    float sensitivity;
    bool dragging = false;
    bool noWheel = false;
    bool horizontal = false;
    bool absolute = false;
    bool steppedFrames = false;
    bool springBack = false;
    bool hidden = false;
};
