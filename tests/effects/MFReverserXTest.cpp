#include "effects/MFReverserX.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int32_t gate = MFReverserX::parameterGate;
// A ramp input makes every output sample name the input sample it came from.
constexpr float rampSlope = 1e-5f;
// Ramp values stay below 10, where a float resolves about 1e-6.
constexpr float rampTolerance = 2e-6f;

std::vector<float> ramp(std::size_t n) {
    std::vector<float> x(n);
    for (std::size_t i = 0; i < n; ++i)
        x[i] = float(i) * rampSlope;
    return x;
}

// Size knob value that selects a row of the note-value table.
float sizeFor(const MFDivisionTable& table, int row) {
    return 1.0f - float(row) / float(table.count - 1);
}

struct Rig {
    TestContext ctx{44100.0f, 120.0};
    MFReverserX fx{181, ctx.info};
    EffectDriver driver{fx, gate};
    std::vector<float> inL, inR, outL, outR;

    // Plays the input with the gate shut until openAt, then open; fully wet.
    void play(const std::vector<float>& input, std::size_t openAt) {
        inL = inR = outL = outR = input;
        driver.setMix(1.0f);
        driver.run(outL.data(), outR.data(), openAt);
        driver.setGate(1.0f);
        driver.run(outL.data() + openAt, outR.data() + openAt, input.size() - openAt);
    }
};

TEST(MFReverserX, PlaysEachGrainBackwardsAndKeepsUpWithTime) {
    Rig rig;
    const MFDivisionTable& table = MFDivisionSet::noteValues().table(0);
    rig.fx.setParameter(0, sizeFor(table, 8)); // 1/16 bar = 5512 samples at 120 bpm
    rig.fx.setParameter(1, 0.0f);              // no fades: every sample at full level
    rig.fx.setParameter(2, 1.0f);              // no decay
    const std::size_t open = 64 * 1500;        // a full bar of past in the ring
    rig.play(ramp(open + 4 * 5512 + 500), open);
    ASSERT_EQ(rig.fx.getGrainSize(), 5512);

    // Each grain walks back from the newest sample it finds at its start; the first
    // 64 samples are left out, the wet ramp is still opening there.
    int wrong = 0;
    for (int k = 64; k < 4 * 5512; ++k) {
        const int grainStart = (k / 5512) * 5512;
        const int j = k - grainStart;
        const float expected = rig.inL[open + grainStart - 2 - j];
        if (std::fabs(rig.outL[open + k] - expected) > rampTolerance ||
            std::fabs(rig.outR[open + k] - expected) > rampTolerance)
            ++wrong;
    }
    EXPECT_EQ(wrong, 0);
}

TEST(MFReverserX, GrainFadesAreLinearAndMeetWhenTheFadeIsFull) {
    for (float fade : {0.5f, 1.0f}) {
        Rig rig;
        const MFDivisionTable& table = MFDivisionSet::noteValues().table(0);
        rig.fx.setParameter(0, sizeFor(table, 8));
        rig.fx.setParameter(1, fade);
        rig.fx.setParameter(2, 1.0f);
        const std::size_t open = 64 * 1500;
        rig.play(std::vector<float>(open + 2 * 5512, 1.0f), open);
        // A constant input shows the grain envelope itself.
        const float half = 0.5f * 5512.0f * fade;
        const int flatEnd = int(5512.0f - half);
        float worst = 0.0f;
        for (int k = 64; k < 2 * 5512; ++k) {
            const int p = k % 5512;
            float shape = 1.0f;
            if (p > flatEnd)
                shape = 1.0f - float(p - flatEnd) / half;
            else if (p < int(half))
                shape = float(p) / half;
            worst = std::max(worst, std::fabs(rig.outL[open + k] - shape));
        }
        // The envelope is exact up to float accumulation over a few thousand steps.
        EXPECT_LT(worst, 1e-4f) << "fade " << fade;
        if (fade == 1.0f) {
            // Fades meeting in the middle: the peak is there and nowhere flat.
            EXPECT_NEAR(rig.outL[open + 5512 + 2756], 1.0f, 1e-3f);
            EXPECT_NEAR(rig.outL[open + 5512 + 1378], 0.5f, 1e-3f);
        }
    }
}

TEST(MFReverserX, SizeChangeWaitsForTheRunningGrainAndIdleOpeningTakesItAtOnce) {
    Rig rig;
    const MFDivisionTable& table = MFDivisionSet::noteValues().table(0);
    rig.fx.setParameter(0, sizeFor(table, 8)); // 5512
    rig.fx.setParameter(1, 0.0f);
    rig.fx.setParameter(2, 1.0f);
    const std::size_t open = 64 * 1500;
    const std::vector<float> input = ramp(open + 30000);
    rig.inL = rig.outL = rig.outR = input;
    rig.driver.setMix(1.0f);
    rig.driver.run(rig.outL.data(), rig.outR.data(), open);
    rig.driver.setGate(1.0f);
    rig.driver.run(rig.outL.data() + open, rig.outR.data() + open, 1000);
    // Mid-grain: 1/8 bar is asked for but the grain keeps its length.
    rig.fx.setParameter(0, sizeFor(table, 6)); // 11025
    EXPECT_EQ(rig.fx.getGrainSize(), 5512);
    EXPECT_TRUE(rig.fx.isSizePending());
    rig.driver.run(rig.outL.data() + open + 1000, rig.outR.data() + open + 1000, 29000);
    EXPECT_EQ(rig.fx.getGrainSize(), 11025);

    // Grain boundaries are where the falling ramp jumps back up.
    std::vector<int> boundaries;
    for (int k = 65; k < 30000; ++k)
        if (rig.outL[open + k] > rig.outL[open + k - 1] + 1e-3f)
            boundaries.push_back(k);
    ASSERT_GE(boundaries.size(), 2u);
    EXPECT_EQ(boundaries[0], 5512);
    EXPECT_EQ(boundaries[1], 5512 + 11025);
    // After the change the reversal starts again from the present.
    EXPECT_NEAR(rig.outL[open + 5512 + 10], input[open + 5512 - 2 - 10], rampTolerance);

    // Idle opening: a pending size applies at once and the flag is forgotten.
    rig.driver.setGate(0.0f);
    std::vector<float> l(128), r(128);
    rig.driver.run(l, r);
    EXPECT_FALSE(rig.fx.isActive());
    rig.fx.setParameter(0, sizeFor(table, 4)); // 1/4 bar
    EXPECT_TRUE(rig.fx.isSizePending());
    rig.fx.setParameter(gate, 2.0f);
    EXPECT_TRUE(rig.fx.isActive());
    EXPECT_EQ(rig.fx.getGrainSize(), 22050);
    EXPECT_FALSE(rig.fx.isSizePending());
}

TEST(MFReverserX, DecayFadesRepeatsAndARetriggerRestoresThemAtTheGrainEnd) {
    Rig rig;
    const MFDivisionTable& table = MFDivisionSet::noteValues().table(0);
    rig.fx.setParameter(0, sizeFor(table, 8)); // 5512
    rig.fx.setParameter(1, 0.0f);
    rig.fx.setParameter(2, 0.0f); // decay over 1500 * 0.03 = 45 ms = 1984.5 samples
    const std::size_t open = 64 * 1500;
    std::vector<float> input(open + 3 * 5512, 1.0f);
    rig.inL = rig.outL = rig.outR = input;
    rig.driver.setMix(1.0f);
    rig.driver.run(rig.outL.data(), rig.outR.data(), open);
    rig.driver.setGate(1.0f);
    rig.driver.run(rig.outL.data() + open, rig.outR.data() + open, 3000);
    // Linear fall from 1 at the gate: half way at about 992 samples, gone by 1985.
    EXPECT_NEAR(rig.outL[open + 992], 0.5f, 0.01f);
    EXPECT_EQ(rig.outL[open + 2100], 0.0f);
    EXPECT_EQ(rig.fx.getRepeatGain(), 0.0f);

    // Two touching zones: the second gate value re-triggers the running effect, which
    // stays silent until its grain ends and then starts again at full level.
    rig.driver.setGate(2.0f);
    rig.driver.run(rig.outL.data() + open + 3000, rig.outR.data() + open + 3000, 3 * 5512 - 3000);
    EXPECT_EQ(rig.outL[open + 5000], 0.0f);
    // Full level again, less the two decay steps (1/1984.5 each) taken since.
    EXPECT_NEAR(rig.outL[open + 5512 + 1], 1.0f - 2.0f / 1984.5f, 1e-4f);
    EXPECT_NEAR(rig.outL[open + 5512 + 992], 0.5f, 0.01f);
}

TEST(MFReverserX, TempoChangeRecomputesTheSizeInSamples) {
    TestContext ctx(44100.0f, 120.0);
    MFReverserX fx(181, ctx.info);
    const MFDivisionTable& table = MFDivisionSet::noteValues().table(0);
    fx.setParameter(0, sizeFor(table, 4)); // a quarter of a bar
    EXPECT_EQ(fx.getPendingSize(), 22050);
    ctx.changeTempo(60.0);
    // Twice as slow: a quarter bar is twice as many samples, and the ring a bar.
    EXPECT_EQ(fx.getPendingSize(), 44100);
    EXPECT_EQ(fx.getRingLength(), 176400);
    fx.setParameter(gate, 1.0f);
    EXPECT_EQ(fx.getGrainSize(), 44100);
}

} // namespace
