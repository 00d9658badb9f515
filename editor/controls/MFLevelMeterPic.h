#pragma once

#include "editor/controls/MFControl.h"
#include "platform/MFRelaxed.h"

// A level meter drawn as one row of a strip. The bound float is a peak sample; the meter
// shows its square root, with the rows past yellowFrames for the range above full scale.
// After a drop the shown level falls by fallPerDraw at each draw.
class MFLevelMeterPic : public MFControl {
public:
    static constexpr float levelCeiling = 1.414f;
    static constexpr float fallPerDraw = 0.055f;
    static constexpr float overScale = 2.41f;
    static constexpr int32_t defaultFrames = 35;

    MFLevelMeterPic(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame,
                    CBitmap* strip, int32_t frames = defaultFrames,
                    int32_t yellowFrames = defaultFrames);

    void bind(const MFRelaxed<float>* level) { levelValue = level; }
    void draw(CDrawContext& context) override;
    void onIdle() override;
    float getLevel() const { return level; }
    float getPeak() const { return peak; }
    // The row last drawn.
    int32_t getFrameNow() const { return frameNow; }

private:
    float readLevel() const;
    int32_t rowOf(float l) const;

    const MFRelaxed<float>* levelValue = nullptr;
    int32_t frameNow = 0;
    int32_t framesTotal;
    int32_t yellowFrames;
    float peak = 0.0f;
    float level = 0.0f;
};
