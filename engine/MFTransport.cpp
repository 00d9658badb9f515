#include "engine/MFTransport.h"

#include "effects/MFAlignedArray.h"

#include <algorithm>
#include <cmath>

using namespace vst;

MFTransport::BlockTiming MFTransport::beginBlock(const VstTimeInfo* info, int32_t n,
                                                 float samplesPerBeat) {
    BlockTiming t;
    if (!info)
        return t;

    hostTempoRaw = info->tempo;
    hostTempo = std::max(info->tempo, minimumHostTempo);
    tempoKnown = true;

    const double p = info->ppqPos;
    const bool playing = (info->flags & kVstTransportPlaying) != 0 && p >= 0.0;
    if (!playing) {
        setPosition(0.0);
        if (runningFlag != 0.0f) {
            runningFlag = 0.0f;
            refreshTransportGate();
        }
        return t;
    }

    const int32_t cycleBits = kVstTransportCycleActive | kVstCyclePosValid;
    const bool cycle = (info->flags & cycleBits) == cycleBits;
    // A host that has just jumped late past its loop end; its position is not corrected.
    const bool overshoot =
        cycle && p > info->cycleEndPos && p - info->cycleEndPos < overshootTolerance;

    if (std::fabs(exactPosition - p) > jumpDistance && !overshoot) {
        setPosition(p);
        t.restart = true;
    }

    if (n > 0) {
        t.increment = (double(n) / double(samplesPerBeat)) / double(n);
        const double end = p + double(n) * t.increment;
        if (cycle && end >= info->cycleEndPos && !overshoot) {
            if (p < info->cycleEndPos) {
                t.hasLoopPoint = true;
                t.loopPoint = info->cycleEndPos;
                t.cycleStart = info->cycleStartPos;
            }
            t.increment = (end - exactPosition) / double(n);
        } else if (!overshoot) {
            // A small error is chased down and gone at the block's end.
            t.increment = (end - exactPosition) / double(n);
        }
    }

    if (runningFlag == 0.0f) {
        runningFlag = 1.0f;
        refreshTransportGate();
        t.restart = true;
    }
    return t;
}

void MFTransport::restart() {
    swingHistory = 0;
    // No step came before: playback that starts on the loop start arrives there like a pass.
    lastStep = -1.0f;
    stepBefore = -1.0f;
    wrapLatch = 0.0f;
    wrapToggle = wrapLow;
    refreshTransportGate();
}

void MFTransport::refreshTransportGate() {
    runSource = positionMode == 0 ? runningFlag : noteHeld;
    transportBase = runSource * bypassOn;
    transportGate = transportBase * wrapToggle;
}

namespace {

// Truncation to unsigned 32 bits by way of 64: negative steps wrap modulo 2^32 as the
// position arithmetic expects, and values no integer holds (NaN, huge) give 0 instead
// of undefined behaviour.
uint32_t truncatedU32(float x) {
    constexpr float limit = 9.2e18f;
    if (!(x > -limit && x < limit))
        return 0;
    return static_cast<uint32_t>(static_cast<int64_t>(x));
}

// min(1, 2v) in its integer form; anything below 0.5 (and NaN) is off.
int32_t switchInteger(float v) {
    const float x = std::min(1.0f, 2.0f * v);
    return x >= 1.0f ? 1 : 0;
}

} // namespace

void MFTransport::setStepLength(float v, float samplesPerBeat) {
    float x = 6.0f * v;
    if (!(x > 0.0f))
        x = 0.0f;
    if (x > 5.0f)
        x = 5.0f;
    const int32_t index = static_cast<int32_t>(5.0f - x);
    stepsPerBeat = stepsPerBeatTable[index];
    recomputeStepLength(samplesPerBeat);
}

void MFTransport::recomputeStepLength(float samplesPerBeat) {
    if (!(samplesPerBeat > 0.0f))
        return;
    const float length = samplesPerBeat / stepsPerBeat;
    samplesPerStep = length;
    stepsPerTick = samplesPerTick / length;
    noteStepIncrement = stepsPerTick * noteHeld;
    swingTicks = swingAmount * length / 128.0f;
}

void MFTransport::setSwing(float v) {
    // A negative raw value from a bad host would make the power NaN.
    const float amount = v > 0.0f ? std::pow(v, 0.9f) : 0.0f;
    swingAmount = amount;
    swingTicks = amount * samplesPerStep / 128.0f;
}

void MFTransport::setPositionMode(float v) {
    positionMode = switchInteger(v);
    refreshTransportGate();
}

void MFTransport::setBypass(float v) {
    bypassOn = static_cast<float>(switchInteger(v));
    refreshTransportGate();
}

void MFTransport::setRetrigger(float v) {
    retrigger = std::max(0.0f, std::min(1.0f, 2.0f * v));
}

void MFTransport::setNoteHeld(float held) {
    const float h = held > 0.0f ? 1.0f : 0.0f;
    noteHeld = h;
    noteReleased = 1.0f - h;
    noteStepIncrement = stepsPerTick * h;
    refreshTransportGate();
}

void MFTransport::computeStep(float start, float end, float ticksPerMs) {
    // 1. Loop range.
    loopStart = start;
    loopEnd = end;
    const float endPlusOne = end + 1.0f;
    loopEndPlusOne = endPlusOne;
    float length = endPlusOne - start;
    if (!(length >= 1.0f))
        length = 1.0f;
    loopLength = length;

    // 2. Position in the song, folded into the range. The step is taken from the exact
    // position: a step that begins on a tick's sample must be seen by that tick, however
    // the host sliced the blocks before it, and the float position can fall a hair short.
    const double exactSteps = exactPosition * double(float(stepsPerBeat)) + stepGuard;
    const uint32_t songStep =
        exactSteps > 0.0 && exactSteps < 9.2e18 ? uint32_t(int64_t(exactSteps)) : 0u;
    uint32_t span = truncatedU32(length);
    if (span == 0)
        span = 1;
    hostStep = static_cast<float>(truncatedU32(start) + songStep % span);

    // 3. The restart flag rises when the last note ends and falls a millisecond later;
    // both edges restart the note counter.
    const float released = noteReleased;
    if (released == noteReleasedLast) {
        // A countdown that lands exactly on 0 (a whole number of ticks per millisecond)
        // still runs out on the next tick instead of holding the flag up for good.
        if (releaseHold >= 0.0f) {
            releaseHold -= releaseHoldStep;
            if (releaseHold < 0.0f)
                restartGate = 0.0f;
        }
    } else if (released == 0.0f) {
        noteReleasedLast = released;
        releaseHold -= releaseHoldStep;
        restartGate = releaseHold >= 0.0f ? 1.0f : 0.0f;
    } else {
        noteReleasedLast = released;
        restartGate = 1.0f;
        releaseHold = releaseHoldLength;
        releaseHoldStep = 1.0f / (ticksPerMs + 1e-18f);
    }

    // 4. Steps since the note began.
    float counter = noteCounter + noteStepIncrement;
    if (counter >= length)
        counter = 0.0f;
    if (restartGate == restartGateLast) {
        noteCounter = counter;
    } else {
        restartGateLast = restartGate;
        noteCounter = 0.0f;
    }

    // 5, 6. The position in force.
    noteStep = start + std::trunc(noteCounter);
    const float raw = positionMode == 0 ? hostStep : noteStep;
    rawStep = raw;

    // 7. Swing: the step as it was swingTicks ticks ago, interpolated between two ticks.
    float delayed = raw;
    const uint32_t ringLength = swingRing ? swingRing->getSize() : 0u;
    if (ringLength > 1) {
        const int32_t n = static_cast<int32_t>(std::min<uint32_t>(ringLength, 1u << 30));
        if (swingWrite < 0 || swingWrite >= n)
            swingWrite = 0;
        float* ring = swingRing->data();
        ring[swingWrite] = raw;
        if (swingHistory < n)
            ++swingHistory;
        float ticks = swingTicks;
        if (!(ticks > 0.0f))
            ticks = 0.0f;
        // The ring holds at most its length minus two ticks of history to interpolate in,
        // and nothing from before the last restart is read.
        const float longest = static_cast<float>(std::min(n - 2, swingHistory - 1));
        if (ticks > longest)
            ticks = longest;
        const int32_t whole = static_cast<int32_t>(ticks);
        int32_t a = swingWrite - whole;
        if (a < 0)
            a += n;
        int32_t b = swingWrite - whole - 1;
        if (b < 0)
            b += n;
        if (whole + 1 >= swingHistory)
            b = a;
        delayed = (static_cast<float>(whole) + 1.0f - ticks) * (ring[a] - ring[b]) + ring[b];
        if (++swingWrite >= n)
            swingWrite = 0;
    }

    // 8. Even steps are never moved; an odd step starts late.
    const float step = (truncatedU32(raw) & 1u) == 0 ? raw : delayed;
    currentStep = step;

    // 9. Arrival at the loop start toggles the gate factor, which retriggers every lane.
    stepBefore = lastStep;
    lastStep = step;
    float arrived = retrigger;
    if (stepBefore == start || step != start)
        arrived = 0.0f;
    if (arrived != wrapLatch) {
        wrapLatch = arrived;
        if (arrived > 0.0f)
            wrapToggle = wrapToggle == wrapLow ? wrapHigh : wrapLow;
    }
    // The whole gate is recomputed, not only its last factor: a parameter writer racing
    // the audio thread can then leave a stale gate for one tick at most.
    refreshTransportGate();
}
