#pragma once

#include "editor/controls/MFControl.h"
#include "platform/MFRelaxed.h"

// A picture that moves and resizes after the floats it is bound to: the playhead and the
// page marker slide this way without anything beneath them redrawing more than the strip
// they leave and the strip they enter.
class MFImage : public MFControl {
public:
    MFImage(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame,
            CBitmap* bitmap);
    ~MFImage() override;

    void draw(CDrawContext& context) override;
    int onMouseDown(CPoint where, long buttons) override;
    int onMouseUp(CPoint where, long buttons) override;
    bool hitTest(CPoint where, long buttons) const override;
    void onIdle() override;

    // x and y shift the picture from where it was made by their whole part; width and
    // height, when given, replace its size.
    void bindPosition(const MFRelaxed<float>* x, const MFRelaxed<float>* y);
    void bindSize(const MFRelaxed<float>* width, const MFRelaxed<float>* height);
    // 0..1 blended over what lies beneath.
    void bindAlpha(const MFRelaxed<float>* alpha);
    void setAlternateBitmap(CBitmap* bitmap);
    void setUseAlternate(bool flag);
    void setUseTransparent(bool flag) { useTransparent = flag; }
    void setBitmapOffset(int32_t x, int32_t y) {
        bitmapOffsetX = x;
        bitmapOffsetY = y;
    }
    void setAcceptMouse(bool flag) { acceptMouse = flag; }

private:
    static int32_t wholePart(const MFRelaxed<float>* bound);

    CBitmap* alternate = nullptr;
    CRect home;
    const MFRelaxed<float>* xValue = nullptr;
    const MFRelaxed<float>* yValue = nullptr;
    int32_t lastX = 0, lastY = 0;
    const MFRelaxed<float>* widthValue = nullptr;
    const MFRelaxed<float>* heightValue = nullptr;
    int32_t lastWidth = 0, lastHeight = 0;
    int32_t bitmapOffsetX = 0, bitmapOffsetY = 0;
    const MFRelaxed<float>* alphaValue = nullptr;
    int32_t lastAlpha = 255;
    bool useAlpha = false;
    bool useTransparent = false;
    bool useAlternate = false;
    bool acceptMouse = false;
};
