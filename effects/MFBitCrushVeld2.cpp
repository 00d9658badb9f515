#include "effects/MFBitCrushVeld2.h"

#include "platform/MFDebugOutput.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {
constexpr float rateSteps = 1.0f / MFBitCrushVeld2::rateQuantum;
static_assert(rateSteps == 80.0f);
} // namespace

MFBitCrushVeld2::MFBitCrushVeld2(int32_t effectId, MFSystemInfo& ctx, const MFDivisionSet* d)
    : MFEffect(effectId, ctx, parameterTotal, d) {
    setName("Crush");
    setParameterName(parameterBit, "bit");
    setParameterName(parameterRate, "srate");
    setParameterName(parameterDistort, "dist");
    setParameterDefault(parameterBit, 0.0f);
    setParameterDefault(parameterRate, 0.22f);
    setParameterDefault(parameterDistort, 0.0f);
    rateRecip = 1.0f / (context.sampleRate * 2.2675737e-05f);
    reset();
    applyDefaults();
}

void MFBitCrushVeld2::setParameter(int32_t index, float value) {
    switch (index) {
    case parameterBit: {
        parameters[index] = value;
        // The held outputs take the new word length at the next run, in process().
        quantum = std::clamp(value * 0.125f, 1e-06f, 1.0f);
        break;
    }
    case parameterRate: {
        parameters[index] = value;
        const float r = std::clamp(value, rateQuantum, 1.0f);
        // Counted as r * 80 rather than r / 0.0125: the float 0.0125 lies a hair above,
        // and under the block's truncating rounding 1 / 0.0125 would give 79 steps.
        rateStep = float(int32_t(r * rateSteps)) * rateQuantum * rateRecip;
        break;
    }
    case parameterDistort:
        parameters[index] = value;
        distortTarget = value;
        break;
    default:
        mfDebugOutput("unknown parameter called in MFBitCrushVeld2");
        break;
    }
}

void MFBitCrushVeld2::setMix(float value) {
    mix = value;
    mixTarget = value;
}

void MFBitCrushVeld2::reset() {
    inputLeft.clear(inputFrequency);
    inputRight.clear(inputFrequency);
    outputLeft.clear(outputFrequency);
    outputRight.clear(outputFrequency);
}

void MFBitCrushVeld2::updateBuffers(bool) {
    status = statusResizing;
    rateRecip = 1.0f / (context.sampleRate * 2.2675737e-05f);
    setParameter(parameterRate, parameters[parameterRate]);
    status = statusIdle;
}

void MFBitCrushVeld2::controlTick() {
    mixRamp.tick(mixTarget, context.controlBlockRecip);
    distortRamp.tick(distortTarget, context.controlBlockRecip);
}

void MFBitCrushVeld2::restart() {
    // The hold takes a new sample at once; the drive stands on its knob. Asleep, the
    // filters hold a tail stopped in its tracks: they start from rest.
    ratePhase = 0.0f;
    lastIndex = 0;
    distortRamp.current = distortTarget;
    distortRamp.step = 0.0f;
    if (mixTarget == 0.0f && mixRamp.step == 0.0f && mixRamp.current == 0.0f)
        reset();
}

void MFBitCrushVeld2::requantise(float q) {
    appliedQuantum = q;
    outLeft = float(int64_t(heldLeft / q)) * q;
    outRight = float(int64_t(heldRight / q)) * q;
}

void MFBitCrushVeld2::process(float* left, float* right, int32_t count) {
    const float q = quantum;
    // A new word length applies to the held outputs at once, not at the next hold.
    if (q != appliedQuantum)
        requantise(q);
    if (mixTarget == 0.0f && mixRamp.step == 0.0f)
        return;
    mfdsp::sanitizeInput(left, right, count);
    const float step = rateStep;
    for (int32_t k = 0; k < count; ++k) {
        mixRamp.current += mixRamp.step;
        distortRamp.current += distortRamp.step;
        const float m = mixRamp.current;
        const float dist = distortRamp.current;
        const float l = left[k];
        const float r = right[k];

        auto branch = [dist](MFDoubleFilter& in, MFDoubleFilter& out, float s) {
            double y = in.run(double(s) * 50.0);
            y = std::fabs(y) > 2.5 ? (y > 0.0 ? 2.5 : -2.5) : (1.0 - std::fabs(y) * 0.125) * y;
            const double z = out.run(y + MFDoubleFilter::offset);
            return float((1.0 - dist) * s + z * 0.1 * dist);
        };
        const float dl = branch(inputLeft, outputLeft, l);
        const float dr = branch(inputRight, outputRight, r);

        ratePhase += step;
        if (ratePhase >= phaseWrap)
            ratePhase = 0.0f;
        const int32_t i = int32_t(ratePhase + 1.0f);
        if (i != lastIndex) {
            lastIndex = i;
            if (i > 0) {
                heldLeft = dl;
                heldRight = dr;
                outLeft = float(int64_t(dl / q)) * q;
                outRight = float(int64_t(dr / q)) * q;
            }
        }
        left[k] = l * (1.0f - m) + m * outLeft;
        right[k] = r * (1.0f - m) + m * outRight;
    }
}

void MFBitCrushVeld2::getParameterDisplay(int32_t, float, char* text) {
    std::strcpy(text, "todo");
}
