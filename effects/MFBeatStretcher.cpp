#include "effects/MFBeatStretcher.h"

#include "platform/MFDebugOutput.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {
// The wet buffers hold at least one sub-block.
constexpr uint32_t subBlock = 64;
} // namespace

MFBeatStretcher::MFBeatStretcher(int32_t effectId, MFSystemInfo& ctx,
                                 const MFDivisionSet* divisionSet)
    : MFEffect(effectId, ctx, parameterTotal, divisionSet ? divisionSet : &MFDivisionSet::bars()),
      captureLeft(&ctx.bufferRegistry), captureRight(&ctx.bufferRegistry),
      ringLeft(&ctx.bufferRegistry), ringRight(&ctx.bufferRegistry), wetLeft(&ctx.bufferRegistry),
      wetRight(&ctx.bufferRegistry) {
    setName("Stretcher");
    setParameterName(parameterAmount, "Amount");
    setParameterName(parameterGrainSize, "Grainsize");
    setParameterName(parameterFade, "XFade");
    setParameterName(parameterGate, "Gate");
    setParameterDefault(parameterAmount, 0.6f);
    setParameterDefault(parameterGrainSize, 1.0f);
    setParameterDefault(parameterFade, 0.2f);
    setParameterDefault(parameterGate, 0.5f);

    // Room for the pre-history and three of the longest bars there can be, grown in place.
    const uint32_t ceiling = uint32_t(MFSystemInfo::maximumRate / 44100.0f * prerollAt44k + 1.0f) +
                             uint32_t(MFSystemInfo::longestBeat * 12.0f);
    captureLeft.reserve(ceiling, ctx.bufferGrower);
    captureRight.reserve(ceiling, ctx.bufferGrower);
    prerollLength = int32_t(context.rateRatio * prerollAt44k);
    captureLength = int32_t(context.samplesPerBeat * 8.0f);
    captureLeft.setSize(uint32_t(captureSamples()));
    captureRight.setSize(uint32_t(captureSamples()));
    ringLeft.setSize(uint32_t(ringSamples()));
    ringRight.setSize(uint32_t(ringSamples()));
    wetLeft.setSize(subBlock);
    wetRight.setSize(subBlock);
    captureLeft.clear();
    captureRight.clear();
    ringLeft.clear();
    ringRight.clear();
    wetLeft.clear();
    wetRight.clear();
    grain.span = captureLength;
    grain.base = prerollLength;
    if (captureLength == 0)
        status = statusUnusable;

    // The gate's default is not applied: opening it here would start a capture.
    for (int32_t i = 0; i < parameterGate; ++i)
        setParameter(i, parameterDefaults[i]);
    listenToTempo(this);
}

MFBeatStretcher::~MFBeatStretcher() {
    stopListeningToTempo(this);
}

int32_t MFBeatStretcher::captureSamples() const {
    const int32_t samples = int32_t(float(prerollLength) + context.samplesPerBeat * 12.0f);
    return samples > 1 ? samples : 1;
}

int32_t MFBeatStretcher::ringSamples() const {
    const int32_t samples = prerollLength;
    return samples > 1 ? samples : 1;
}

void MFBeatStretcher::setParameter(int32_t index, float value) {
    switch (index) {
    case parameterAmount:
        parameters[index] = value;
        amount = value;
        break;
    case parameterGrainSize:
        parameters[index] = value;
        grainLength = int32_t(float(prerollLength - minimumGrain) * value + float(minimumGrain));
        break;
    case parameterFade:
        parameters[index] = value;
        fadeFraction = value * 0.9f + 0.1f;
        break;
    case parameterGate:
        switchGate(index, value);
        break;
    default:
        mfDebugOutput("unknown parameter called in MFBeatStretcher");
        break;
    }
}

void MFBeatStretcher::restart() {
    // A silent capture is dropped, so the gate at the new position starts a fresh one;
    // one that sounds plays on.
    if (ramp.current == 0.0f && ramp.step == 0.0f) {
        setParameter(parameterGate, 0.0f);
        gateOff();
    }
}

int32_t MFBeatStretcher::gateOn() {
    startCapture();
    return 1;
}

void MFBeatStretcher::gateOff() {
    active = false;
}

void MFBeatStretcher::latchGrain() {
    grain.amount = amount;
    grain.samples = grainLength;
    grain.fade = int32_t(float(grain.samples - 4) * float(fadeFraction) + 3.0f);
}

int32_t MFBeatStretcher::followingStart(int32_t start) const {
    const int32_t next = int32_t(float(start) + float(grain.samples) * grain.amount);
    const int32_t longest = std::max(grain.samples, int32_t(grainLength));
    // Deliberately back to the start only at a grain's end, through its crossfade: no click.
    return next + longest > grain.span + grain.base ? grain.base : next;
}

void MFBeatStretcher::startCapture() {
    capturing = true;
    captureWrite = prerollLength;

    grain.position = 0;
    grain.start = prerollLength;
    latchGrain();
    grain.nextStart = followingStart(grain.base);

    // The pre-history goes in oldest first, so the capture is one continuous take.
    const int32_t tail = prerollLength - ringWrite;
    std::memcpy(captureLeft.data(), ringLeft.data() + ringWrite, sizeof(float) * size_t(tail));
    std::memcpy(captureRight.data(), ringRight.data() + ringWrite, sizeof(float) * size_t(tail));
    std::memcpy(captureLeft.data() + tail, ringLeft.data(), sizeof(float) * size_t(ringWrite));
    std::memcpy(captureRight.data() + tail, ringRight.data(), sizeof(float) * size_t(ringWrite));

    // A restart while sounding crossfades from the last output instead of jumping.
    holdFrames = active ? guardFrames : 0;
    active = true;
}

void MFBeatStretcher::setMix(float value) {
    mix = value;
}

void MFBeatStretcher::controlTick() {
    ramp.tick(mix, context.controlBlockRecip);
}

void MFBeatStretcher::process(float* left, float* right, int32_t count) {
    if (count < 0 || captureLength <= 0 || prerollLength <= 0)
        return;
    if (count > int32_t(subBlock)) {
        // The wet buffers hold one sub-block; a longer run is taken in pieces.
        for (int32_t done = 0; done < count; done += int32_t(subBlock)) {
            const int32_t rest = count - done;
            process(left + done, right + done, rest < int32_t(subBlock) ? rest : int32_t(subBlock));
        }
        return;
    }
    mfdsp::sanitizeInput(left, right, count);
    const int32_t n = count;

    if (capturing) {
        const int32_t end = prerollLength + captureLength - 1;
        const int32_t take = std::max(0, std::min(n, end - captureWrite));
        std::memcpy(captureLeft.data() + captureWrite, left, sizeof(float) * size_t(take));
        std::memcpy(captureRight.data() + captureWrite, right, sizeof(float) * size_t(take));
        captureWrite += take;
        if (captureWrite >= end)
            capturing = false;
    }
    mfdsp::writeRing(ringLeft.data(), ringRight.data(), prerollLength, ringWrite, left, right, n);
    if (!active)
        return;

    const bool scaleWet = ramp.current < 1.0f || ramp.step != 0.0f;
    mfdsp::MFEqualPowerWalk walk;
    walk.begin(ramp, n);
    mfdsp::MFEqualPowerWalk wetWalk = walk;
    for (int32_t i = 0; i < n; ++i) {
        walk.advance();
        left[i] *= walk.dry;
        right[i] *= walk.dry;
    }

    float* wl = wetLeft.data();
    float* wr = wetRight.data();
    std::memset(wl, 0, sizeof(float) * size_t(n));
    std::memset(wr, 0, sizeof(float) * size_t(n));
    const float* capL = captureLeft.data();
    const float* capR = captureRight.data();
    const int32_t end = grain.span + grain.base;

    for (int32_t i = 0; i < n; ++i) {
        int32_t p = grain.start + grain.position;
        if (p >= end) {
            // Out of capture: back to the start of the pre-history. For this one
            // step the read is the capture's very first sample.
            grain.position = 0;
            grain.start = grain.base;
            latchGrain();
            grain.nextStart = followingStart(grain.base);
            p = grain.position;
        }
        float l = capL[p];
        float r = capR[p];
        if (grain.position >= grain.samples - grain.fade) {
            const int32_t remaining = grain.samples - grain.position;
            const float x = float(grain.fade - remaining) / float(grain.fade);
            int32_t q = grain.nextStart - remaining;
            // Only a pre-history shorter than the fade, or an amount outside 0..1 from
            // a raw parameter write, could reach outside the capture.
            if (q < 0)
                q = 0;
            else if (q >= end)
                q = end - 1;
            l = l * (1.0f - x) + capL[q] * x;
            r = r * (1.0f - x) + capR[q] * x;
        }
        wl[i] = l;
        wr[i] = r;
        if (++grain.position >= grain.samples) {
            grain.position = 0;
            grain.start = grain.nextStart;
            latchGrain();
            grain.nextStart = followingStart(grain.start);
        }
    }

    if (holdFrames < 1) {
        if (n > 0) {
            holdLeft = wl[n - 1];
            holdRight = wr[n - 1];
        }
    } else {
        for (int32_t i = 0; i < n && holdFrames > 0; ++i) {
            --holdFrames;
            const float x = float(holdFrames) / float(guardFrames);
            wl[i] = wl[i] * (1.0f - x) + holdLeft * x;
            wr[i] = wr[i] * (1.0f - x) + holdRight * x;
        }
    }

    if (scaleWet) {
        for (int32_t i = 0; i < n; ++i) {
            wetWalk.advance();
            wl[i] *= wetWalk.wet;
            wr[i] *= wetWalk.wet;
        }
    }
    for (int32_t i = 0; i < n; ++i) {
        left[i] += wl[i];
        right[i] += wr[i];
    }
}

void MFBeatStretcher::reset() {
    ringWrite = 0;
    captureWrite = 0;
    capturing = false;
    active = false;
    holdFrames = 0;
    holdLeft = holdRight = 0.0f;
    grain.start = 100000000;
    grain.position = 0;
    ramp = mfdsp::MFMixRamp{};
}

void MFBeatStretcher::updateBuffers(bool keepContents) {
    int32_t newCapture = int32_t(context.samplesPerBeat * 8.0f);
    const int32_t newPreroll = int32_t(context.rateRatio * prerollAt44k);
    // A rate change that keeps two bars the same length still moves the pre-history.
    if (newCapture == captureLength && newPreroll == prerollLength)
        return;
    status = statusResizing;
    prerollLength = newPreroll;
    const bool leftFits = captureLeft.requestSize(uint32_t(captureSamples()));
    const bool rightFits = captureRight.requestSize(uint32_t(captureSamples()));
    // Until the grower has made room for longer bars, the capture is what the room holds.
    if (!leftFits || !rightFits) {
        const uint32_t room = std::min(captureLeft.getCapacity(), captureRight.getCapacity());
        newCapture = std::min(newCapture, int32_t(room) - newPreroll);
    }
    captureLength = newCapture;
    ringLeft.setSize(uint32_t(ringSamples()));
    ringRight.setSize(uint32_t(ringSamples()));
    if (!keepContents) {
        captureLeft.clear();
        captureRight.clear();
        ringLeft.clear();
        ringRight.clear();
    }
    grain.span = captureLength;
    grain.base = prerollLength;
    if (ringWrite >= prerollLength)
        ringWrite = 0;
    if (captureWrite >= prerollLength + captureLength - 1)
        capturing = false;
    // The grain range depends on the pre-history length.
    setParameter(parameterGrainSize, parameters[parameterGrainSize]);
    status = captureLength == 0 ? statusUnusable : statusIdle;
}

void MFBeatStretcher::bpmChanged() {
    updateBuffers(true);
}

void MFBeatStretcher::getParameterDisplay(int32_t index, float value, char* text) {
    switch (index) {
    case parameterAmount:
    case parameterFade:
        if (value > 0.99999f)
            std::snprintf(text, 64, "100 %%");
        else
            std::snprintf(text, 64, "%3.2f %%", double(value * 100.0f));
        break;
    case parameterGrainSize:
        if (value > 0.99999f)
            std::snprintf(text, 64, "100 %%");
        else if (value < 0.00001f)
            std::snprintf(text, 64, "-100 %%");
        else
            std::snprintf(text, 64, "%3.2f %%", double(value * 200.0f - 100.0f));
        break;
    default:
        text[0] = '\0';
        break;
    }
}
