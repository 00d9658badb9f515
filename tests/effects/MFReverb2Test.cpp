#include "effects/MFReverb2.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

// A fully wet reverb with no dry path.
void wetOnly(MFReverb2& reverb) {
    reverb.setParameter(5, 0.0f);
}

// Index of the first sample from `from` on whose magnitude exceeds `threshold`.
std::size_t firstAbove(const std::vector<float>& x, std::size_t from, float threshold) {
    for (std::size_t i = from; i < x.size(); ++i)
        if (std::fabs(x[i]) > threshold)
            return i;
    return x.size();
}

double segmentRms(const std::vector<float>& x, double fromS, double toS, double rate) {
    const auto a = std::size_t(fromS * rate), b = std::size_t(toS * rate);
    return signal::rms(x.data() + a, b - a);
}

} // namespace

// Width 1 keeps each side on its own combs, so the first echo of an impulse arrives after
// the shortest comb: 1116 samples on the left, 23 more on the right.
TEST(MFReverb2, FirstEchoComesAfterTheShortestCombOnEachSide) {
    TestContext ctx;
    MFReverb2 reverb(191, ctx.info);
    wetOnly(reverb);
    reverb.setParameter(4, 0.0f); // high-pass fully open
    EffectDriver driver(reverb, -1);
    driver.setMix(1.0f);
    std::vector<float> l(6000, 0.0f), r(6000, 0.0f);
    const std::size_t at = 1024; // after the wet and dry ramps have settled
    l[at] = 1.0f;
    r[at] = 1.0f;
    driver.run(l, r);
    // The guard offset alone stays below 1e-6; the echo is orders of magnitude louder.
    EXPECT_EQ(firstAbove(l, at, 1e-4f), at + 1116);
    EXPECT_EQ(firstAbove(r, at, 1e-4f), at + 1139);
    EXPECT_LT(signal::peak(l.data() + at, 1116), 1e-6f);
    EXPECT_EQ(reverb.getComb(1, 7).getSize(), 1640u);
    EXPECT_EQ(reverb.getAllPass(1, 3).getSize(), 248u);
}

// The tail exists and decays: loud early, each later second quieter, near silence at 6 s.
TEST(MFReverb2, ImpulseTailDecays) {
    const double rate = 44100.0;
    TestContext ctx{float(rate)};
    MFReverb2 reverb(191, ctx.info);
    wetOnly(reverb);
    EffectDriver driver(reverb, -1);
    driver.setMix(1.0f);
    std::vector<float> l(std::size_t(6.5 * rate), 0.0f), r(l.size(), 0.0f);
    l[1024] = r[1024] = 1.0f;
    driver.run(l, r);
    const double early = segmentRms(l, 0.05, 0.5, rate);
    const double mid = segmentRms(l, 1.5, 2.0, rate);
    const double late = segmentRms(l, 6.0, 6.5, rate);
    EXPECT_GT(early, 1e-3);
    EXPECT_LT(mid, early * 0.5);
    EXPECT_LT(late, early * 1e-3); // -60 dB within six seconds at the default size
    EXPECT_TRUE(signal::allFinite(l.data(), l.size()));
}

TEST(MFReverb2, WidthZeroGivesEqualChannels) {
    TestContext ctx;
    MFReverb2 reverb(191, ctx.info);
    wetOnly(reverb);
    reverb.setParameter(3, 0.0f);
    EffectDriver driver(reverb, -1);
    driver.setMix(1.0f);
    auto l = signal::noise(44100, 11), r = signal::noise(44100, 12);
    driver.run(l, r);
    // Skip the width ramp's first ticks; after that the two sums are the same float sums.
    double diff = 0.0;
    for (std::size_t i = 4096; i < l.size(); ++i)
        diff = std::max(diff, double(std::fabs(l[i] - r[i])));
    EXPECT_LT(diff, 1e-6);
    EXPECT_GT(signal::rms(l.data() + 4096, l.size() - 4096), 1e-3);
}

// The one-sample form reads before it advances, the block form advances before it reads;
// both give the same delays, so the two outputs agree to float rounding.
TEST(MFReverb2, OneSampleFormMatchesBlockForm) {
    TestContext ctx;
    MFReverb2 block(191, ctx.info), single(191, ctx.info);
    for (MFReverb2* rv : {&block, &single}) {
        rv->setParameter(4, 0.3f);
        rv->setMix(1.0f);
    }
    auto l = signal::noise(64 * 300, 3), r = signal::noise(64 * 300, 4);
    auto l2 = l, r2 = r;
    for (std::size_t at = 0; at < l.size(); at += 64) {
        block.controlTick();
        single.controlTick();
        block.process(l.data() + at, r.data() + at, 64);
        for (std::size_t i = at; i < at + 64; ++i)
            single.processSample(l2[i], r2[i]);
    }
    for (std::size_t i = 0; i < l.size(); ++i) {
        ASSERT_NEAR(l[i], l2[i], 1e-5f) << i;
        ASSERT_NEAR(r[i], r2[i], 1e-5f) << i;
    }
}
