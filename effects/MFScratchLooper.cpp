#include "effects/MFScratchLooper.h"

#include "effects/MFOptionMenuInterface.h"
#include "platform/MFDebugOutput.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

constexpr float halfPi = 1.5707964f;
constexpr float pi = 3.1415927f;
constexpr float threeHalfPi = 4.712389f;
constexpr float twoPi = 6.2831855f;
constexpr float gateFastFactor = 3.75f;
constexpr float rearmFastFactor = 3.0f;

void formatBipolar(float v, char* text) {
    if (v < 0.0001f)
        std::strcpy(text, "-100 %");
    else if (v > 0.99999f)
        std::strcpy(text, "100 %");
    else
        std::snprintf(text, 64, "%3.2f %%", double(v * 200.0f - 100.0f));
}

void formatPercent(float v, char* text) {
    if (v > 0.99999f)
        std::strcpy(text, "100 %");
    else
        std::snprintf(text, 64, "%3.2f %%", double(v * 100.0f));
}

// Triangle of the same phase as the sine: 0 at 0, 1 at the top, -1 at the bottom.
float triangle(float x) {
    if (x < halfPi)
        return x / halfPi;
    if (x < pi)
        return 1.0f - (x - halfPi) / halfPi;
    if (x < threeHalfPi)
        return (x - pi) / -halfPi;
    return (x - pi - halfPi) / halfPi - 1.0f;
}

} // namespace

MFScratchLooper::MFScratchLooper(int32_t id, MFSystemInfo& ctx, const MFDivisionSet* divisionSet)
    : MFEffect(id, ctx, parameterTotal, divisionSet ? divisionSet : &MFDivisionSet::shortValues()),
      ringLeft(&ctx.bufferRegistry), ringRight(&ctx.bufferRegistry),
      recordLeft(&ctx.bufferRegistry), recordRight(&ctx.bufferRegistry) {
    setName("ScratchLooper");
    setParameterName(sizeIndex, "Size");
    setParameterName(fwdSpinIndex, "Fwd Spin");
    setParameterName(fwdSlopeIndex, "Fwd Slope");
    setParameterName(bwdSpinIndex, "Bwd Spin");
    setParameterName(bwdSlopeIndex, "Bwd Slope");
    setParameterName(gateIndex, "Gate");
    setParameterDefault(sizeIndex, 1.0f);
    setParameterDefault(gateIndex, 0.0f);

    ringLength = std::max(int32_t(context.samplesPerBeat * 2.0f), minimumRingLength);
    recordLength = ringLength;
    // Room for the two longest beats there can be, grown in place as the tempo asks.
    const uint32_t ceiling = uint32_t(MFSystemInfo::longestBeat * 2.0f) + 2;
    for (MFAlignedArray* a : {&ringLeft, &ringRight, &recordLeft, &recordRight}) {
        a->reserve(ceiling, ctx.bufferGrower);
        a->setSize(uint32_t(ringLength + 2));
        a->clear();
    }
    listenToTempo(this);
    applyDefaults();
    rearm = false;
}

MFScratchLooper::~MFScratchLooper() {
    stopListeningToTempo(this);
}

void MFScratchLooper::setParameter(int32_t index, float value) {
    if (!validIndex(index)) {
        mfDebugOutput("unknown parameter called in MFScratchLooper::setParameter");
        return;
    }
    const float previous = parameters[index];
    if (index == gateIndex) {
        if (value != previous) {
            parameters[index] = value;
            if (value == 0.0f)
                gateOff();
            else
                gateOn();
        }
        return;
    }
    parameters[index] = value;
    switch (index) {
    case sizeIndex:
        pendingLength = MFDivisionTable::samplesFor(divisionTable().entryFor(value).length,
                                                    context.samplesPerBeat);
        break;
    case fwdSpinIndex:
        nextFwdSpin = value;
        break;
    case fwdSlopeIndex:
        nextFwdSlope = value;
        break;
    case bwdSpinIndex:
        nextBwdSpin = value;
        break;
    case bwdSlopeIndex:
        nextBwdSlope = value;
        break;
    default:
        break;
    }
    // A new setting never cuts into a pass; it starts with the next one.
    if (value != previous)
        rearm = true;
}

void MFScratchLooper::latchPass(float fastFactor) {
    scratchLength = pendingLength;
    fwdSpin = nextFwdSpin;
    fwdSlope = nextFwdSlope;
    bwdSpin = nextBwdSpin;
    bwdSlope = nextBwdSlope;
    // Half the pass length in samples; at least one so a degenerate size stays finite.
    const float b = halfPi / float(std::max(scratchLength >> 1, int32_t(1)));
    fwdIncrement = fwdSpin * (fwdSpin > 0.5f ? b * fastFactor : b) + b * 0.5f;
    bwdIncrement = b * 0.5f + (bwdSpin > 0.5f ? b * fastFactor : b) * bwdSpin;
}

void MFScratchLooper::restart() {
    // A silent capture is dropped, with any crossfade it had pending, so the gate at the
    // new position starts a fresh one; one that sounds plays on.
    if (ramp.current == 0.0f && ramp.step == 0.0f) {
        setParameter(gateIndex, 0.0f);
        gateOff();
        rearm = false;
        holdFrames = 0;
    }
}

int32_t MFScratchLooper::gateOn() {
    if (!active) {
        active = true;
        rearm = false;
        latchPass(gateFastFactor);
    } else {
        rearm = true;
    }
    takeRecord();
    phase = halfPi;
    gateValue = parameters[gateIndex];
    return 1;
}

void MFScratchLooper::gateOff() {
    active = false;
}

void MFScratchLooper::takeRecord() {
    recordLength = ringLength;
    float* rl = recordLeft.data();
    float* rr = recordRight.data();
    const float* il = ringLeft.data();
    const float* ir = ringRight.data();
    // Oldest first: the ring's write position holds the oldest sample.
    const int32_t tail = ringLength - ringWrite;
    std::memcpy(rl, il + ringWrite, sizeof(float) * size_t(tail));
    std::memcpy(rr, ir + ringWrite, sizeof(float) * size_t(tail));
    std::memcpy(rl + tail, il, sizeof(float) * size_t(ringWrite));
    std::memcpy(rr + tail, ir, sizeof(float) * size_t(ringWrite));
    rl[ringLength] = rl[ringLength + 1] = 0.0f;
    rr[ringLength] = rr[ringLength + 1] = 0.0f;
    // The newest samples fade to nothing so the head never lands on a cut.
    for (int32_t k = 0; k < recordFadeLength; ++k) {
        const float gain = float(k) / float(recordFadeLength);
        rl[ringLength - k] *= gain;
        rr[ringLength - k] *= gain;
    }
}

void MFScratchLooper::setMix(float value) {
    mixTarget = value;
    mixComplement = 1.0f - value;
}

void MFScratchLooper::controlTick() {
    ramp.tick(mixTarget, context.controlBlockRecip);
}

void MFScratchLooper::process(float* left, float* right, int32_t count) {
    mfdsp::sanitizeInput(left, right, count);
    mfdsp::writeRing(ringLeft.data(), ringRight.data(), ringLength, ringWrite, left, right, count);
    // An empty run must not start a pending pass.
    if (!active || count <= 0)
        return;

    walk.begin(ramp, count);
    if (rearm && holdFrames == 0) {
        holdFrames = crossfadeLength;
        rearm = false;
        latchPass(rearmFastFactor);
    }

    // The record keeps the length it was taken with; a pass never reaches past it.
    const int32_t length = std::min(scratchLength, recordLength);
    const float base = float(recordLength - length);
    const float top = float(recordLength);
    const float lengthF = float(length);
    const float a = 1.0f - fwdSlope;
    const float c = 1.0f - bwdSlope;
    const float* rl = recordLeft.data();
    const float* rr = recordRight.data();
    float x = phase;

    for (int32_t i = 0; i < count; ++i) {
        walk.advance();
        const float g = walk.wet;
        const float t = triangle(x);
        const float s = mfdsp::parabolaSine(pi - x);
        const float v = 2.0f * t - s;
        float w;
        if (x < halfPi || x >= threeHalfPi) {
            w = s * a + v * fwdSlope;
            x += fwdIncrement;
        } else {
            w = s * c + v * bwdSlope;
            x += bwdIncrement;
        }
        if (x >= twoPi)
            x -= twoPi;

        float q = (w * 0.5f + 0.5f) * lengthF + base;
        q = std::clamp(q, base, top);
        lastPosition = q;
        float e = 1.0f;
        if (q - base < float(edgeFadeLength))
            e = (q - base) * 0.001953125f;
        const float gain = e * g;
        float wetL = mfdsp::fractionalRead(rl, q) * gain;
        float wetR = mfdsp::fractionalRead(rr, q) * gain;

        if (holdFrames > 0) {
            --holdFrames;
            const float x2 = float(holdFrames) * 0.0009765625f;
            wetL = wetL * (1.0f - x2) + holdLeft * x2;
            wetR = wetR * (1.0f - x2) + holdRight * x2;
            if (holdFrames == 0) {
                holdLeft = wetL;
                holdRight = wetR;
            }
        } else {
            holdLeft = wetL;
            holdRight = wetR;
        }
        left[i] = left[i] * walk.dry + wetL;
        right[i] = right[i] * walk.dry + wetR;
    }
    phase = x;
}

void MFScratchLooper::updateBuffers(bool keepContents) {
    status = statusResizing;
    int32_t length = int32_t(context.samplesPerBeat * 2.0f);
    if (length != ringLength && length >= minimumRingLength) {
        bool fits = true;
        for (MFAlignedArray* a : {&ringLeft, &ringRight, &recordLeft, &recordRight})
            fits = a->requestSize(uint32_t(length + 2)) && fits;
        // Until the grower has made room for a longer ring, the ring is what the room holds.
        if (!fits) {
            uint32_t room = ringLeft.getCapacity();
            for (const MFAlignedArray* a : {&ringRight, &recordLeft, &recordRight})
                room = std::min(room, a->getCapacity());
            length = std::min(length, int32_t(room) - 2);
        }
        ringLength = length;
        if (ringWrite >= ringLength)
            ringWrite = 0;
    }
    if (!keepContents) {
        ringLeft.clear();
        ringRight.clear();
    }
    status = statusIdle;
}

void MFScratchLooper::bpmChanged() {
    updateBuffers(true);
    setParameter(sizeIndex, parameters[sizeIndex]);
}

void MFScratchLooper::getParameterDisplay(int32_t index, float value, char* text) {
    switch (index) {
    case sizeIndex:
        std::snprintf(text, 64, "%s", divisionTable().entryFor(value).name);
        break;
    case fwdSpinIndex:
    case bwdSpinIndex:
        formatBipolar(value, text);
        break;
    case fwdSlopeIndex:
    case bwdSlopeIndex:
        formatPercent(value, text);
        break;
    case gateIndex:
        std::strcpy(text, "TODO");
        break;
    default:
        MFEffect::getParameterDisplay(index, value, text);
        break;
    }
}

bool MFScratchLooper::isBipolar(int32_t index) {
    return index == fwdSpinIndex || index == bwdSpinIndex;
}

void MFScratchLooper::fillOptions(int32_t index, MFOptionMenuInterface& menu) {
    if (index != sizeIndex)
        return;
    const MFDivisionTable& table = divisionTable();
    for (int i = 0; i < table.count; ++i)
        menu.addEntry(table.entries[i].name);
}

float MFScratchLooper::getParameterSteps(int32_t index) {
    return index == sizeIndex ? divisionTable().countAsFloat : 0.0f;
}
