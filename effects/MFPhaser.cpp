#include "effects/MFPhaser.h"

#include "effects/MFDsp.h"
#include "effects/MFOptionMenuInterface.h"

#include <cmath>
#include <cstdio>

namespace {
constexpr float twoPi = 6.2831855f;
constexpr float pi = 3.1415927f;
constexpr float guard = 1e-10f;
} // namespace

MFPhaser::MFPhaser(int32_t id, MFSystemInfo& ctx, const MFDivisionSet* divisionSet)
    : MFEffect(id, ctx, parameterCount, divisionSet ? divisionSet : &MFDivisionSet::bars()) {
    setName("Phaser");
    setParameterName(0, "Rate");
    setParameterName(1, "Feedback");
    setParameterName(2, "Depth");
    setParameterName(3, "Stages");
    setParameterName(4, "Width");
    setParameterDefault(0, 0.2f);
    setParameterDefault(1, 0.7f);
    setParameterDefault(2, 0.7f);
    setParameterDefault(3, 0.667f);
    updateBuffers(false);
    listenToTempo(this);
    applyDefaults();
}

MFPhaser::~MFPhaser() {
    stopListeningToTempo(this);
}

void MFPhaser::setParameter(int32_t index, float value) {
    if (!validIndex(index))
        return;
    parameters[index] = value;
    switch (index) {
    case 0:
        if (synced != 0) {
            const MFDivisionTable& table = divisionTable();
            // Synced rows run upwards with the value here, unlike the loop effects.
            int row = int(value * float(table.count - 1) + 0.5f);
            row = row < 0 ? 0 : (row >= table.count ? table.count - 1 : row);
            const int32_t length =
                MFDivisionTable::samplesFor(table.entries[row].length, context.samplesPerBeat);
            phaseStep = length == 0 ? 0.0f : twoPi / (float(length) / 64.0f);
        } else {
            const float step = twoPi / (((1.0001f - value) * context.sampleRate) / 64.0f);
            phaseStep = step > pi ? pi : step;
        }
        break;
    case 1:
        feedback = value * 0.85f;
        break;
    case 2:
        depth = value;
        break;
    case 3: {
        int32_t n = int32_t(value * 6.0f + 1.5f);
        n = n < 1 ? 1 : (n > 7 ? 7 : n);
        if (n != stages) {
            stages = n;
            // The filter state belongs to the audio thread: it clears it at its next run.
            clearPending.set(true);
        }
        break;
    }
    case 4:
        widthFraction = value * 0.5f;
        break;
    default:
        break;
    }
}

void MFPhaser::setOption(int32_t index, int32_t value) {
    if (index == 0) {
        synced = value;
        setParameter(0, parameters[0]);
    }
}

int32_t MFPhaser::getOption(int32_t index) {
    return index == 0 ? int32_t(synced) : 0;
}

void MFPhaser::clearState() {
    for (int i = 0; i < maxStages; ++i) {
        stateLeft[i] = 0.0f;
        stateRight[i] = 0.0f;
    }
    lastLeft = 0.0f;
    lastRight = 0.0f;
}

void MFPhaser::reset() {
    clearState();
}

void MFPhaser::restart() {
    // The sweep starts at phase 0, as a waking phaser does.
    phase = 0.0f;
}

void MFPhaser::controlTick() {
    const float target = mixTarget;
    if (mixCurrent == 0.0f && target == 0.0f && mixStep == 0.0f)
        return;
    phase += phaseStep;
    if (phase >= pi)
        phase -= 2.0f * pi;
    const float widthAngle = widthFraction * pi;
    float q = phase + widthAngle;
    if (q >= pi)
        q -= 2.0f * pi;

    const float range = highCoefficient - lowCoefficient;
    auto coefficientAt = [&](float x) {
        const float y = (std::fabs(x) * -0.4052847f + 1.2732395f) * x;
        const float s = ((std::fabs(y) * y - y) * 0.225f + 1.0f + y) * 0.5f;
        const float a = s * range + lowCoefficient;
        return (1.0f - a) / (1.0f + a);
    };
    const float left = coefficientAt(phase);
    const float right = coefficientAt(q);
    const int32_t n = stages;
    for (int32_t i = 0; i < n; ++i) {
        coefficientLeft[i] = left;
        coefficientRight[i] = right;
    }

    mfdsp::aimRamp(mixCurrent, mixStep, target, context.controlBlockRecip,
                   mfdsp::MFMixRamp::snapBelow, mfdsp::MFMixRamp::snapAbove);
}

void MFPhaser::process(float* left, float* right, int32_t count) {
    if (clearPending.get()) {
        clearPending.set(false);
        clearState();
    }
    if (mixCurrent == 0.0f) {
        if (mixStep == 0.0f)
            return;
        // A waking phaser always starts from rest at phase 0.
        clearState();
        phase = 0.0f;
    }
    mfdsp::sanitizeInput(left, right, count);
    const int32_t n = stages;
    const float fb = feedback;
    const float dp = depth;
    for (int32_t s = 0; s < count; ++s) {
        const float inL = left[s];
        const float inR = right[s];
        float xl = inL + guard + fb * lastLeft;
        float xr = inR + guard + fb * lastRight;
        for (int32_t k = 0; k < n; ++k) {
            const float al = coefficientLeft[k];
            const float yl = stateLeft[k] - xl * al;
            stateLeft[k] = xl + guard + al * yl;
            xl = yl;
            const float ar = coefficientRight[k];
            const float yr = stateRight[k] - xr * ar;
            stateRight[k] = xr + guard + ar * yr;
            xr = yr;
        }
        lastLeft = xl;
        lastRight = xr;
        mixCurrent += mixStep;
        const float m = mixCurrent;
        left[s] = ((guard + inL) * 0.75f + xl * dp) * m + inL * (1.0f - m);
        right[s] = ((guard + inR) * 0.75f + xr * dp) * m + inR * (1.0f - m);
    }
}

void MFPhaser::updateBuffers(bool) {
    status = statusResizing;
    lowCoefficient = lowFrequency / (context.sampleRate * 0.5f);
    highCoefficient = highFrequency / (context.sampleRate * 0.5f);
    status = statusIdle;
}

int32_t MFPhaser::gateOn() {
    phaseStep = 0.0f;
    phase = 0.0f;
    reset();
    controlTick();
    return 1;
}

void MFPhaser::setMix(float value) {
    mix = value;
    mixTarget = value;
}

void MFPhaser::getParameterDisplay(int32_t index, float value, char* text) {
    switch (index) {
    case 0:
        if (synced != 0) {
            const MFDivisionTable& table = divisionTable();
            int row = int(value * float(table.count - 1) + 0.5f);
            row = row < 0 ? 0 : (row >= table.count ? table.count - 1 : row);
            std::snprintf(text, 64, "%s", table.entries[row].name);
        } else {
            std::snprintf(text, 64, "%3.2f", double(value * 100.0f));
        }
        break;
    case 1:
    case 2:
    case 4:
        std::snprintf(text, 64, "%3.2f %%", double(value * 100.0f));
        break;
    case 3:
        std::snprintf(text, 64, "%d Stages", int(value * 6.0f + 1.5f));
        break;
    default:
        MFEffect::getParameterDisplay(index, value, text);
        break;
    }
}

void MFPhaser::fillOptions(int32_t index, MFOptionMenuInterface& menu) {
    if (index == 0) {
        const MFDivisionTable& table = divisionTable();
        for (int i = 0; i < table.count; ++i)
            menu.addEntry(table.entries[i].name);
    } else if (index == 3) {
        static const char* const names[] = {"1 Stage", "2 Stage", "3 Stage", "4 Stage",
                                            "5 Stage", "6 Stage", "7 Stage", "8 Stage"};
        for (const char* name : names)
            menu.addEntry(name);
    }
}

float MFPhaser::getParameterSteps(int32_t index) {
    if (index == 0)
        return divisionTable().countAsFloat;
    if (index == 3)
        return 8.0f;
    return 0.0f;
}

void MFPhaser::bpmChanged() {
    updateBuffers(true);
    setParameter(0, parameters[0]);
}
