#include "effects/MFStutter.h"

#include "effects/MFStereoPanAmp.h"
#include "effects/MFSystemInfo.h"
#include "pattern/MFTable.h"

namespace {
float clampUnit(float x) {
    if (!(x > 0.0f))
        return 0.0f;
    return x < 1.0f ? x : 1.0f;
}
} // namespace

MFStutter::MFStutter(MFSystemInfo& ctx) : context(ctx) {
    setTempo(0.66667f);
}

void MFStutter::setTempo(float v) {
    int32_t index = int32_t(clampUnit(v) * 6.0f + 1.0f);
    index = index < 1 ? 1 : (index > rateCount - 1 ? rateCount - 1 : index);
    const float r = rates[index];
    const float samples = context.samplesPerBeat / r;
    const float sampleRate = context.sampleRate;
    if (!(samples > 0.0f) || !(sampleRate > 0.0f))
        return;
    rate = r;
    stepSamples = samples;
    const float perSecond = sampleRate / samples;
    stepsPerSecond = perSecond;
    stepsPerTick = perSecond * float(tickSamples) / sampleRate;
}

void MFStutter::setAttack(float v) {
    envelope.attackMs = clampUnit(v) * 480.0f;
}

void MFStutter::setDecay(float v) {
    envelope.decayMs = clampUnit(v) * 456.0f + 24.0f;
}

void MFStutter::reset() {
    envelope.reset();
    stepPhase = 0.0f;
    stepGate = 0.0f;
    stepNumber = 0;
    stepIndex = 0;
    activeStep = 0;
    panValue = 0.5f;
    levelValue = 1.0f;
    triggerGate = triggerGateStart;
    triggerValue = 0.0f;
    triggerStep = 0.0f;
    leftTarget = 0.0f;
    rightTarget = 0.0f;
    leftGain = unityQuarter;
    rightGain = unityQuarter;
}

float MFStutter::pairLine(float x, float atZero, float atOne) {
    const float m = clampUnit(x);
    const float pair[2] = {atZero, atOne};
    const int i = int(m + 1e-07f);
    const int j = int(m + 0.999999f);
    return (pair[j] - pair[i]) * (m - float(int(m))) + pair[i];
}

void MFStutter::tick(float gate, float mix, float laneLevel, MFTable& panTable, MFTable& levelTable,
                     bool freeze, MFStereoPanAmp& amp) {
    float p = stepPhase + float(stepsPerTick);
    if (p >= phaseWrap)
        p = 0.0f;
    // A new gate value is a new zone: its run starts at step 0.
    // Deliberately, a closing gate neither restarts nor cuts the run: the release fades it.
    if (gate != stepGate) {
        stepGate = gate;
        if (gate > 0.0f)
            p = 0.0f;
    }
    stepPhase = p;
    stepNumber = int32_t(p);
    stepIndex = stepNumber & (stepsInRun - 1);
    activeStep = laneLevel > 0.0f ? stepIndex : 0;

    panValue = panTable.valueAt(activeStep);
    const float a = clampUnit(panValue * 2.0f);
    const float b = clampUnit((1.0f - panValue) * 2.0f);
    levelValue = clampUnit(levelTable.valueAt(activeStep));

    // A new zone and a new step are both new triggers; a closing gate is none.
    const float t = float(stepIndex + 1);
    if (gate != triggerGate) {
        triggerGate = gate;
        if (gate > 0.0f)
            triggerValue = gate;
    }
    if (t != triggerStep) {
        triggerStep = t;
        triggerValue = t;
    }
    envelope.tick(triggerValue, context.ticksPerMs, freeze);

    const float g = levelValue * unityQuarter * envelope.level();
    leftTarget = a * g;
    rightTarget = b * g;
    leftGain = pairLine(mix, unityQuarter, leftTarget);
    rightGain = pairLine(mix, unityQuarter, rightTarget);

    amp.setParameter(MFStereoPanAmp::parameterLeft, leftGain);
    amp.setParameter(MFStereoPanAmp::parameterRight, rightGain);
    amp.controlTick();
}
