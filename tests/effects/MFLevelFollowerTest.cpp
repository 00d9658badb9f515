#include "effects/MFLevelFollower.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {
constexpr float sampleRate = 48000.0f;
constexpr float samplesPerBeat = 24000.0f; // 120 bpm
constexpr float samplesPerMs = 48.0f;
} // namespace

TEST(MFLevelFollower, RiseKnobSetsTheCorner) {
    MFLevelFollower f;
    // x = (1 - v^2) * 12 + 4 into the table: v = 0 -> x 16, the last entry; v = 1 ->
    // x 4; v = 0.5 -> x 13; v = 0.7 -> x 10.12, 12% of the way from 4 Hz to 8 Hz.
    // What the corner does to the signal is measured below.
    const struct {
        float v;
        double hz;
    } cases[] = {{0.0f, 256.0}, {1.0f, 0.6}, {0.5f, 32.0}, {0.7f, 4.48}};
    for (const auto& c : cases) {
        f.setRise(c.v, sampleRate);
        EXPECT_NEAR(f.getRiseFrequency(), c.hz, c.hz * 1e-5) << "v = " << c.v;
    }
}

TEST(MFLevelFollower, PeakFallsToZeroOverTheNoteLength) {
    MFLevelFollower f;
    // Index = truncate((1 - v) * 26 + 0.5): v 1 -> 4 beats, 0.5 -> 1/8 beat.
    f.setFall(1.0f, samplesPerBeat, samplesPerMs);
    EXPECT_FLOAT_EQ(f.getFallSamples(), 96000.0f);
    f.setFall(0.5f, samplesPerBeat, samplesPerMs); // 3000 samples
    EXPECT_FLOAT_EQ(f.getFallSamples(), 3000.0f);
    f.feed(0.8f);
    for (int n = 1; n <= 1500; ++n)
        f.feed(0.0f);
    // Linear: half the length leaves half the peak (1500 float subtractions).
    EXPECT_NEAR(f.getPeak(), 0.4f, 1e-4f);
    for (int n = 1501; n <= 2990; ++n)
        f.feed(-0.5f);
    EXPECT_GT(f.getPeak(), 0.0f) << "negative samples are no level";
    for (int n = 2991; n <= 3010; ++n)
        f.feed(0.0f);
    EXPECT_EQ(f.getPeak(), 0.0f);
}

TEST(MFLevelFollower, SmoothingFollowsWithTheCornersTimeConstant) {
    MFLevelFollower f;
    f.setRise(0.0f, sampleRate); // 256 Hz
    f.setFall(1.0f, samplesPerBeat, samplesPerMs);
    // A held 0.5 through a one-pole at 256 Hz: 1 - 1/e of the way after one time
    // constant, rate / (2 pi f) = 29.84 samples. 2% allows for the bilinear form's
    // warping and the half-sample delay of its zero.
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
    f.setRise(1.0f, 176000.0f); // the slowest pole, the longest tail
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
