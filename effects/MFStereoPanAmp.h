#pragma once

#include "effects/MFDsp.h"
#include "effects/MFEffect.h"

// Output stage: one ramped gain per channel, 0..4 from a normalised value. The
// Stutter drives it; a gain of exactly 1 leaves the samples untouched.
class MFStereoPanAmp : public MFEffect {
public:
    static constexpr int32_t parameterLeft = 0;
    static constexpr int32_t parameterRight = 1;
    static constexpr int32_t parameterTotal = 2;
    static constexpr float gainRange = 4.0f;

    MFStereoPanAmp(int32_t effectId, MFSystemInfo& context,
                   const MFDivisionSet* divisions = nullptr);

    void process(float* left, float* right, int32_t count) override;
    void setParameter(int32_t index, float value) override;
    void controlTick() override;
    int32_t isEnabled() override { return 1; }

    // Gains in plain factors (1 = unity), for a driver that thinks in gains.
    void setLeftGain(float gain) { leftTarget = gain; }
    void setRightGain(float gain) { rightTarget = gain; }
    float getLeftGain() const { return leftRamp.current; }
    float getRightGain() const { return rightRamp.current; }

private:
    MFRelaxed<float> leftTarget = 1.0f;
    MFRelaxed<float> rightTarget = 1.0f;
    mfdsp::MFMixRamp leftRamp{1.0f, 0.0f};
    mfdsp::MFMixRamp rightRamp{1.0f, 0.0f};
};
