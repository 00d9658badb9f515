#include "editor/controls/MFLevelMeterPic.h"

#include "editor/toolkit/CBitmap.h"
#include "editor/toolkit/CDrawContext.h"

#include <cmath>

MFLevelMeterPic::MFLevelMeterPic(const CRect& rect, CControlListener* l, int32_t t, MFFrame* owner,
                                 CBitmap* strip, int32_t frames, int32_t yellow)
    : MFControl(rect, l, t, owner, strip), framesTotal(frames > 0 ? frames : 1),
      yellowFrames(yellow) {
    kind = kindLevelMeter;
    mouseEnabled = false;
}

float MFLevelMeterPic::readLevel() const {
    const float v = levelValue ? levelValue->load() : value;
    if (!(v > 0.0f))
        return 0.0f;
    const float root = std::sqrt(v);
    return root < levelCeiling ? root : levelCeiling;
}

int32_t MFLevelMeterPic::rowOf(float l) const {
    const float position =
        l <= 1.0f
            ? l * float(yellowFrames)
            : float(yellowFrames) + (l - 1.0f) * float(framesTotal - yellowFrames) * overScale;
    if (!(position > 0.0f))
        return 0;
    if (position >= float(framesTotal - 1))
        return framesTotal - 1;
    return int32_t(position);
}

void MFLevelMeterPic::onIdle() {
    MFControl::onIdle();
    const float l = readLevel();
    if (rowOf(l) != frameNow) {
        level = l;
        if (level > peak)
            peak = level;
        setDirty();
    }
}

void MFLevelMeterPic::draw(CDrawContext& context) {
    if (!isShown())
        return;
    float shown = level;
    if (level < peak) {
        peak -= fallPerDraw;
        if (peak < 0.0f)
            peak = 0.0f;
        shown = peak;
    }
    frameNow = rowOf(shown);
    if (background && background->isLoaded()) {
        background->draw(context, size, CPoint(0, frameNow * size.height()));
    } else {
        // Fallback: a bar from the bottom.
        context.setFillColor(ccolor::black);
        context.drawRect(size, CDrawContext::drawFilled);
        const int bar = size.height() * frameNow / (framesTotal > 1 ? framesTotal - 1 : 1);
        context.setFillColor(CColor{80, 200, 80, 255});
        context.drawRect(CRect(size.left, size.bottom - bar, size.right, size.bottom),
                         CDrawContext::drawFilled);
    }
}
