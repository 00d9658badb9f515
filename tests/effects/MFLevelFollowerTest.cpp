#include "effects/MFLevelFollower.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {
constexpr float sampleRate = 48000.0f;
// 120 bpm at 48 kHz.
constexpr float samplesPerBeat = 24000.0f;
constexpr float samplesPerMs = 48.0f;

// The smoothing's coefficients for a corner frequency, written out from the
// bilinear one-pole with t ~ tan(pi f / rate) by its series.
struct Expected {
    double a, b, c;
};
Expected coefficientsFor(double f) {
    const double w = f * 3.14159 / sampleRate;
    const double t = w + std::pow(w, 3) * 0.333333 + std::pow(w, 5) * 1.333333;
    return {1.0 / (t + 1.0), t - 1.0, t};
}
} // namespace

TEST(MFLevelFollower, RiseKnobPicksAndInterpolatesTheCornerFrequency) {
    MFLevelFollower f;
    // v = 0: x = 16, the last entry; v = 1: x = 4; v = 0.5: x = 13 exactly;
    // v = 0.7: x = 10.12, 12% of the way from 4 Hz to 8 Hz.
    const struct {
        float v;
        double hz;
    } cases[] = {{0.0f, 256.0}, {1.0f, 0.6}, {0.5f, 32.0}, {0.7f, 4.48}};
    for (const auto& c : cases) {
        f.setRise(c.v, sampleRate);
        EXPECT_NEAR(f.getRiseFrequency(), c.hz, c.hz * 1e-5) << "v = " << c.v;
        const Expected e = coefficientsFor(c.hz);
        EXPECT_NEAR(f.getCoefficientA(), e.a, 1e-6) << "v = " << c.v;
        EXPECT_NEAR(f.getCoefficientB(), e.b, 1e-6) << "v = " << c.v;
        EXPECT_NEAR(f.getCoefficientC(), e.c, e.c * 1e-4) << "v = " << c.v;
    }
}

TEST(MFLevelFollower, FallKnobPicksTheNoteLength) {
    MFLevelFollower f;
    // Index = truncate((1 - v) * 26 + 0.5): v 1 -> 4 beats, 0.5 -> 1/8 beat, 0 -> 0.005208.
    f.setFall(1.0f, samplesPerBeat, samplesPerMs);
    EXPECT_FLOAT_EQ(f.getFallSamples(), 96000.0f);
    f.setFall(0.5f, samplesPerBeat, samplesPerMs);
    EXPECT_FLOAT_EQ(f.getFallSamples(), 3000.0f);
    EXPECT_NEAR(f.getPeakFallScale(), 1.0 / 3000.0, 1e-9);
    f.setFall(0.0f, samplesPerBeat, samplesPerMs);
    EXPECT_NEAR(f.getFallSamples(), 0.005208f * 24000.0f, 0.01f);
}

TEST(MFLevelFollower, PeakFallsToZeroOverTheNoteLength) {
    MFLevelFollower f;
    f.setRise(0.0f, sampleRate);
    f.setFall(0.5f, samplesPerBeat, samplesPerMs); // 3000 samples
    f.feed(0.8f);
    EXPECT_EQ(f.getPeak(), 0.8f);
    for (int n = 1; n <= 1500; ++n)
        f.feed(0.0f);
    // Linear fall: half the length leaves half the peak (float steps summed 1500 times).
    EXPECT_NEAR(f.getPeak(), 0.4f, 1e-4f);
    for (int n = 1501; n <= 2990; ++n)
        f.feed(-0.5f);
    EXPECT_GT(f.getPeak(), 0.0f) << "negative samples are not a level";
    for (int n = 2991; n <= 3010; ++n)
        f.feed(0.0f);
    EXPECT_EQ(f.getPeak(), 0.0f);
    // A louder sample takes over at once, a quieter one does not.
    f.feed(0.3f);
    f.feed(0.1f);
    EXPECT_NEAR(f.getPeak(), 0.3f * (1.0f - 1.0f / 3000.0f), 1e-6f);
}

TEST(MFLevelFollower, SmoothingRisesWithTheCornersTimeConstant) {
    MFLevelFollower f;
    f.setRise(0.0f, sampleRate); // 256 Hz
    f.setFall(1.0f, samplesPerBeat, samplesPerMs);
    // A held level of 0.5 read through a one-pole at 256 Hz: 1 - 1/e of the way
    // after one time constant, rate / (2 pi f) = 29.84 samples. 2% allows for the
    // bilinear form's warping and the half-sample delay of its zero.
    const int tau = int(sampleRate / (2.0f * 3.14159265f * 256.0f) + 0.5f);
    for (int n = 0; n < tau; ++n)
        f.feed(0.5f);
    EXPECT_NEAR(f.getOutput(), 0.5f * (1.0f - std::exp(-1.0f)), 0.5f * 0.02f);
    for (int n = 0; n < 2000; ++n)
        f.feed(0.5f);
    EXPECT_NEAR(f.valueAtTick(), 0.5f, 1e-4f) << "unity gain at DC";
}

TEST(MFLevelFollower, LongSilenceStaysOutOfDenormalsAndGarbageIsContained) {
    MFLevelFollower f;
    f.setRise(1.0f, 176000.0f); // slowest pole, the longest tail
    f.setFall(0.0f, 22050.0f, 44.1f);
    f.feed(1.0f);
    // The pole at 0.6 Hz decays by e every 0.27 s: 30 s of silence would take an
    // unguarded tail some 110 e-folds down, far into the denormal range below 1e-38.
    for (int n = 0; n < 176000 * 30; ++n) {
        f.feed(0.0f);
        if (std::fpclassify(f.getOutput()) == FP_SUBNORMAL) {
            ADD_FAILURE() << "denormal output at sample " << n;
            break;
        }
    }
    EXPECT_LT(f.valueAtTick(), 1e-6f);
    f.feed(std::nanf(""));
    f.feed(INFINITY);
    for (int n = 0; n < 100000; ++n)
        f.feed(0.0f);
    EXPECT_TRUE(std::isfinite(f.getOutput()));
    const float v = f.valueAtTick();
    EXPECT_TRUE(v >= 0.0f && v <= 1.0f);
}

TEST(MFLevelFollower, EnvelopeTimesOfTheSameKnobs) {
    EXPECT_FLOAT_EQ(MFLevelFollower::envelopeAttackMs(0.5f), 125.0f);
    EXPECT_FLOAT_EQ(MFLevelFollower::envelopeDecayMs(0.5f), 250.0f);
    EXPECT_FLOAT_EQ(MFLevelFollower::envelopeAttackMs(1.0f), 500.0f);
    EXPECT_FLOAT_EQ(MFLevelFollower::envelopeDecayMs(1.0f), 1000.0f);
}
