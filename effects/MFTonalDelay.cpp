#include "effects/MFTonalDelay.h"

#include "platform/MFDebugOutput.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {
constexpr int32_t blockSize = 64;
constexpr float blockSizeFloat = 64.0f;

// The closing soft clip: limited to +-2, where its curve tops out at +-1.
float softClip(float x) {
    x = std::clamp(x, -2.0f, 2.0f);
    return x * (1.0f - std::fabs(x) * 0.25f);
}

int32_t noteFromValue(float v) {
    return int32_t(v * 126.0f + 0.5f);
}
} // namespace

MFTonalDelay::MFTonalDelay(int32_t effectId, MFSystemInfo& ctx, const MFDivisionSet* d)
    : MFEffect(effectId, ctx, parameterTotal, d), lineLeft(&ctx.bufferRegistry),
      lineRight(&ctx.bufferRegistry) {
    setName("Delay");
    setParameterName(parameterNote, "Delay");
    setParameterName(parameterFeedback, "Feedback");
    setParameterName(parameterWidth, "Width");
    setParameterName(parameterCutoff, "Cutoff");
    setParameterName(parameterLevel, "Level");
    setParameterDefault(parameterLevel, 1.0f);
    // One guard sample past the line, as every interpolated buffer has.
    lineLeft.setSize(lineLength + 1);
    lineRight.setSize(lineLength + 1);
    reset();
    applyDefaults();
}

void MFTonalDelay::setParameter(int32_t index, float value) {
    switch (index) {
    case parameterNote: {
        parameters[index] = value;
        const int32_t note = std::clamp(noteFromValue(value), 0, MFSystemInfo::noteCount - 1);
        const int32_t samples = int32_t(context.sampleRate / context.noteFrequency[note]);
        delaySamples = samples;
        if (glide == 0) {
            float p = float(int32_t(writeIndex) - samples);
            while (p < 0.0f)
                p += float(lineLength);
            readPosition = p;
            readRate = 1.0f;
        } else {
            float dist = float(writeIndex) - readPosition;
            while (dist < 0.0f)
                dist += float(lineLength);
            readRate = (dist + blockSizeFloat) / float(samples + blockSize);
        }
        break;
    }
    case parameterFeedback:
        parameters[index] = value;
        feedback = value * 0.97f;
        break;
    case parameterWidth:
        parameters[index] = value;
        crossGain = value;
        straightGain = 1.0f - value;
        break;
    case parameterCutoff:
        parameters[index] = value;
        // The filters take it over in process(), on the audio thread.
        filterCoefficient = value * value * value * value;
        break;
    case parameterLevel:
        parameters[index] = value;
        dryTarget = value;
        break;
    default:
        mfDebugOutput("unknown parameter called in MFTonalDelay");
        break;
    }
}

void MFTonalDelay::setOption(int32_t index, int32_t value) {
    if (index == glideOption)
        glide = value;
}

int32_t MFTonalDelay::getOption(int32_t index) {
    return index == glideOption ? int32_t(glide) : 0;
}

void MFTonalDelay::setMix(float value) {
    mix = value;
    wetTarget = value;
}

void MFTonalDelay::reset() {
    wetRamp.current = 0.0f;
    wetRamp.step = 0.0f;
    dryRamp.current = 1.0f;
    dryRamp.step = 0.0f;
    feedback = 0.5f;
    filterLeft.clear(filterCoefficient);
    filterRight.clear(filterCoefficient);
    lineLeft.clear();
    lineRight.clear();
    readRate = 1.0f;
}

void MFTonalDelay::updateBuffers(bool keepContents) {
    status = statusResizing;
    if (!keepContents) {
        reset();
        // reset() returns the feedback to its starting value; the knob still says otherwise.
        setParameter(parameterFeedback, parameters[parameterFeedback]);
    }
    // The note's length follows the rate; the line itself does not.
    setParameter(parameterNote, parameters[parameterNote]);
    status = statusIdle;
}

void MFTonalDelay::restart() {
    // A silent delay keeps nothing worth hearing: it starts over as at its gate.
    if (wetRamp.current == 0.0f && wetRamp.step == 0.0f && dryRamp.current == 1.0f &&
        dryRamp.step == 0.0f) {
        gateOn();
        filterLeft.clear(filterCoefficient);
        filterRight.clear(filterCoefficient);
    }
}

int32_t MFTonalDelay::gateOn() {
    lineLeft.clear();
    lineRight.clear();
    writeIndex = delaySamples;
    readPosition = 0.0f;
    readRate = 1.0f;
    return 1;
}

float MFTonalDelay::getHeadDistance() const {
    float d = float(writeIndex) - readPosition;
    while (d < 0.0f)
        d += float(lineLength);
    while (d >= float(lineLength))
        d -= float(lineLength);
    return d;
}

void MFTonalDelay::controlTick() {
    wetRamp.tick(wetTarget, context.controlBlockRecip);
    dryRamp.tick(dryTarget, context.controlBlockRecip);
    int32_t d = int32_t(float(writeIndex) - readPosition);
    while (d < 0)
        d += lineLength;
    const int32_t target = delaySamples;
    if (d == target)
        return;
    const int32_t e = target - d;
    float rate = float(d + blockSize) / float(blockSize + target);
    // Squared on a long way out so the head catches up fast, then slowly near its goal.
    if (float(e) > blockSizeFloat)
        rate *= rate;
    readRate = rate;
}

void MFTonalDelay::process(float* left, float* right, int32_t count) {
    if (wetRamp.current == 0.0f && wetRamp.step == 0.0f && dryRamp.current == 1.0f &&
        dryRamp.step == 0.0f)
        return;
    mfdsp::sanitizeInput(left, right, count);
    float* const bufL = lineLeft.data();
    float* const bufR = lineRight.data();
    const float fb = feedback;
    const float straight = straightGain;
    const float cross = crossGain;
    const float rate = readRate;
    const float length = float(lineLength);
    float position = readPosition;
    int32_t write = writeIndex;
    filterLeft.frequency = filterCoefficient;
    filterRight.frequency = filterCoefficient;
    float wet = wetRamp.current;
    float dry = dryRamp.current;
    for (int32_t k = 0; k < count; ++k) {
        wet += wetRamp.step;
        dry += dryRamp.step;
        while (position >= length)
            position -= length;
        while (write >= lineLength)
            write -= lineLength;
        const int32_t i = int32_t(position);
        const float f = position - float(i);
        int32_t j = i + 1;
        if (j >= lineLength)
            j -= lineLength;
        const float a = bufL[i] * (1.0f - f) + bufL[j] * f;
        const float b = bufR[i] * (1.0f - f) + bufR[j] * f;
        const float inL = left[k];
        const float inR = right[k];
        // The wet gain sits inside the loop: a closing mix also shuts the ring.
        bufL[write] = wet * (inL + mfdsp::denormalGuard + fb * a);
        bufR[write] = wet * (inR + mfdsp::denormalGuard + fb * b);
        ++write;
        const float l = float(filterLeft.run(a)) * wet;
        const float r = float(filterRight.run(b)) * wet;
        const float outL = straight * l + cross * r + inL * dry;
        const float outR = r * straight + l * cross + inR * dry;
        // Clipped in proportion to the wet: a zone opening at a low mix must not bend the dry.
        const float amount = std::clamp(wet, 0.0f, 1.0f);
        left[k] = softClip(outL) * amount + outL * (1.0f - amount);
        right[k] = softClip(outR) * amount + outR * (1.0f - amount);
        position += rate;
    }
    readPosition = position;
    writeIndex = write;
    wetRamp.current = wet;
    dryRamp.current = dry;
}

void MFTonalDelay::getParameterDisplay(int32_t index, float value, char* text) {
    static const char* const names[12] = {"C%d",  "C#%d", "D%d",  "D#%d", "E%d",  "F%d",
                                          "F#%d", "G%d",  "G#%d", "A%d",  "A#%d", "B%d"};
    switch (index) {
    case parameterNote: {
        const int32_t x = noteFromValue(value);
        if (x < 0 || x > 127) {
            std::strcpy(text, "Err");
            return;
        }
        std::snprintf(text, 64, names[x % 12], (x - 24) / 12);
        break;
    }
    case parameterFeedback:
    case parameterWidth:
    case parameterCutoff:
        std::snprintf(text, 64, "%3.2f %%", double(value * 100.0f));
        break;
    default:
        text[0] = '\0';
        break;
    }
}

float MFTonalDelay::getParameterSteps(int32_t index) {
    return index == parameterNote ? 127.0f : 0.0f;
}
