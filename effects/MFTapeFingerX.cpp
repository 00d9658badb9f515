#include "effects/MFTapeFingerX.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

constexpr float toneDamping = 0.73f;
// A gate while still running crossfades from the last output over 256 samples.
constexpr float restartFadeStep = -0.015625f * 0.25f;

// Enough tape for the longest stop at the slowest tempo, with a wide margin.
uint32_t tapeSamplesFor(float sampleRate) {
    return uint32_t(int32_t(sampleRate / 0.75f) * 16 + 1);
}

} // namespace

MFTapeFingerX::MFTapeFingerX(int32_t id, MFSystemInfo& ctx, const MFDivisionSet* divisionSet)
    : MFEffect(id, ctx, parameterTotal, divisionSet ? divisionSet : &MFDivisionSet::noteValues()),
      tapeLeft(&ctx.bufferRegistry), tapeRight(&ctx.bufferRegistry) {
    setName("Tapefinger");
    setParameterName(timeIndex, "Time");
    setParameterName(slopeIndex, "Slope");
    setParameterName(gateIndex, "gate");
    setParameterDefault(timeIndex, 0.0f);
    setParameterDefault(slopeIndex, 0.5f);
    setParameterDefault(gateIndex, 0.0f);

    tapeLength = tapeSamplesFor(context.sampleRate);
    tapeLeft.setSize(tapeLength);
    tapeRight.setSize(tapeLength);
    tapeLeft.clear();
    tapeRight.clear();
    listenToTempo(this);
    // The gate's default is never sent: the tape only starts with a real gate.
    setParameter(timeIndex, parameterDefaults[timeIndex]);
    setParameter(slopeIndex, parameterDefaults[slopeIndex]);
}

MFTapeFingerX::~MFTapeFingerX() {
    stopListeningToTempo(this);
}

void MFTapeFingerX::setParameter(int32_t index, float value) {
    if (!validIndex(index))
        return;
    switch (index) {
    case timeIndex: {
        timeParameter = value;
        const MFDivisionTable& table = divisionTable();
        // The plain rule: 0 picks the first, longest row (the display runs the other way).
        const int row = std::clamp(int(value * float(table.count - 1) + 0.5f), 0, table.count - 1);
        const int32_t samples =
            MFDivisionTable::samplesFor(table.entries[row].length, context.samplesPerBeat);
        timeMs = float(samples) / (context.sampleRate * 0.001f);
        totalTicks = timeMs * context.ticksPerMs + 1e-18f;
        break;
    }
    case slopeIndex: {
        const float x = value > 0.5f ? value * 0.68200004f + 0.318f : value * 0.636f;
        exponent = x * 2.2f + 0.3f;
        break;
    }
    case gateIndex:
        if (value != float(parameters[gateIndex])) {
            parameters[gateIndex] = value;
            if (value == 0.0f)
                gateOff();
            else
                gateOn();
        }
        gateValue = value;
        return;
    default:
        break;
    }
    parameters[index] = value;
}

void MFTapeFingerX::restart() {
    // A silent stop is dropped, so the gate at the new position starts a fresh one; one
    // that sounds plays on.
    if (ramp.current == 0.0f && ramp.step == 0.0f) {
        setParameter(gateIndex, 0.0f);
        gateOff();
    }
}

int32_t MFTapeFingerX::gateOn() {
    writeIndex = 0;
    readPosition = 0.0f;
    tick = 0.0f;
    ratio = 0.0f;
    curve = 0.0f;
    toneLeft.clear();
    toneRight.clear();
    if (!started) {
        fade = 0.0f;
        holdLeft = holdRight = 0.0f;
    } else {
        fade = 1.0f;
        fadeStep = restartFadeStep;
    }
    envelope = 1.0f;
    stopped = false;
    started = true;
    return 1;
}

void MFTapeFingerX::gateOff() {
    started = false;
}

void MFTapeFingerX::setOption(int32_t index, int32_t value) {
    if (index == 0)
        passThrough = float(value);
}

int32_t MFTapeFingerX::getOption(int32_t index) {
    if (index == 0)
        return passThrough != 0.0f ? 1 : 0;
    return -1;
}

void MFTapeFingerX::setMix(float value) {
    mixTarget = value;
    mixComplement = 1.0f - value;
}

void MFTapeFingerX::controlTick() {
    ramp.tick(mixTarget, context.controlBlockRecip);
    if (fade <= 1e-9f) {
        fadeStep = 0.0f;
        fade = 0.0f;
    }
    if (!stopped) {
        tick += 1.0f;
        const float total = totalTicks;
        if (tick < total) {
            ratio = tick / total;
            curve = std::pow(ratio, float(exponent));
        } else {
            stopped = true;
        }
    }
    // The level holds while the speed is above a third and follows it down below.
    const float v = (1.0f - curve) * 3.0f;
    if (v >= 1.0f) {
        envelope = 1.0f;
        envelopeStep = 0.0f;
    } else {
        mfdsp::aimRamp(envelope, envelopeStep, v, context.controlBlockRecip,
                       mfdsp::MFMixRamp::snapBelow, mfdsp::MFMixRamp::snapAbove);
    }
}

void MFTapeFingerX::process(float* left, float* right, int32_t count) {
    if (float(mixTarget) == 0.0f && ramp.step == 0.0f)
        return;
    mfdsp::sanitizeInput(left, right, count);
    const float c = 1.0f - curve;
    const float f = 0.9f * c * c + 0.1f;
    const bool through = passThrough != 0.0f;
    float* tl = tapeLeft.data();
    float* tr = tapeRight.data();
    // The last position whose right neighbour is still on the tape.
    const float lastRead = float(tapeLength - 2);

    for (int32_t k = 0; k < count; ++k) {
        ramp.current += ramp.step;
        envelope += envelopeStep;
        fade += fadeStep;
        const float m = ramp.current;
        const float g = m * envelope;
        if (!stopped) {
            tl[writeIndex] = left[k];
            tr[writeIndex] = right[k];
            if (++writeIndex >= tapeLength)
                writeIndex = 0;
            if (readPosition > lastRead)
                readPosition = 0.0f;
            const float readL = mfdsp::fractionalRead(tl, readPosition);
            const float readR = mfdsp::fractionalRead(tr, readPosition);
            float wetL = toneLeft.run(readL, f, toneDamping) * g;
            float wetR = toneRight.run(readR, f, toneDamping) * g;
            // Both channels fade from the left hold; that slip is part of the sound.
            wetL = wetL * (1.0f - fade) + fade * holdLeft;
            wetR = wetR * (1.0f - fade) + fade * holdLeft;
            holdLeft = wetL;
            holdRight = wetR;
            left[k] = left[k] * (1.0f - m) + wetL;
            right[k] = right[k] * (1.0f - m) + wetR;
            readPosition += c;
        } else if (!through) {
            left[k] *= 1.0f - m;
            right[k] *= 1.0f - m;
        }
    }
}

void MFTapeFingerX::updateBuffers(bool keepContents) {
    status = statusResizing;
    tapeLength = tapeSamplesFor(context.sampleRate);
    tapeLeft.setSize(tapeLength);
    tapeRight.setSize(tapeLength);
    if (writeIndex >= tapeLength)
        writeIndex = 0;
    if (readPosition > float(tapeLength - 2))
        readPosition = 0.0f;
    if (!keepContents) {
        tapeLeft.clear();
        tapeRight.clear();
    }
    status = statusIdle;
}

void MFTapeFingerX::bpmChanged() {
    updateBuffers(true);
    setParameter(timeIndex, parameters[timeIndex]);
}

void MFTapeFingerX::getParameterDisplay(int32_t index, float value, char* text) {
    switch (index) {
    case timeIndex:
        // Inverted rule for the text only; the sound uses the plain rule.
        std::snprintf(text, 64, "%s", divisionTable().entryFor(value).name);
        break;
    case slopeIndex:
        if (value < 0.0001f)
            std::strcpy(text, "-100 %");
        else if (value > 0.99999f)
            std::strcpy(text, "100 %");
        else
            std::snprintf(text, 64, "%3.2f %%", double(value * 200.0f - 100.0f));
        break;
    default:
        MFEffect::getParameterDisplay(index, value, text);
        break;
    }
}

bool MFTapeFingerX::isBipolar(int32_t index) {
    return index == slopeIndex;
}
