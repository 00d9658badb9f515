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
constexpr float unity = MFStutter::unityQuarter; // the amp's parameter for a gain of 1

// 120 bpm at 48 kHz, 8 steps per beat: a step is 3000 samples = 46.875 ticks.
struct StutterRig {
    TestContext context{48000.0f, 120.0};
    MFTableXY pan{context.info, 8};
    MFTableXY level{context.info, 8};
    MFStereoPanAmp amp{183, context.info};
    MFStutter stutter{context.info};

    StutterRig() {
        for (int step = 0; step < 8; ++step)
            setStep(step, 0.5f, 1.0f);
        stutter.setTempo(0.66667f);
        stutter.setAttack(0.0f);
        stutter.setDecay(1.0f);
    }
    void setStep(int step, float panValue, float levelValue) {
        pan.setRawOnRow(step, 0, panValue);
        level.setRawOnRow(step, 0, levelValue);
    }
    // laneLevel: the lane's envelope, at 1 while a zone plays.
    void tick(float gate, float mix, float laneLevel = 1.0f) {
        stutter.tick(gate, mix, laneLevel, pan, level, false, amp);
    }
};
} // namespace

// Step k begins at the first tick n (counted from the gate's first tick) with
// n * 64 >= k * 3000; the driver re-sends the knob after a tempo change.
TEST(MFStutter, StepsAdvanceAtTheRateOfTheTempo) {
    StutterRig rig;
    std::vector<int> firstTickOfStep(8, -1);
    for (int n = 0; n < 8 * 47; ++n) {
        rig.tick(1.0f, 1.0f);
        if (firstTickOfStep[rig.stutter.getStepIndex()] < 0)
            firstTickOfStep[rig.stutter.getStepIndex()] = n;
    }
    for (int k = 0; k < 8; ++k)
        EXPECT_EQ(firstTickOfStep[k], (k * 3000 + 63) / 64) << "step " << k;

    rig.context.changeTempo(90.0);
    rig.stutter.setTempo(0.66667f);
    EXPECT_FLOAT_EQ(rig.stutter.getStepSamples(), 32000.0f / 8.0f);
    rig.stutter.setTempo(0.0f);
    EXPECT_EQ(rig.stutter.getRate(), 2.0f) << "the list's first rate is out of reach";
    rig.stutter.setTempo(1.0f);
    EXPECT_EQ(rig.stutter.getRate(), 16.0f);
}

TEST(MFStutter, NoMixPassesTheSignalBitForBit) {
    StutterRig rig;
    rig.setStep(0, 1.0f, 0.0f); // a step that would silence at full mix
    for (int n = 0; n < 200; ++n) {
        rig.tick(n < 100 ? 1.0f : 2.0f, 0.0f);
        ASSERT_EQ(rig.stutter.getLeftGain(), unity);
        ASSERT_EQ(rig.stutter.getRightGain(), unity);
    }
    std::vector<float> l = signal::noise(256, 3), r = signal::noise(256, 4);
    const std::vector<float> l0 = l, r0 = r;
    rig.amp.process(l.data(), r.data(), 256);
    EXPECT_EQ(l, l0);
    EXPECT_EQ(r, r0);
}

// At full mix and full envelope (no attack) the gains are the step's pan and level.
TEST(MFStutter, PanAndLevelOfTheStepAtFullMix) {
    const struct {
        float pan, level, mix, left, right;
    } cases[] = {
        {0.5f, 1.0f, 1.0f, unity, unity},                  // centre: both channels full
        {1.0f, 1.0f, 1.0f, unity, 0.0f},                   // right edge silences the right
        {0.0f, 1.0f, 1.0f, 0.0f, unity},                   // left edge silences the left
        {0.75f, 1.0f, 1.0f, unity, 0.5f * unity},          // half way out on the right
        {0.5f, 0.0f, 1.0f, 0.0f, 0.0f},                    // a step of level 0 silences
        {0.5f, 0.0f, 0.25f, 0.75f * unity, 0.75f * unity}, // mix: a quarter of the way
    };
    for (const auto& c : cases) {
        StutterRig rig;
        rig.setStep(0, c.pan, c.level);
        rig.tick(1.0f, c.mix);
        EXPECT_EQ(rig.stutter.getEnvelope().level(), 1.0f);
        EXPECT_FLOAT_EQ(rig.stutter.getLeftGain(), c.left) << "pan " << c.pan;
        EXPECT_FLOAT_EQ(rig.stutter.getRightGain(), c.right) << "pan " << c.pan;
    }
}

TEST(MFStutter, ShortDecayStandsAtZeroUntilTheNextStepOrZone) {
    StutterRig rig;
    rig.stutter.setDecay(0.0f); // 24 ms = 18 ticks, shorter than a step
    rig.tick(1.0f, 1.0f);
    for (int n = 1; n < 47; ++n) {
        rig.tick(1.0f, 1.0f);
        // The context's ticks per millisecond, 750 * 0.001f, lies a hair above 0.75:
        // tick 18 may hold a level of one float step; from 19 on it is silence.
        if (n >= 18) {
            ASSERT_LE(rig.stutter.getLeftGain(), 1e-6f) << "tick " << n;
        }
        if (n >= 19) {
            ASSERT_EQ(rig.stutter.getLeftGain(), 0.0f) << "tick " << n;
        }
    }
    rig.tick(1.0f, 1.0f); // tick 47, the first of step 1
    EXPECT_EQ(rig.stutter.getStepIndex(), 1);
    EXPECT_EQ(rig.stutter.getLeftGain(), unity);

    for (int n = 48; n < 120; ++n) // step 2 runs from tick 94 to 140
        rig.tick(1.0f, 1.0f);
    ASSERT_EQ(rig.stutter.getLeftGain(), 0.0f);
    rig.tick(2.0f, 1.0f); // a touching zone: step 0 again, struck at once
    EXPECT_EQ(rig.stutter.getStepIndex(), 0);
    EXPECT_EQ(rig.stutter.getStepPhase(), 0.0f);
    EXPECT_EQ(rig.stutter.getLeftGain(), unity);
    rig.tick(2.0f, 1.0f, 0.0f);
    EXPECT_EQ(rig.stutter.getActiveStep(), 0) << "a closed lane reads step 0";
}

// Random zones, tables and knobs at the ends of the tempo range: every gain stays in
// the amp's range and out of the denormal range.
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
        rig.stutter.tick(gate, unit(random), gate > 0.0f ? 1.0f : 0.0f, rig.pan, rig.level,
                         unit(random) < 0.01f, rig.amp);
        const float l = rig.stutter.getLeftGain(), r = rig.stutter.getRightGain();
        ASSERT_TRUE(l >= 0.0f && l <= unity && r >= 0.0f && r <= unity) << "tick " << n;
        ASSERT_NE(std::fpclassify(l), FP_SUBNORMAL);
        ASSERT_NE(std::fpclassify(r), FP_SUBNORMAL);
    }
}
