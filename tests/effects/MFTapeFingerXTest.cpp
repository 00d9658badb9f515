#include "effects/MFTapeFingerX.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

constexpr int32_t gate = MFTapeFingerX::gateIndex;
// "1\4" under the plain rule: one beat, 22050 samples at 120 bpm and 44.1 kHz.
constexpr float quarterRow = 4.0f / 15.0f;
constexpr double quarterTicks = 22050.0 / 64.0; // 344.53 ticks

TEST(TapeFinger, StandsStillAfterTheDivisionsTimeAndStaysStopped) {
    TestContext c;
    MFTapeFingerX fx(180, c.info);
    EffectDriver d(fx, gate);
    fx.setParameter(MFTapeFingerX::timeIndex, quarterRow);
    EXPECT_NEAR(fx.getTimeMs(), 500.0f, 1e-3f);
    EXPECT_NEAR(fx.getTotalTicks(), float(quarterTicks), 1e-3f);

    std::vector<float> l(64, 0.5f), r(64, 0.5f);
    d.setGate(1.0f);
    int64_t stopTick = -1;
    for (int t = 0; t < 400 && stopTick < 0; ++t) {
        std::fill(l.begin(), l.end(), 0.5f);
        d.run(l, r);
        if (fx.isStopped())
            stopTick = t;
    }
    // The tick counter starts with the gate's own tick: stopped once it reaches ceil(344.53).
    EXPECT_EQ(stopTick, int64_t(std::ceil(quarterTicks)) - 1);

    // Stopped at full mix without pass-through: silence, for as long as the gate stays.
    for (int t = 0; t < 200; ++t) {
        std::fill(l.begin(), l.end(), 0.5f);
        std::fill(r.begin(), r.end(), 0.5f);
        d.run(l, r);
        ASSERT_EQ(signal::peak(l.data(), 64), 0.0f);
        ASSERT_TRUE(fx.isStopped());
    }
    // With pass-through the input is left as it is.
    fx.setOption(0, 1);
    std::fill(l.begin(), l.end(), 0.5f);
    d.run(l, r);
    EXPECT_EQ(l[10], 0.5f);
    // The next zone starts the tape again.
    fx.setOption(0, 0);
    d.setGate(2.0f);
    for (int t = 0; t < 20; ++t) {
        std::fill(l.begin(), l.end(), 0.5f);
        d.run(l, r);
    }
    EXPECT_FALSE(fx.isStopped());
    EXPECT_GT(l[63], 0.4f);
}

TEST(TapeFinger, PitchFollowsTheSpeedCurve) {
    TestContext c;
    MFTapeFingerX fx(180, c.info);
    EffectDriver d(fx, gate);
    fx.setParameter(MFTapeFingerX::timeIndex, 0.0f);  // "bar", 2 s
    fx.setParameter(MFTapeFingerX::slopeIndex, 0.5f); // exponent 0.9996, nearly linear
    ASSERT_NEAR(fx.getExponent(), 0.318f * 2.2f + 0.3f, 1e-6f);
    auto l = signal::sine(2000.0, 44100.0, 88200, 0.5f);
    auto r = l;
    d.setGate(1.0f);
    d.run(l, r);
    // Halfway the tape runs near half speed: 2 kHz reads as about 1 kHz. A window of
    // 2048 samples sweeps about 23 Hz, so 40 Hz of tolerance.
    const double mid =
        signal::dominantFrequency(l.data() + 44100 - 1024, 2048, 44100.0, 200.0, 3000.0, 2.0);
    EXPECT_NEAR(mid, 2000.0 * (1.0 - std::pow(0.5, 0.9996)), 40.0);
    const double early =
        signal::dominantFrequency(l.data() + 8820 - 1024, 2048, 44100.0, 200.0, 3000.0, 2.0);
    EXPECT_NEAR(early, 2000.0 * 0.9, 40.0);
}

TEST(TapeFinger, LevelFallsOnlyInTheLastThird) {
    TestContext c;
    MFTapeFingerX fx(180, c.info);
    EffectDriver d(fx, gate);
    fx.setParameter(MFTapeFingerX::timeIndex, 0.0f);
    fx.setParameter(MFTapeFingerX::slopeIndex, 1.0f); // exponent 2.5: slow start
    std::vector<float> l(64), r(64);
    d.setGate(1.0f);
    bool sawFall = false;
    for (int t = 0; t < 1400; ++t) {
        std::fill(l.begin(), l.end(), 0.5f);
        std::fill(r.begin(), r.end(), 0.5f);
        d.run(l, r);
        if (fx.isStopped())
            break;
        const float curve = fx.getCurve();
        if (curve < 2.0f / 3.0f - 1e-4f) {
            ASSERT_EQ(fx.getEnvelope(), 1.0f) << t;
            // The tone filter passes DC at unity; after its settling the level is the input's.
            if (t > 20) {
                ASSERT_NEAR(l[63], 0.5f, 0.02f) << t;
            }
        } else if (curve > 0.7f) {
            // The level follows 3 * (1 - curve), a block behind.
            ASSERT_LT(fx.getEnvelope(), 1.0f);
            ASSERT_LT(l[63], 0.5f * 3.0f * (1.0f - 0.68f));
            sawFall = true;
        }
    }
    EXPECT_TRUE(sawFall);
}

TEST(TapeFinger, RestartWhileRunningCrossfadesFromTheLeftHoldInBothChannels) {
    TestContext c;
    MFTapeFingerX fx(180, c.info);
    EffectDriver d(fx, gate);
    fx.setParameter(MFTapeFingerX::timeIndex, 0.0f);
    std::vector<float> l(64 * 100, 0.5f), r(64 * 100, -0.5f);
    d.setGate(1.0f);
    d.run(l, r);
    ASSERT_NEAR(r.back(), -0.5f, 0.02f);
    d.setGate(2.0f);
    std::vector<float> l2(512, 0.5f), r2(512, -0.5f);
    d.run(l2, r2);
    // The right channel starts from the left's last output, +0.5, not from its own -0.5.
    EXPECT_GT(r2[0], 0.45f);
    // 256 samples later the fade is over and each channel is itself again.
    EXPECT_NEAR(r2[400], -0.5f, 0.05f);
    EXPECT_NEAR(l2[400], 0.5f, 0.05f);
    // A first gate (after a gate off) starts without any hold.
    d.setGate(0.0f);
    d.run(l2, r2);
    EXPECT_FALSE(fx.isStarted());
}

// The time knob runs opposite to its display: at 0 it shows "1\\128T" while the sound
// takes "bar". The slope has a kink at the centre; the one option is a switch.
TEST(TapeFinger, TimeRunsOppositeToTheDisplayAndTheSlopeHasAKink) {
    TestContext c;
    MFTapeFingerX fx(180, c.info);
    fx.setParameter(0, 0.0f);
    EXPECT_NEAR(fx.getTimeMs(), 2000.0f, 1e-2f);
    EXPECT_EQ(fx.getOption(0), 0);
    fx.setOption(0, 5);
    EXPECT_EQ(fx.getOption(0), 1);
    EXPECT_EQ(fx.getOption(1), -1);
    EXPECT_EQ(fx.getTapeLength(), uint32_t(int32_t(44100.0f / 0.75f) * 16 + 1));
    // The slope mapping has a kink at the centre.
    fx.setParameter(1, 0.0f);
    EXPECT_FLOAT_EQ(fx.getExponent(), 0.3f);
    fx.setParameter(1, 1.0f);
    EXPECT_NEAR(fx.getExponent(), 2.5f, 1e-6f);
    EXPECT_FALSE(fx.isStarted()) << "the gate's default is never applied";
}

} // namespace
