#include "effects/MFLooperX2.h"

#include "effects/MFOptionMenuInterface.h"
#include "platform/MFDebugOutput.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {
// Fast slices at up to four times the rate run a few hundred samples past the bar;
// this much zeroed room keeps those reads inside the buffer and silent.
constexpr int32_t readMargin = 512;
} // namespace

MFLooperX2::MFLooperX2(int32_t id, MFSystemInfo& ctx, const MFDivisionSet* set)
    : MFEffect(id, ctx, parameterTotal, set ? set : &MFDivisionSet::noteValues()),
      bufferLeft(&ctx.bufferRegistry), bufferRight(&ctx.bufferRegistry) {
    setName("Looper");
    setParameterName(parameterSize, "Size");
    setParameterName(parameterEnvelope, "Env");
    setParameterName(parameterSizeChange, "S.Chng");
    setParameterName(parameterPitchChange, "P.Chng");
    setParameterName(parameterGate, "Gate");
    setParameterDefault(parameterSize, 0.6f);
    setParameterDefault(parameterEnvelope, 1.0f);
    setParameterDefault(parameterSizeChange, 0.5f);
    setParameterDefault(parameterPitchChange, 0.5f);
    setParameterDefault(parameterGate, 0.5f);

    // Room for two of the longest bars there can be, grown in place as the tempo asks.
    const uint32_t ceiling = uint32_t(8.0f * MFSystemInfo::longestBeat) + 1 + readMargin;
    bufferLeft.reserve(ceiling, ctx.bufferGrower);
    bufferRight.reserve(ceiling, ctx.bufferGrower);
    barLength = int32_t(4.0f * context.samplesPerBeat);
    // Two bars of room at the starting tempo; the bar plus one sample is in use.
    growBuffers(2 * barLength);
    bufferLeft.setSize(uint32_t(barLength + 1 + readMargin));
    bufferRight.setSize(uint32_t(barLength + 1 + readMargin));
    bufferLeft.clear();
    bufferRight.clear();
    readLimit = float(bufferLeft.getSize() - 2);

    // The gate's default is only reported; applying it would open the gate.
    for (int32_t i = 0; i < parameterGate; ++i)
        setParameter(i, parameterDefaults[i]);
    listenToTempo(this);
}

MFLooperX2::~MFLooperX2() {
    stopListeningToTempo(this);
}

bool MFLooperX2::growBuffers(int32_t samples) {
    bool fits = true;
    for (MFAlignedArray* a : {&bufferLeft, &bufferRight})
        if (uint32_t(samples) > a->getSize())
            fits = a->requestSize(uint32_t(samples)) && fits;
    return fits;
}

int32_t MFLooperX2::clampSlice(int32_t s) const {
    return std::max(std::min(s, barLength), minimumSlice);
}

void MFLooperX2::setParameter(int32_t index, float value) {
    switch (index) {
    case parameterSize: {
        parameters[index] = value;
        const auto& row = divisionTable().entryFor(value);
        sizeLength = MFDivisionTable::samplesFor(row.length, context.samplesPerBeat);
        break;
    }
    case parameterEnvelope:
        parameters[index] = value;
        envelopeFraction = value * 0.899999f + 0.1f;
        break;
    case parameterSizeChange:
        parameters[index] = value;
        // A dead zone round the centre so the knob's middle means "no change" exactly.
        sizeFactor = std::fabs(value - 0.5f) < 0.01f ? 1.0f : (value - 0.5f) + 1.0f;
        break;
    case parameterPitchChange:
        parameters[index] = value;
        rateFactor = (value - 0.5f) * 0.3f + 1.0f;
        break;
    case parameterGate:
        switchGate(index, value);
        break;
    default:
        mfDebugOutput("unknown parameter called in MFLooperX2::setParameter");
        break;
    }
}

void MFLooperX2::restart() {
    // A silent capture is dropped, so the gate at the new position starts a fresh one;
    // one that sounds plays on.
    if (ramp.current == 0.0f && ramp.step == 0.0f) {
        setParameter(parameterGate, 0.0f);
        gateOff();
    }
}

int32_t MFLooperX2::gateOn() {
    startCapture();
    return 1;
}

void MFLooperX2::gateOff() {
    active = false;
}

void MFLooperX2::setMix(float value) {
    mix = value;
    wetGain = value;
}

void MFLooperX2::controlTick() {
    ramp.tick(wetGain, context.controlBlockRecip);
}

int32_t MFLooperX2::startCapture() {
    const float envelope = envelopeFraction;
    if (!active) {
        writeIndex = 0;
        readPosition = 0.0f;
        rate = 1.0f;
        fadingIn = fadingOut = waiting = false;
        // No fade in on the very first slice: the lane's mix envelope already provides it.
        sustaining = true;
        retriggerPending = false;
        active = true;
        recording = true;
        phaseCounter = 0;
        sliceLength = clampSlice(sizeLength);
        sustainEnd = int32_t(float(sliceLength - fadeSamples) * envelope + float(fadeSamples));
        return 1;
    }
    recording = true;
    writeIndex = 0;
    if (waiting) {
        // Nothing is sounding, so a fresh slice can start straight away.
        sustaining = fadingOut = waiting = false;
        fadingIn = true;
        fadeInGain = 0.0f;
        rate = 1.0f;
        readPosition = 0.0f;
        phaseCounter = 0;
        sliceLength = clampSlice(sizeLength);
        sustainEnd = int32_t(float(sliceLength - fadeSamples) * envelope + float(fadeSamples));
    } else {
        // Fade the sounding slice out first; a fade already running is not restarted.
        fadingIn = sustaining = waiting = false;
        if (!fadingOut)
            fadeOutGain = 0.999f;
        fadingOut = true;
        retriggerMark = phaseCounter;
        retriggerPending = true;
    }
    return 1;
}

MFLooperX2::Phase MFLooperX2::getPhase() const {
    if (!active)
        return Phase::idle;
    if (fadingIn)
        return Phase::fadeIn;
    if (sustaining)
        return Phase::sustain;
    if (fadingOut)
        return Phase::fadeOut;
    return Phase::wait;
}

void MFLooperX2::nextRepeat() {
    rate = std::clamp(rate * float(rateFactor), minimumRate, maximumRate);
    readPosition = 0.0f;
    fadeInGain = 0.0f;
    fadingIn = true;
    waiting = false;
    const float factor = sizeFactor;
    int32_t s;
    if (factor == 1.0f) {
        s = sizeLength;
    } else if (factor < 1.0f && sliceLength < gentleShrinkBelow) {
        const float t = 1.0f - factor;
        s = int32_t(float(sliceLength) * (1.0f - t * t));
    } else {
        s = int32_t(float(sliceLength) * factor);
    }
    sliceLength = clampSlice(s);
    int32_t p = sliceLength;
    if (rate > minimumRate)
        p = int32_t(float(sliceLength) / rate - 1.0f);
    phaseCounter = 0;
    // Later slices end their sustain 40 samples later than the first one.
    sustainEnd = int32_t(float(p - fadeSamples) * envelopeFraction + 80.0f);
}

void MFLooperX2::retrigger() {
    // The reader enters the new recording as far as time has run since the new gate.
    const int32_t d = phaseCounter - retriggerMark;
    retriggerPending = false;
    rate = 1.0f;
    readPosition = float(d);
    phaseCounter = d;
    const int32_t size = sizeLength;
    sliceLength = std::max(size, minimumSlice);
    sustainEnd = int32_t(float(size - fadeSamples) * envelopeFraction + float(fadeSamples));
    fadingOut = false;
    waiting = false;
    fadingIn = true;
    fadeInGain = 0.0f;
}

float MFLooperX2::readAt(const float* buffer) const {
    // The clamp is a last line of defence; the margin already covers every reachable read.
    const float position = std::min(std::max(readPosition, 0.0f), readLimit);
    return mfdsp::fractionalRead(buffer, position);
}

void MFLooperX2::process(float* left, float* right, int32_t count) {
    if (!active || count <= 0)
        return;
    mfdsp::sanitizeInput(left, right, count);
    if (recording) {
        int32_t s = 0;
        while (s < count && writeIndex < barLength) {
            bufferLeft[uint32_t(writeIndex)] = left[s];
            bufferRight[uint32_t(writeIndex)] = right[s];
            ++writeIndex;
            ++s;
        }
        if (writeIndex >= barLength)
            recording = false;
    }

    mfdsp::MFEqualPowerWalk walk;
    walk.begin(ramp, count);
    mfdsp::MFEqualPowerWalk wetWalk = walk;
    for (int32_t s = 0; s < count; ++s) {
        walk.advance();
        left[s] *= walk.dry;
        right[s] *= walk.dry;
    }

    const float* inL = bufferLeft.data();
    const float* inR = bufferRight.data();
    for (int32_t s = 0; s < count; ++s) {
        wetWalk.advance();
        const float wet = wetWalk.wet;
        if (fadingIn) {
            const float g = fadeInGain * wet;
            left[s] += readAt(inL) * g;
            right[s] += readAt(inR) * g;
            readPosition += rate;
            fadeInGain += fadeStep;
            if (fadeInGain >= 1.0f) {
                // The fade's samples are counted at once when it ends.
                phaseCounter += fadeSamples;
                fadingIn = false;
                sustaining = true;
            }
        } else if (sustaining) {
            left[s] += readAt(inL) * wet;
            right[s] += readAt(inR) * wet;
            readPosition += rate;
            ++phaseCounter;
            if (phaseCounter >= sustainEnd - fadeSamples) {
                sustaining = false;
                fadingOut = true;
                fadeOutGain = 0.999f;
            }
        } else if (fadingOut) {
            const float g = fadeOutGain * wet;
            left[s] += readAt(inL) * g;
            right[s] += readAt(inR) * g;
            readPosition += rate;
            ++phaseCounter;
            fadeOutGain -= fadeStep;
            if (fadeOutGain <= 0.0001f) {
                fadingOut = false;
                waiting = true;
                if (retriggerPending)
                    retrigger();
            }
        } else {
            ++phaseCounter;
            if (phaseCounter >= sliceLength)
                nextRepeat();
        }
    }
}

void MFLooperX2::reset() {
    bufferLeft.clear();
    bufferRight.clear();
    readPosition = 0.0f;
    ramp = mfdsp::MFMixRamp{};
}

void MFLooperX2::updateBuffers(bool keepContents) {
    status = statusResizing;
    int32_t bar = int32_t(4.0f * context.samplesPerBeat);
    // Until the grower has made room for a longer bar, the bar is what the room holds.
    if (!growBuffers(bar + 1 + readMargin)) {
        const uint32_t room = std::min(bufferLeft.getCapacity(), bufferRight.getCapacity());
        bar = std::min(bar, int32_t(room) - 1 - readMargin);
    }
    if (bar == barLength) {
        status = statusIdle;
        return;
    }
    barLength = bar;
    if (float(sliceLength) <= readPosition)
        readPosition = 0.0f;
    if (writeIndex > bar)
        writeIndex = bar;
    readLimit = float(std::min(bufferLeft.getSize(), bufferRight.getSize()) - 2);
    if (!keepContents) {
        bufferLeft.clear();
        bufferRight.clear();
    }
    status = bar == 0 ? statusUnusable : statusIdle;
}

void MFLooperX2::bpmChanged() {
    updateBuffers(true);
    const auto& row = divisionTable().entryFor(parameters[parameterSize]);
    sizeLength = MFDivisionTable::samplesFor(row.length, context.samplesPerBeat);
}

void MFLooperX2::getParameterDisplay(int32_t index, float value, char* text) {
    switch (index) {
    case parameterSize:
        std::snprintf(text, 64, "%s", divisionTable().entryFor(value).name);
        break;
    case parameterEnvelope:
        if (value > 0.99999f)
            std::snprintf(text, 64, "100 %%");
        else
            std::snprintf(text, 64, "%3.2f %%", double(value * 100.0f));
        break;
    case parameterSizeChange:
    case parameterPitchChange:
        if (value < 0.0001f)
            std::snprintf(text, 64, "-100 %%");
        else if (value > 0.99999f)
            std::snprintf(text, 64, "100 %%");
        else
            std::snprintf(text, 64, "%3.2f %%", double(value * 200.0f - 100.0f));
        break;
    default:
        text[0] = '\0';
        break;
    }
}

bool MFLooperX2::isBipolar(int32_t index) {
    return index == parameterSizeChange || index == parameterPitchChange;
}

void MFLooperX2::fillOptions(int32_t index, MFOptionMenuInterface& menu) {
    if (index != parameterSize)
        return;
    const MFDivisionTable& table = divisionTable();
    for (int i = 0; i < table.count; ++i)
        menu.addEntry(table.entries[i].name);
}

float MFLooperX2::getParameterSteps(int32_t index) {
    return index == parameterSize ? divisionTable().countAsFloat : 0.0f;
}
