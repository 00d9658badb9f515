#include "effects/MFPhaser.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

constexpr float pi = 3.14159265f;

// Runs a tone through the phaser and returns output rms over input rms, skipping the settling.
double toneGain(MFPhaser& phaser, EffectDriver& driver, double hz, float rate) {
    auto left = signal::sine(hz, rate, 16384, 0.5f);
    auto right = left;
    const auto input = left;
    driver.run(left, right);
    const std::size_t skip = 8192;
    (void)phaser;
    return signal::rms(left.data() + skip, left.size() - skip) /
           signal::rms(input.data() + skip, input.size() - skip);
}

} // namespace

// Two first-order all-passes give -180 degrees where tan(w/2) = c, c being the sweep's
// coefficient; mixed 0.75 dry with 0.75 all-pass that is a deep notch. Frozen at phase 0,
// the sweep sits halfway between the coefficients of 440 and 1600 Hz.
TEST(MFPhaser, FrozenSweepCutsANotchWhereTheAllPassesInvert) {
    const float rate = 44100.0f;
    TestContext ctx(rate);
    MFPhaser phaser(160, ctx.info);
    phaser.setParameter(0, 0.0f); // "Off" row: the sweep stands still
    phaser.setParameter(1, 0.0f);
    phaser.setParameter(2, 0.75f);
    phaser.setParameter(3, 1.0f / 6.0f); // two stages
    phaser.setParameter(4, 0.0f);
    ASSERT_EQ(phaser.getStages(), 2);
    EffectDriver driver(phaser, -1);
    driver.setMix(1.0f);

    const double c = (440.0 + 1600.0) / 2.0 / (rate * 0.5);
    const double notch = rate / pi * std::atan(c);
    EXPECT_NEAR(phaser.getPhase(), 0.0f, 1e-6f);

    // At the notch the two paths cancel to within a few percent; an octave and more
    // away, most of the 1.5 combined gain remains.
    EXPECT_LT(toneGain(phaser, driver, notch, rate), 0.05);
    EXPECT_GT(toneGain(phaser, driver, notch / 4.0, rate), 0.9);
    EXPECT_GT(toneGain(phaser, driver, notch * 4.0, rate), 0.9);
    EXPECT_NEAR(phaser.getPhase(), 0.0f, 1e-6f);
}

// The swept coefficients must cover the 440..1600 Hz range and never leave it, on both
// sides, at any width.
TEST(MFPhaser, SweepStaysBetweenTheBoundsAndReachesBoth) {
    for (float rate : {22050.0f, 48000.0f, 176000.0f}) {
        TestContext ctx(rate);
        MFPhaser phaser(160, ctx.info);
        phaser.setOption(0, 0);
        phaser.setParameter(0, 0.99f); // fast free sweep
        phaser.setParameter(4, 0.7f);
        phaser.setMix(1.0f);
        auto coefficient = [](float f) { return (1.0f - f) / (1.0f + f); };
        const float lowA = phaser.getLowCoefficient(), highA = phaser.getHighCoefficient();
        EXPECT_NEAR(lowA, 440.0f / (rate * 0.5f), 1e-7f);
        EXPECT_NEAR(highA, 1600.0f / (rate * 0.5f), 1e-7f);
        const float top = coefficient(lowA), bottom = coefficient(highA);
        float seenMin = 10.0f, seenMax = -10.0f;
        for (int t = 0; t < 20000; ++t) {
            phaser.controlTick();
            for (float v : {phaser.getCoefficientLeft(0), phaser.getCoefficientRight(0)}) {
                ASSERT_GE(v, bottom - 1e-4f);
                ASSERT_LE(v, top + 1e-4f);
                seenMin = std::min(seenMin, v);
                seenMax = std::max(seenMax, v);
            }
        }
        // The parabola sine comes within a fraction of a percent of its extremes.
        EXPECT_LT(seenMin - bottom, 0.01f * (top - bottom));
        EXPECT_GT(seenMax - top, -0.01f * (top - bottom));
    }
}

TEST(MFPhaser, StageChangeClearsStateAndUnusedStageStaysIdle) {
    TestContext ctx;
    MFPhaser phaser(160, ctx.info);
    phaser.setParameter(3, 1.0f);
    EXPECT_EQ(phaser.getStages(), 7);
    EffectDriver driver(phaser, -1);
    auto left = signal::noise(4096, 3), right = signal::noise(4096, 4);
    driver.run(left, right);
    EXPECT_NE(phaser.getStateLeft(0), 0.0f);
    EXPECT_EQ(phaser.getStateLeft(7), 0.0f); // the eighth stage is never used
    EXPECT_EQ(phaser.getCoefficientLeft(7), 0.0f);

    phaser.setParameter(3, 0.99f); // still seven stages: no clear
    EXPECT_NE(phaser.getStateLeft(0), 0.0f);
    phaser.setParameter(3, 0.5f);
    EXPECT_EQ(phaser.getStages(), 4);
    // The audio thread clears the stages at its next call, never the caller's thread.
    EXPECT_NE(phaser.getStateLeft(0), 0.0f);
    phaser.process(left.data(), right.data(), 0);
    for (int k = 0; k < MFPhaser::maxStages; ++k)
        EXPECT_EQ(phaser.getStateLeft(k), 0.0f);
}

// Synced at "bar", one full sweep lasts one bar: the phase moves 2 pi * 64 / (samples
// in a bar) per tick, and follows a tempo change.
TEST(MFPhaser, SyncedRateFollowsTempo) {
    TestContext ctx(44100.0f, 120.0);
    MFPhaser phaser(160, ctx.info);
    const float barRow = 5.0f / 15.0f;
    phaser.setParameter(0, barRow);
    char text[64];
    phaser.getParameterDisplay(0, barRow, text);
    EXPECT_STREQ(text, "bar");
    EXPECT_NEAR(phaser.getPhaseStep(), 2.0f * pi * 64.0f / 88200.0f, 1e-6f);
    ctx.changeTempo(60.0);
    EXPECT_NEAR(phaser.getPhaseStep(), 2.0f * pi * 64.0f / 176400.0f, 1e-6f);
    ctx.changeTempo(499.0);
    EXPECT_NEAR(phaser.getPhaseStep(), 2.0f * pi * 64.0f / (4.0f * 44100.0f * 60.0f / 499.0f),
                1e-5f);
}
