#include "effects/MFLooperX.h"

#include "effects/MFOptionMenuInterface.h"
#include "platform/MFDebugOutput.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
// Buffer sizes are given in half bars so that the 1.5-bar tail stays exact.
int32_t halfBars(int32_t bar, int32_t halves) {
    return int32_t(float(halves) * 0.5f * float(bar));
}

// Room reserved for the longest bar there can be, in the construction sizes (three bars of
// take and history, a bar and a half of tail), which cover every later size.
uint32_t reservedHalves(int32_t halves) {
    return uint32_t(halfBars(int32_t(4.0f * MFSystemInfo::longestBeat), halves)) + 1;
}
} // namespace

MFLooperX::MFLooperX(int32_t id, MFSystemInfo& ctx, const MFDivisionSet* set)
    : MFEffect(id, ctx, parameterTotal, set ? set : &MFDivisionSet::noteValues()),
      takeLeft(&ctx.bufferRegistry), takeRight(&ctx.bufferRegistry),
      historyLeft(&ctx.bufferRegistry), historyRight(&ctx.bufferRegistry),
      tailLeft(&ctx.bufferRegistry), tailRight(&ctx.bufferRegistry) {
    setName("Looper");
    setParameterName(parameterSize, "Size");
    setParameterName(parameterDirection, "Direction");
    setParameterName(parameterFade, "XFade");
    setParameterName(parameterDecay, "Decay");
    setParameterName(parameterGate, "Gate");
    setParameterDefault(parameterSize, 0.6f);
    setParameterDefault(parameterDirection, 1.0f);
    setParameterDefault(parameterFade, 0.2f);
    setParameterDefault(parameterDecay, 0.5f);
    setParameterDefault(parameterGate, 0.5f);

    for (MFAlignedArray* a : {&takeLeft, &takeRight, &historyLeft, &historyRight})
        a->reserve(reservedHalves(6), ctx.bufferGrower);
    tailLeft.reserve(reservedHalves(3), ctx.bufferGrower);
    tailRight.reserve(reservedHalves(3), ctx.bufferGrower);
    barLength = int32_t(4.0f * context.samplesPerBeat);
    // Room for three bars of take and history at the tempo we start with.
    sizeBuffers(barLength, 6, 6, 3);
    takeLeft.clear();
    takeRight.clear();
    historyLeft.clear();
    historyRight.clear();
    tailLeft.clear();
    tailRight.clear();

    // The gate's default is only reported, never applied: applying it would open the gate.
    for (int32_t i = 0; i < parameterGate; ++i)
        setParameter(i, parameterDefaults[i]);
    listenToTempo(this);
}

MFLooperX::~MFLooperX() {
    stopListeningToTempo(this);
}

bool MFLooperX::sizeBuffers(int32_t bar, int32_t takeHalves, int32_t historyHalves,
                            int32_t tailHalves) {
    bool fits = true;
    const auto grow = [&fits](MFAlignedArray& a, int32_t samples) {
        if (uint32_t(samples) > a.getSize())
            fits = a.requestSize(uint32_t(samples)) && fits;
    };
    grow(takeLeft, halfBars(bar, takeHalves));
    grow(takeRight, halfBars(bar, takeHalves));
    grow(historyLeft, halfBars(bar, historyHalves));
    grow(historyRight, halfBars(bar, historyHalves));
    grow(tailLeft, halfBars(bar, tailHalves));
    grow(tailRight, halfBars(bar, tailHalves));
    return fits;
}

int32_t MFLooperX::barThatFits() const {
    // The take holds two bars, the history and the tail one each.
    const uint32_t take = std::min(takeLeft.getCapacity(), takeRight.getCapacity()) / 2;
    const uint32_t ring = std::min({historyLeft.getCapacity(), historyRight.getCapacity(),
                                    tailLeft.getCapacity(), tailRight.getCapacity()});
    return int32_t(std::min(take, ring));
}

void MFLooperX::applySize(float value) {
    const auto& row = divisionTable().entryFor(value);
    const int32_t length = MFDivisionTable::samplesFor(row.length, context.samplesPerBeat);
    const int32_t current = loopLength;
    if (length != current && std::abs(length - current) > lengthTolerance)
        pendingLength = length;
}

void MFLooperX::computeDecayStep() {
    const float amount = decayAmount;
    decayStep = amount < 0.99f ? -1.0f / (context.samplesPerMs * amount * 1500.0f) : 0.0f;
}

void MFLooperX::setParameter(int32_t index, float value) {
    switch (index) {
    case parameterSize:
        parameters[index] = value;
        applySize(value);
        break;
    case parameterDirection:
        parameters[index] = value;
        // The display runs from -100 % to 100 %, but the sound only ever plays forward.
        speed = value;
        break;
    case parameterFade:
        parameters[index] = value;
        fadeFraction = value;
        break;
    case parameterDecay:
        parameters[index] = value;
        decayAmount = value * 0.97f + 0.03f;
        computeDecayStep();
        break;
    case parameterGate:
        switchGate(index, value);
        break;
    default:
        mfDebugOutput("unknown parameter called in MFLooperX::setParameter");
        break;
    }
}

int32_t MFLooperX::gateOn() {
    return startCapture();
}

void MFLooperX::gateOff() {
    // The lane's envelope is already at zero when the gate closes, so stopping is silent.
    active = false;
}

void MFLooperX::setMix(float value) {
    mix = value;
    wetGain = value;
}

void MFLooperX::controlTick() {
    ramp.tick(wetGain, context.controlBlockRecip);
}

void MFLooperX::restart() {
    // A silent capture is dropped, so the gate at the new position starts a fresh one;
    // one that sounds plays on.
    if (ramp.current == 0.0f && ramp.step == 0.0f) {
        setParameter(parameterGate, 0.0f);
        gateOff();
    }
}

int32_t MFLooperX::startCapture() {
    readPosition = 0.0f;
    capturing = true;
    takeWrite = 0;

    // The tail holds the bar before the gate, oldest sample first.
    int32_t out = 0;
    for (int32_t i = historyWrite; i < barLength; ++i, ++out) {
        tailLeft[uint32_t(out)] = historyLeft[uint32_t(i)];
        tailRight[uint32_t(out)] = historyRight[uint32_t(i)];
    }
    for (int32_t i = 0; i < historyWrite; ++i, ++out) {
        tailLeft[uint32_t(out)] = historyLeft[uint32_t(i)];
        tailRight[uint32_t(out)] = historyRight[uint32_t(i)];
    }

    if (!active) {
        loopLength = int32_t(pendingLength);
        fadeLength = float(int32_t(pendingLength) - 1) * fadeFraction;
        filterLeft.clear();
        filterRight.clear();
        ramp.step = 0.0f;
        holdFrames = 0.0f;
        repeatGain = 1.0f;
        computeDecayStep();
    } else {
        // A re-trigger jumps back to the start under a short crossfade from what was
        // playing; the tone filter keeps running so the jump does not click.
        holdFrames = retriggerFrames;
    }
    active = true;
    return 1;
}

void MFLooperX::process(float* left, float* right, int32_t count) {
    if (count <= 0)
        return;
    mfdsp::sanitizeInput(left, right, count);
    const int32_t takeEnd = 2 * barLength - 2;
    if (capturing) {
        const int32_t n = std::max(0, std::min(count, takeEnd - takeWrite));
        std::memcpy(takeLeft.data() + takeWrite, left, sizeof(float) * std::size_t(n));
        std::memcpy(takeRight.data() + takeWrite, right, sizeof(float) * std::size_t(n));
        takeWrite += n;
        if (takeWrite >= takeEnd)
            capturing = false;
    }
    mfdsp::writeRing(historyLeft.data(), historyRight.data(), barLength, historyWrite, left, right,
                     count);
    if (!active)
        return;

    mfdsp::MFEqualPowerWalk walk;
    walk.begin(ramp, count);
    const float rate = speed;
    const float tone = (0.9f * rate) * rate + 0.1f;
    const float decay = decayStep;
    const float* takeL = takeLeft.data();
    const float* takeR = takeRight.data();
    const float* tailL = tailLeft.data();
    const float* tailR = tailRight.data();
    int32_t length = loopLength;

    for (int32_t s = 0; s < count; ++s) {
        walk.advance();
        const int32_t i =
            (readPosition < 0.0f || readPosition > float(barLength)) ? 0 : int32_t(readPosition);
        const float dryL = left[s] * walk.dry;
        const float dryR = right[s] * walk.dry;
        float wetL;
        float wetR;
        // With no crossfade the branch is skipped outright: a tempo change can put the read
        // exactly on the new loop end, where the blend would divide zero by zero.
        if (rate > 0.0f && fadeLength > 0.0f && float(i) >= float(length) - fadeLength) {
            const int32_t r = std::max(length - i, 0);
            const float x = (fadeLength - float(r)) / fadeLength;
            // After a tempo change the loop can briefly disagree with the bar; stay inside the
            // tail.
            const int32_t t = std::clamp(barLength - r, 0, barLength - 1);
            wetL = takeL[i] * (1.0f - x) + tailL[t] * x;
            wetR = takeR[i] * (1.0f - x) + tailR[t] * x;
        } else {
            wetL = takeL[i];
            wetR = takeR[i];
        }
        wetL = filterLeft.run(wetL, tone, toneDamping);
        wetR = filterRight.run(wetR, tone, toneDamping);
        if (holdFrames > 0.0f) {
            holdFrames -= 1.0f;
            const float x = holdFrames * retriggerStep;
            wetL = wetL * (1.0f - x) + holdLeft * x;
            wetR = wetR * (1.0f - x) + holdRight * x;
            repeatGain = std::min(1.0f, repeatGain + retriggerStep);
        } else {
            holdLeft = wetL;
            holdRight = wetR;
        }
        const float gain = repeatGain * walk.wet;
        left[s] = dryL + wetL * gain;
        right[s] = dryR + wetR * gain;

        readPosition += rate;
        if (readPosition >= float(length)) {
            readPosition -= float(length);
            length = pendingLength;
            loopLength = length;
            fadeLength = float(length - 1) * fadeFraction;
        }
        repeatGain = std::max(0.0f, repeatGain + decay);
    }
}

void MFLooperX::reset() {
    takeLeft.clear();
    takeRight.clear();
    historyLeft.clear();
    historyRight.clear();
    tailLeft.clear();
    tailRight.clear();
    historyWrite = 0;
    takeWrite = 0;
    capturing = false;
    fadeLength = 0.0f;
    // Clearing the speed stands the loop still until "Direction" is sent again.
    speed = 0.0f;
    readPosition = 0.0f;
    active = false;
    filterLeft.clear();
    filterRight.clear();
    ramp = mfdsp::MFMixRamp{};
    holdFrames = 0.0f;
}

void MFLooperX::updateBuffers(bool) {
    status = statusResizing;
    int32_t bar = int32_t(4.0f * context.samplesPerBeat);
    // Until the grower has made room for a longer bar, the bar is what the room holds.
    if (!sizeBuffers(bar, 4, 2, 2))
        bar = std::min(bar, barThatFits());
    if (bar == barLength) {
        status = statusIdle;
        return;
    }
    barLength = bar;
    if (bar <= pendingLength) {
        loopLength = bar - 1;
        // Keeps the next wrap inside the new bar, so the crossfade's tail index stays in range.
        pendingLength = bar - 1;
    }
    if (bar <= historyWrite)
        historyWrite = 0;
    status = bar == 0 ? statusUnusable : statusIdle;
}

void MFLooperX::bpmChanged() {
    updateBuffers(true);
    applySize(parameters[parameterSize]);
    // While the room is still short of the new bar, the loop stays inside the bar it has.
    const bool roomShort = barLength < int32_t(4.0f * context.samplesPerBeat);
    if (roomShort && pendingLength >= barLength)
        pendingLength = barLength - 1;
}

void MFLooperX::getParameterDisplay(int32_t index, float value, char* text) {
    switch (index) {
    case parameterSize:
        std::snprintf(text, 64, "%s", divisionTable().entryFor(value).name);
        break;
    case parameterDirection:
        if (value < 0.0001f)
            std::snprintf(text, 64, "-100 %%");
        else if (value > 0.99999f)
            std::snprintf(text, 64, "100 %%");
        else
            std::snprintf(text, 64, "%3.2f %%", double(value * 200.0f - 100.0f));
        break;
    case parameterFade:
        if (value > 0.99999f)
            std::snprintf(text, 64, "100 %%");
        else
            std::snprintf(text, 64, "%3.2f %%", double(value * 100.0f));
        break;
    default:
        // "Decay" and "Gate" show no value.
        text[0] = '\0';
        break;
    }
}

bool MFLooperX::isBipolar(int32_t index) {
    return index == parameterDirection;
}

void MFLooperX::fillOptions(int32_t index, MFOptionMenuInterface& menu) {
    if (index != parameterSize)
        return;
    const MFDivisionTable& table = divisionTable();
    for (int i = 0; i < table.count; ++i)
        menu.addEntry(table.entries[i].name);
}

float MFLooperX::getParameterSteps(int32_t index) {
    return index == parameterSize ? divisionTable().countAsFloat : 0.0f;
}
