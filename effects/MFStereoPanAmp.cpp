#include "effects/MFStereoPanAmp.h"

namespace {
// Multiplies one channel along its ramp; a resting unity gain skips the channel.
void applyRamp(mfdsp::MFMixRamp& ramp, float* x, int32_t count) {
    if (ramp.current == 1.0f && ramp.step == 0.0f)
        return;
    float g = ramp.current;
    const float step = ramp.step;
    for (int32_t k = 0; k < count; ++k) {
        g += step;
        x[k] *= g;
    }
    ramp.current = g;
}
} // namespace

MFStereoPanAmp::MFStereoPanAmp(int32_t effectId, MFSystemInfo& ctx, const MFDivisionSet* d)
    : MFEffect(effectId, ctx, parameterTotal, d) {
    setName("StereoPanAmp");
    setParameterName(parameterLeft, "L");
    setParameterName(parameterRight, "R");
    // A quarter of the range is unity gain.
    setParameterDefault(parameterLeft, 1.0f / gainRange);
    setParameterDefault(parameterRight, 1.0f / gainRange);
    applyDefaults();
}

void MFStereoPanAmp::setParameter(int32_t index, float value) {
    if (index == parameterLeft) {
        parameters[parameterLeft] = value;
        leftTarget = value * gainRange;
    } else {
        if (validIndex(index))
            parameters[index] = value;
        rightTarget = value * gainRange;
    }
}

void MFStereoPanAmp::controlTick() {
    leftRamp.tick(leftTarget, context.controlBlockRecip);
    rightRamp.tick(rightTarget, context.controlBlockRecip);
}

void MFStereoPanAmp::process(float* left, float* right, int32_t count) {
    const bool resting = leftRamp.current == 1.0f && leftRamp.step == 0.0f &&
                         rightRamp.current == 1.0f && rightRamp.step == 0.0f;
    if (resting)
        return;
    mfdsp::sanitizeInput(left, right, count);
    applyRamp(leftRamp, left, count);
    applyRamp(rightRamp, right, count);
}
