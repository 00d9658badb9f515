#pragma once

#include "platform/MFRelaxed.h"

#include <cstdint>

// Follows the input's level for the Filter lane: a peak that falls linearly to 0
// over a note length, smoothed by a one-pole low-pass whose corner sets the rise.
// Fed once per sample, read once per tick.
class MFLevelFollower {
public:
    static constexpr int32_t riseCount = 17;
    // Corner frequencies of the smoothing, in hertz.
    static constexpr float riseFrequencies[riseCount] = {0.2f,  0.3f,  0.4f,  0.5f,   0.6f,  0.7f,
                                                         0.8f,  0.9f,  1.0f,  2.0f,   4.0f,  8.0f,
                                                         16.0f, 32.0f, 64.0f, 128.0f, 256.0f};
    static constexpr int32_t fallCount = 27;
    // How long a peak takes to fall to 0, in beats.
    static constexpr float fallBeats[fallCount] = {
        4.0f,      3.0f,      2.0f,      1.5f,      1.0f,      0.75f,     0.666666f,
        0.5f,      0.375f,    0.333333f, 0.25f,     0.1875f,   0.166667f, 0.125f,
        0.09375f,  0.083333f, 0.0625f,   0.046875f, 0.041667f, 0.03125f,  0.023438f,
        0.020833f, 0.015625f, 0.011719f, 0.010417f, 0.007813f, 0.005208f};
    // Added to the filter's input: its decaying state settles near 1e-14 instead of
    // sinking into the denormal range, and the output moves by 1e-18.
    static constexpr float denormalOffset = 1e-18f;
    // Samples beyond this are not music; holding them back keeps the state finite.
    static constexpr float inputCeiling = 64.0f;

    MFLevelFollower();

    // x: the larger of the two input samples, signed.
    void feed(float x) {
        float p = peak - peakFall;
        if (!(p > 0.0f))
            p = 0.0f;
        if (x > p) {
            p = x < inputCeiling ? x : inputCeiling;
            peakFall = p * float(peakFallScale);
        }
        peak = p;
        const float y = (p + denormalOffset - float(coefficientB) * y1) * float(coefficientA);
        output = (y + y1) * float(coefficientC);
        y1 = y;
    }
    // The smoothed level, clamped to 0..1.
    // The same as feed on each frame's larger channel, with the coefficients read once:
    // the state stays in registers across a whole run between ticks.
    void feedRun(const float* left, const float* right, int32_t count) {
        const float a = coefficientA, b = coefficientB, c = coefficientC;
        const float fallScale = peakFallScale;
        float p = peak, fall = peakFall, previous = y1, out = output;
        for (int32_t k = 0; k < count; ++k) {
            const float x = left[k] > right[k] ? left[k] : right[k];
            p -= fall;
            if (!(p > 0.0f))
                p = 0.0f;
            if (x > p) {
                p = x < inputCeiling ? x : inputCeiling;
                fall = p * fallScale;
            }
            const float y = (p + denormalOffset - b * previous) * a;
            out = (y + previous) * c;
            previous = y;
        }
        peak = p;
        peakFall = fall;
        y1 = previous;
        output = out;
    }
    float valueAtTick() const;

    // The rise knob: the corner of the smoothing.
    void setRise(float v, float sampleRate);
    // The fall knob: the note length over which a peak falls to 0.
    void setFall(float v, float samplesPerBeat, float samplesPerMs);
    void reset();

    // The same two knobs set the times of the lane's second envelope.
    static float envelopeAttackMs(float v) { return v * 500.0f * v; }
    static float envelopeDecayMs(float v) { return v * 1000.0f * v; }

    float getPeak() const { return peak; }
    float getOutput() const { return output; }
    float getRiseFrequency() const { return riseFrequency; }
    float getCoefficientA() const { return coefficientA; }
    float getCoefficientB() const { return coefficientB; }
    float getCoefficientC() const { return coefficientC; }
    float getFallSamples() const { return fallSamples; }
    float getPeakFallScale() const { return peakFallScale; }

private:
    // Written by the parameter thread; any mix of old and new values stays stable.
    MFRelaxed<float> coefficientA = 1.0f;
    MFRelaxed<float> coefficientB = -1.0f;
    MFRelaxed<float> coefficientC = 0.0f;
    MFRelaxed<float> peakFallScale = 0.0f;
    MFRelaxed<float> riseFrequency = 0.0f;
    MFRelaxed<float> fallSamples = 0.0f;

    float peak = 0.0f;
    float peakFall = 0.0f;
    float y1 = 0.0f;
    float output = 0.0f;
};
