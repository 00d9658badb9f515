#include "effects/MFStutter.h"
#include "effects/MFStereoPanAmp.h"
#include "pattern/MFTableXY.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace {
// 120 bpm at 48 kHz: 24000 samples per beat.
struct StutterRig {
    TestContext context{48000.0f, 120.0};
    MFTableXY pan{context.info, 8};
    MFTableXY level{context.info, 8};
    MFStereoPanAmp amp{183, context.info};
    MFStutter stutter{context.info};

    StutterRig() {
        for (int step = 0; step < 8; ++step) {
            setStep(step, 0.5f, 1.0f);
        }
        stutter.setTempo(0.66667f); // 8 steps per beat
        stutter.setAttack(0.0f);
        stutter.setDecay(1.0f);
    }
    void setStep(int step, float panValue, float levelValue) {
        pan.setRawOnRow(step, 0, panValue);
        level.setRawOnRow(step, 0, levelValue);
    }
    // The lane's envelope level stands at 1 while a zone plays.
    void tick(float gate, float mix, float laneLevel = 1.0f, bool freeze = false) {
        stutter.tick(gate, mix, laneLevel, pan, level, freeze, amp);
    }
};

constexpr float unity = MFStutter::unityQuarter;
} // namespace

TEST(MFStutter, TempoKnobSetsStepLength) {
    StutterRig rig;
    EXPECT_EQ(rig.stutter.getRate(), 8.0f);
    EXPECT_FLOAT_EQ(rig.stutter.getStepSamples(), 3000.0f);
    EXPECT_FLOAT_EQ(rig.stutter.getStepsPerSecond(), 16.0f);
    EXPECT_FLOAT_EQ(rig.stutter.getStepsPerTick(), 64.0f / 3000.0f);
    // The knob's ends reach 2 and 16 steps per beat; 1 is out of reach.
    rig.stutter.setTempo(0.0f);
    EXPECT_EQ(rig.stutter.getRate(), 2.0f);
    rig.stutter.setTempo(1.0f);
    EXPECT_EQ(rig.stutter.getRate(), 16.0f);
    // The driver sends the knob again after a tempo change.
    rig.context.changeTempo(90.0);
    rig.stutter.setTempo(0.66667f);
    EXPECT_FLOAT_EQ(rig.stutter.getStepSamples(), 32000.0f / 8.0f);
}

// A new step every 3000 samples = 46.875 ticks, counted from the gate's first tick
// (step 0): step k begins at the first tick n with n * 64 >= k * 3000.
TEST(MFStutter, StepsAdvanceAtTheRateOfTheTempo) {
    StutterRig rig;
    std::vector<int> firstTickOfStep(8, -1);
    for (int n = 0; n < 8 * 47; ++n) {
        rig.tick(1.0f, 1.0f);
        const int step = rig.stutter.getStepIndex();
        if (firstTickOfStep[step] < 0)
            firstTickOfStep[step] = n;
    }
    for (int k = 0; k < 8; ++k) {
        const int expected = (k * 3000 + 63) / 64;
        EXPECT_EQ(firstTickOfStep[k], expected) << "step " << k;
    }
}

TEST(MFStutter, NoMixPassesTheSignalUntouched) {
    StutterRig rig;
    rig.setStep(0, 1.0f, 0.0f); // a step that would silence at full mix
    for (int n = 0; n < 200; ++n) {
        rig.tick(n < 100 ? 1.0f : 2.0f, 0.0f);
        ASSERT_EQ(rig.stutter.getLeftGain(), unity);
        ASSERT_EQ(rig.stutter.getRightGain(), unity);
    }
    EXPECT_EQ(rig.amp.getLeftGain(), 1.0f);
    EXPECT_EQ(rig.amp.getRightGain(), 1.0f);
    std::vector<float> l = signal::noise(256, 3), r = signal::noise(256, 4);
    const std::vector<float> l0 = l, r0 = r;
    rig.amp.process(l.data(), r.data(), 256);
    EXPECT_EQ(l, l0) << "exactly unity: the samples are bit-identical";
    EXPECT_EQ(r, r0);
}

TEST(MFStutter, PanSpreadsBetweenTheChannels) {
    StutterRig rig;
    rig.setStep(0, 0.5f, 1.0f);
    rig.tick(1.0f, 1.0f);
    // Centre: both channels at full level, so unity gain on both.
    EXPECT_EQ(rig.stutter.getLeftGain(), unity);
    EXPECT_EQ(rig.stutter.getRightGain(), unity);

    StutterRig right;
    right.setStep(0, 1.0f, 1.0f);
    right.tick(1.0f, 1.0f);
    EXPECT_EQ(right.stutter.getLeftGain(), unity);
    EXPECT_EQ(right.stutter.getRightGain(), 0.0f);

    StutterRig left;
    left.setStep(0, 0.0f, 1.0f);
    left.tick(1.0f, 1.0f);
    EXPECT_EQ(left.stutter.getLeftGain(), 0.0f);
    EXPECT_EQ(left.stutter.getRightGain(), unity);

    // Three quarters to the right: the right side falls to half, the left stays full.
    StutterRig part;
    part.setStep(0, 0.75f, 1.0f);
    part.tick(1.0f, 1.0f);
    EXPECT_EQ(part.stutter.getLeftGain(), unity);
    EXPECT_FLOAT_EQ(part.stutter.getRightGain(), 0.5f * unity);
}

TEST(MFStutter, MixBlendsBetweenUnityAndTheStep) {
    StutterRig rig;
    rig.setStep(0, 0.5f, 0.0f);
    rig.tick(1.0f, 0.25f);
    // A quarter of the way from unity to silence.
    EXPECT_FLOAT_EQ(rig.stutter.getLeftGain(), 0.75f * unity);
    rig.tick(1.0f, 1.0f);
    EXPECT_EQ(rig.stutter.getLeftGain(), 0.0f) << "a step of level 0 silences at full mix";
    EXPECT_EQ(rig.stutter.getRightGain(), 0.0f);
}

TEST(MFStutter, ZeroAttackReachesFullLevelAtTheTriggerTick) {
    StutterRig rig;
    rig.tick(1.0f, 1.0f);
    EXPECT_EQ(rig.stutter.getEnvelope().level(), 1.0f);
    EXPECT_EQ(rig.stutter.getLeftGain(), unity);
}

TEST(MFStutter, ShortDecayStandsAtZeroUntilTheNextStep) {
    StutterRig rig;
    rig.stutter.setDecay(0.0f); // 24 ms = 18 ticks, shorter than a 46.875-tick step
    rig.tick(1.0f, 1.0f);
    for (int n = 1; n < 47; ++n) {
        rig.tick(1.0f, 1.0f);
        // The context's ticks per millisecond, 750 * 0.001f, lies a hair above 0.75, so
        // tick 18 may still hold a level of one float step; from 19 on it is silence.
        if (n >= 18) {
            ASSERT_LE(rig.stutter.getLeftGain(), 1e-6f) << "tick " << n;
        }
        if (n >= 19) {
            ASSERT_EQ(rig.stutter.getLeftGain(), 0.0f) << "tick " << n;
        }
    }
    // Tick 47 is the first of step 1: struck again.
    rig.tick(1.0f, 1.0f);
    EXPECT_EQ(rig.stutter.getStepIndex(), 1);
    EXPECT_EQ(rig.stutter.getLeftGain(), unity);
}

TEST(MFStutter, AdjacentZonesRestartAtStepZero) {
    StutterRig rig;
    rig.stutter.setDecay(0.0f);
    for (int n = 0; n < 120; ++n) // step 2 runs from tick 94 to 140
        rig.tick(1.0f, 1.0f);
    ASSERT_EQ(rig.stutter.getStepIndex(), 2);
    ASSERT_EQ(rig.stutter.getLeftGain(), 0.0f) << "between strikes";
    rig.tick(2.0f, 1.0f);
    EXPECT_EQ(rig.stutter.getStepIndex(), 0);
    EXPECT_EQ(rig.stutter.getStepPhase(), 0.0f);
    EXPECT_EQ(rig.stutter.getLeftGain(), unity) << "the new zone strikes at once";
    rig.tick(2.0f, 1.0f);
    EXPECT_FLOAT_EQ(rig.stutter.getStepPhase(), 64.0f / 3000.0f);
}

TEST(MFStutter, ClosedLaneReadsStepZero) {
    StutterRig rig;
    rig.setStep(0, 0.0f, 1.0f);
    rig.setStep(2, 1.0f, 1.0f);
    for (int n = 0; n < 100; ++n)
        rig.tick(1.0f, 1.0f);
    ASSERT_EQ(rig.stutter.getActiveStep(), 2);
    EXPECT_EQ(rig.stutter.getPanValue(), 1.0f);
    rig.tick(1.0f, 1.0f, 0.0f);
    EXPECT_EQ(rig.stutter.getStepIndex(), 2);
    EXPECT_EQ(rig.stutter.getActiveStep(), 0);
    EXPECT_EQ(rig.stutter.getPanValue(), 0.0f);
}

// Attack and decay with the transport stopped: the envelope stands where it is.
TEST(MFStutter, FreezeHoldsTheEnvelope) {
    StutterRig rig;
    rig.stutter.setAttack(1.0f); // 480 ms = 360 ticks
    for (int n = 0; n < 20; ++n)
        rig.tick(1.0f, 1.0f);
    const float level = rig.stutter.getEnvelope().level();
    ASSERT_GT(level, 0.0f);
    for (int n = 0; n < 20; ++n)
        rig.tick(1.0f, 1.0f, 1.0f, true);
    EXPECT_EQ(rig.stutter.getEnvelope().level(), level);
}

// Minutes of random zones, tables and knobs at the extremes of the tempo range: every
// gain stays finite, within the amp's range and out of the denormal range.
TEST(MFStutter, LongRunsAtExtremeSettingsStayFinite) {
    StutterRig rig;
    std::mt19937 random(11);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    const double tempos[] = {45.0, 499.0, 120.0};
    for (int n = 0; n < 300000; ++n) {
        if (n % 1000 == 0) {
            rig.context.changeTempo(tempos[(n / 1000) % 3]);
            rig.stutter.setTempo(unit(random) < 0.5f ? 1.0f : 0.0f);
            rig.stutter.setAttack(unit(random) < 0.5f ? 0.0f : unit(random));
            rig.stutter.setDecay(unit(random) < 0.5f ? 0.0f : 1.0f);
            rig.setStep(int(unit(random) * 8.0f) & 7, unit(random), unit(random));
        }
        const float gate = (n / 300) % 3 == 0 ? 0.0f : float(1 + (n / 900) % 2);
        rig.tick(gate, unit(random), gate > 0.0f ? 1.0f : 0.0f, unit(random) < 0.01f);
        const float l = rig.stutter.getLeftGain(), r = rig.stutter.getRightGain();
        ASSERT_TRUE(l >= 0.0f && l <= unity) << "tick " << n;
        ASSERT_TRUE(r >= 0.0f && r <= unity) << "tick " << n;
        ASSERT_NE(std::fpclassify(l), FP_SUBNORMAL);
        ASSERT_NE(std::fpclassify(r), FP_SUBNORMAL);
        ASSERT_LT(rig.stutter.getStepPhase(), MFStutter::phaseWrap);
    }
    std::vector<float> l(64, 0.5f), r(64, 0.5f);
    rig.amp.process(l.data(), r.data(), 64);
    EXPECT_TRUE(signal::allFinite(l.data(), 64));
    EXPECT_EQ(signal::denormalCount(l.data(), 64) + signal::denormalCount(r.data(), 64), 0u);
}
