#include "effects/MFChorusVeld2.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

// At depth 0 the base delay is 32 samples and the sine swings it between 1 and 3 times that.
TEST(MFChorusVeld2, DepthZeroSwingsAroundThirtyTwoSamples) {
    TestContext ctx;
    MFChorusVeld2 chorus(185, ctx.info);
    chorus.setParameter(1, 0.0f);
    chorus.setParameter(0, 1.0f); // fastest row, so a few seconds cover many cycles
    EffectDriver driver(chorus, -1);
    std::vector<float> l(64), r(64);
    float lo = 1e9f, hi = -1e9f;
    for (int b = 0; b < 4000; ++b) {
        driver.run(l, r);
        if (b > 100) { // after the 36 ms depth glide
            lo = std::min(lo, chorus.getTimeA(0));
            hi = std::max(hi, chorus.getTimeA(0));
            // The second line always sits one depth further back.
            ASSERT_NEAR(chorus.getTimeB(0) - chorus.getTimeA(0), 32.0f, 0.5f);
        }
    }
    EXPECT_NEAR(chorus.getDepthNow(), 32.0f, 1e-4f);
    EXPECT_NEAR(lo, 32.0f, 1.0f);
    EXPECT_NEAR(hi, 96.0f, 1.0f);
}

// The 36 ms glide: a depth jump is not there after one tick and is complete once 36 ms of
// ticks have passed.
TEST(MFChorusVeld2, DepthGlidesOverThirtySixMilliseconds) {
    TestContext ctx(48000.0f);
    MFChorusVeld2 chorus(185, ctx.info);
    EffectDriver driver(chorus, -1);
    std::vector<float> l(64 * 40), r(64 * 40);
    driver.run(l, r);
    const float start = chorus.getDepthNow();
    chorus.setParameter(1, 1.0f);
    const float goal = 512.0f * 48000.0f / 44100.0f + 32.0f;
    const int glideTicks = int(48000.0f / 64.0f * 0.001f * 36.0f); // 27 ticks
    std::vector<float> one(64), oneR(64);
    driver.run(one, oneR);
    EXPECT_GT(chorus.getDepthNow(), start);
    EXPECT_LT(chorus.getDepthNow(), start + (goal - start) * 2.0f / float(glideTicks));
    std::vector<float> rest(64 * glideTicks), restR(64 * glideTicks);
    driver.run(rest, restR);
    EXPECT_NEAR(chorus.getDepthNow(), goal, 1e-2f);
}

// Width 0: the right modulation equals the left, so identical inputs give identical outputs
// (to float rounding of the separate ramps). Width 1 moves them apart audibly.
TEST(MFChorusVeld2, WidthZeroMovesBothChannelsAlike) {
    for (float width : {0.0f, 1.0f}) {
        TestContext ctx;
        MFChorusVeld2 chorus(185, ctx.info);
        chorus.setParameter(3, width);
        chorus.setParameter(1, 0.5f);
        chorus.setParameter(0, 1.0f);
        EffectDriver driver(chorus, -1);
        driver.setRunPattern({7, 64, 1, 30});
        auto l = signal::sine(440.0, 44100.0, 44100, 0.5f);
        auto r = l;
        driver.run(l, r);
        double diff = 0.0;
        for (std::size_t i = 22050; i < l.size(); ++i)
            diff = std::max(diff, double(std::fabs(l[i] - r[i])));
        if (width == 0.0f)
            EXPECT_LT(diff, 1e-3); // -60 dB of the 0.5 input: rounding, not modulation
        else
            EXPECT_GT(diff, 0.05);
    }
}

TEST(MFChorusVeld2, MixIsCappedBelowFullyWet) {
    TestContext ctx;
    MFChorusVeld2 chorus(185, ctx.info);
    EffectDriver driver(chorus, -1);
    driver.setMix(1.0f);
    std::vector<float> l(64 * 20, 0.0f), r(64 * 20, 0.0f);
    driver.run(l, r);
    EXPECT_FLOAT_EQ(chorus.getMixTarget(), 0.99f);
    // The 1e-10 snap is finer than a float step near 0.99, so the ramp settles within a
    // few ulps of the cap instead of landing on it.
    EXPECT_NEAR(chorus.getMixCurrent(), 0.99f, 1e-6f);
    // With silence in the lines, a new impulse passes 1% dry at once.
    std::vector<float> imp(32, 0.0f), impR(32, 0.0f);
    imp[0] = 1.0f;
    impR[0] = 1.0f;
    driver.run(imp, impR);
    EXPECT_NEAR(imp[0], 0.01f, 1e-4f);
}

TEST(MFChorusVeld2, RateRowFollowsTempo) {
    TestContext ctx(44100.0f, 120.0);
    MFChorusVeld2 chorus(185, ctx.info);
    chorus.setParameter(0, 10.0f / 26.0f); // one beat per cycle
    EXPECT_NEAR(chorus.getLfoRate(), 2.0f, 1e-4f);
    ctx.changeTempo(90.0);
    EXPECT_NEAR(chorus.getLfoRate(), 1.5f, 1e-4f);
    char text[64];
    chorus.getParameterDisplay(0, 0.5f, text);
    EXPECT_STREQ(text, "todo");
}
