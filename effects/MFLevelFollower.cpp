#include "effects/MFLevelFollower.h"

namespace {
float clampUnit(float x) {
    if (!(x > 0.0f))
        return 0.0f;
    return x < 1.0f ? x : 1.0f;
}
} // namespace

MFLevelFollower::MFLevelFollower() {
    setRise(0.0f, 44100.0f);
    setFall(0.0f, 22050.0f, 44.1f);
}

void MFLevelFollower::setRise(float v, float sampleRate) {
    if (!(sampleRate > 0.0f))
        return;
    const float u = clampUnit(v);
    const float x = (1.0f - u * u) * 12.0f + 4.0f;
    // The top of the knob's travel lands on the last entry, not beyond it.
    int32_t i = int32_t(x);
    i = i > riseCount - 2 ? riseCount - 2 : i;
    float f = riseFrequencies[i] + (x - float(i)) * (riseFrequencies[i + 1] - riseFrequencies[i]);
    if (!(f > 0.0f))
        f = 0.0f;
    if (f > sampleRate)
        f = sampleRate;
    const float w = f * 3.14159f / sampleRate;
    const float w3 = w * w * w;
    const float t = w + w3 * 0.333333f + w3 * w * w * 1.333333f;
    riseFrequency = f;
    coefficientA = 1.0f / (t + 1.0f);
    coefficientB = t - 1.0f;
    coefficientC = t;
}

void MFLevelFollower::setFall(float v, float samplesPerBeat, float samplesPerMs) {
    if (!(samplesPerBeat > 0.0f) || !(samplesPerMs > 0.0f))
        return;
    int32_t index = int32_t((1.0f - clampUnit(v)) * 26.0f + 0.5f);
    index = index > fallCount - 1 ? fallCount - 1 : index;
    const float d = fallBeats[index] * samplesPerBeat;
    fallSamples = d;
    peakFallScale = float(1.0 / (double(d) * (1.0 / samplesPerMs) * samplesPerMs + 1e-09));
}

void MFLevelFollower::reset() {
    peak = 0.0f;
    peakFall = 0.0f;
    y1 = 0.0f;
    output = 0.0f;
}

float MFLevelFollower::valueAtTick() const {
    return clampUnit(output);
}
