#include "effects/MFReverserX.h"

#include "effects/MFOptionMenuInterface.h"
#include "platform/MFDebugOutput.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {
// Decay below this is audible; at or above it the repeats keep their level.
constexpr float decayHoldThreshold = 0.99f;
} // namespace

MFReverserX::MFReverserX(int32_t effectId, MFSystemInfo& ctx, const MFDivisionSet* divisionSet)
    : MFEffect(effectId, ctx, parameterTotal,
               divisionSet ? divisionSet : &MFDivisionSet::noteValues()),
      ringLeft(&ctx.bufferRegistry), ringRight(&ctx.bufferRegistry) {
    setName("Reverser");
    setParameterName(parameterSize, "Size");
    setParameterName(parameterFade, "XFade");
    setParameterName(parameterDecay, "dec");
    setParameterName(parameterGate, "trig");
    for (int32_t i = 0; i < parameterTotal; ++i)
        setParameterDefault(i, 0.5f);

    // Room for the longest bar there can be, grown in place as the tempo asks.
    const uint32_t ceiling = uint32_t(MFSystemInfo::longestBeat * 4.0f + 1.0f);
    ringLeft.reserve(ceiling, ctx.bufferGrower);
    ringRight.reserve(ceiling, ctx.bufferGrower);
    const int32_t ringSamples = int32_t(context.samplesPerBeat * 4.0f + 1.0f);
    ringLength = ringSamples - 1;
    ringLeft.setSize(uint32_t(ringSamples > 1 ? ringSamples : 1));
    ringRight.setSize(uint32_t(ringSamples > 1 ? ringSamples : 1));
    ringLeft.clear();
    ringRight.clear();
    if (ringLength <= 0)
        status = statusUnusable;

    // The gate's default is not applied: opening it here would start the effect.
    for (int32_t i = 0; i < parameterGate; ++i)
        setParameter(i, parameterDefaults[i]);
    listenToTempo(this);
}

MFReverserX::~MFReverserX() {
    stopListeningToTempo(this);
}

void MFReverserX::computeDecayStep() {
    const float amount = decayAmount;
    if (amount < decayHoldThreshold)
        decayStep = -1.0f / (context.samplesPerMs * amount * 1500.0f);
    else
        decayStep = 0.0f;
}

void MFReverserX::setParameter(int32_t index, float value) {
    switch (index) {
    case parameterSize: {
        parameters[index] = value;
        const auto& row = divisionTable().entryFor(value);
        const int32_t length = MFDivisionTable::samplesFor(row.length, context.samplesPerBeat);
        if (length != grainSize) {
            pendingSize = length;
            sizePending = 1;
        }
        break;
    }
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
        if (value == gateValue)
            break;
        gateValue = value;
        parameters[index] = value;
        if (value == 0.0f)
            gateOff();
        else
            gateOn();
        break;
    default:
        mfDebugOutput("unknown parameter called in MFReverserX");
        break;
    }
}

int32_t MFReverserX::gateOn() {
    if (active) {
        // A re-trigger lets the running grain finish; only the repeat level restarts.
        gainRestart = true;
        return 1;
    }
    sizePending = 0;
    readIndex = (ringWrite != 0 ? ringWrite : ringLength) - 1;
    grainPosition = 0;
    active = true;
    grainFade = fadeFraction;
    repeatGain = 1.0f;
    computeDecayStep();
    gainRestart = false;
    grainSize = pendingSize;
    return 1;
}

void MFReverserX::restart() {
    // A silent capture is dropped, so the gate at the new position starts a fresh one;
    // one that sounds plays on.
    if (ramp.current == 0.0f && ramp.step == 0.0f) {
        setParameter(parameterGate, 0.0f);
        gateOff();
    }
}

void MFReverserX::gateOff() {
    active = false;
}

void MFReverserX::setMix(float value) {
    mix = value;
}

void MFReverserX::controlTick() {
    ramp.tick(mix, context.controlBlockRecip);
}

void MFReverserX::process(float* left, float* right, int32_t count) {
    if (count < 0 || ringLength <= 0)
        return;
    mfdsp::sanitizeInput(left, right, count);
    const int32_t n = count;

    // The ring runs whether or not the gate is open, so an opening finds a bar of past.
    if (!active) {
        mfdsp::writeRing(ringLeft.data(), ringRight.data(), ringLength, ringWrite, left, right, n);
        return;
    }

    mfdsp::MFEqualPowerWalk walk;
    walk.begin(ramp, n);

    int32_t currentSize = grainSize;
    float half, inverse;
    int32_t flatEnd, fadeInEnd;
    // The fades belong to the grain: a grain that begins inside the run takes its own.
    auto shapeGrain = [&] {
        half = 0.5f * float(currentSize) * grainFade;
        inverse = half > 0.0f ? 1.0f / half : 0.0f;
        flatEnd = int32_t(float(currentSize) - half);
        fadeInEnd = int32_t(half);
    };
    shapeGrain();
    float* const ringL = ringLeft.data();
    float* const ringR = ringRight.data();
    for (int32_t i = 0; i < n; ++i) {
        // Sample by sample, so that a read never sees a later sample of the same run:
        // what the reversal plays does not depend on how the block was cut.
        ringL[ringWrite] = left[i];
        ringR[ringWrite] = right[i];
        if (++ringWrite >= ringLength)
            ringWrite = 0;
        readIndex -= 1;
        if (uint32_t(readIndex) >= uint32_t(ringLength))
            readIndex = ringLength - 1;

        walk.advance();
        const float g = walk.wet;
        const int32_t p = grainPosition;
        float w;
        if (p > flatEnd)
            w = (1.0f - float(p - flatEnd) * inverse) * g;
        else if (p < fadeInEnd)
            w = float(p) * inverse * g;
        else
            w = g;

        const float amount = repeatGain * w;
        left[i] = left[i] * walk.dry + ringL[readIndex] * amount;
        right[i] = right[i] * walk.dry + ringR[readIndex] * amount;

        grainPosition = p + 1;
        if (grainPosition >= currentSize) {
            grainPosition = 0;
            if (sizePending != 0) {
                // A new size restarts the reversal from the present sample.
                currentSize = pendingSize;
                grainSize = currentSize;
                readIndex = ringWrite - 1;
                if (readIndex < 0)
                    readIndex += ringLength;
                sizePending = 0;
            } else {
                // One grain back to where this grain began and one forward, so the
                // grains keep up with time.
                readIndex = int32_t((int64_t(readIndex) + 2 * int64_t(currentSize)) % ringLength);
            }
            if (gainRestart)
                repeatGain = 1.0f;
            gainRestart = false;
            grainFade = fadeFraction;
            shapeGrain();
        }
        const float next = repeatGain + decayStep;
        repeatGain = next > 0.0f ? next : 0.0f;
    }
}

void MFReverserX::reset() {
    ringLeft.clear();
    ringRight.clear();
    ringWrite = 0;
    readIndex = 0;
    ramp = mfdsp::MFMixRamp{};
}

void MFReverserX::updateBuffers(bool keepContents) {
    status = statusResizing;
    int32_t ringSamples = int32_t(context.samplesPerBeat * 4.0f + 1.0f);
    if (ringSamples - 1 <= 0) {
        ringLength = 0;
        ringWrite = readIndex = 0;
        status = statusUnusable;
        return;
    }
    const bool leftFits = ringLeft.requestSize(uint32_t(ringSamples));
    const bool rightFits = ringRight.requestSize(uint32_t(ringSamples));
    // Until the grower has made room for a longer bar, the ring is what the room holds.
    if (!leftFits || !rightFits) {
        const uint32_t room = std::min(ringLeft.getCapacity(), ringRight.getCapacity());
        ringSamples = std::min(ringSamples, int32_t(room));
    }
    ringLength = ringSamples - 1;
    if (!keepContents) {
        ringLeft.clear();
        ringRight.clear();
    }
    // A shorter bar must not leave the indexes past its end.
    if (ringWrite >= ringLength)
        ringWrite = 0;
    if (readIndex >= ringLength)
        readIndex = ringLength - 1;
    status = statusIdle;
}

void MFReverserX::bpmChanged() {
    updateBuffers(true);
    setParameter(parameterSize, parameters[parameterSize]);
}

void MFReverserX::getParameterDisplay(int32_t index, float value, char* text) {
    switch (index) {
    case parameterSize:
        std::snprintf(text, 64, "%s", divisionTable().entryFor(value).name);
        break;
    case parameterFade:
        std::snprintf(text, 64, "%3.2f %%", double(value * 100.0f));
        break;
    default:
        text[0] = '\0';
        break;
    }
}

void MFReverserX::fillOptions(int32_t index, MFOptionMenuInterface& menu) {
    if (index != parameterSize)
        return;
    const MFDivisionTable& table = divisionTable();
    for (int i = 0; i < table.count; ++i)
        menu.addEntry(table.entries[i].name);
}

float MFReverserX::getParameterSteps(int32_t index) {
    return index == parameterSize ? divisionTable().countAsFloat : 0.0f;
}
