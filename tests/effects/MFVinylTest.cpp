#include "effects/MFVinyl.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr int32_t gate = MFVinyl::gateIndex;

TEST(Vinyl, DepthNeverFallsBelowOneSample) {
    TestContext c;
    MFVinyl fx(190, c.info);
    EffectDriver d(fx, gate);
    fx.setParameter(MFVinyl::sizeIndex, 0.0f);
    // Let the 15 ms depth glide and the mix ramp settle.
    std::vector<float> warm(4096, 0.0f), warmR(4096, 0.0f);
    d.run(warm, warmR);
    auto l = signal::noise(4096, 7);
    const auto in = l;
    auto r = l;
    d.run(l, r);
    // Fully wet at zero size is the input one sample late (the shortest delay allowed).
    for (std::size_t i = 1; i < in.size(); ++i)
        ASSERT_NEAR(l[i], in[i - 1], 1e-6f) << i;
    EXPECT_FLOAT_EQ(fx.getLastDelay(), 1.0f);
}

TEST(Vinyl, ARestartKeepsTheSoundInTheLine) {
    // At zero size the wet path is the input one sample late, so nothing but the line's
    // content shows: turning the line at a restart must not move a single sample.
    std::vector<float> outputs[2];
    for (int variant = 0; variant < 2; ++variant) {
        TestContext c;
        MFVinyl fx(190, c.info);
        EffectDriver d(fx, gate);
        fx.setParameter(MFVinyl::sizeIndex, 0.0f);
        if (variant == 1)
            d.onTick([&](int64_t t) {
                if (t == 150 || t == 151 || t == 400)
                    fx.restart();
            });
        auto l = signal::noise(64 * 500, 5);
        auto r = l;
        d.run(l, r);
        outputs[variant] = l;
    }
    EXPECT_EQ(outputs[0], outputs[1]);
}

TEST(Vinyl, MixIsLinearNotEqualPower) {
    TestContext c;
    MFVinyl fx(190, c.info);
    EffectDriver d(fx, gate);
    d.setMix(0.5f);
    // DC through a delay is still DC: a linear blend keeps 0.5, an equal-power one
    // would read 0.5 * (sqrt(0.5) + sqrt(0.5)) = 0.707.
    std::vector<float> l(44100, 0.5f), r(44100, 0.5f);
    d.run(l, r);
    for (std::size_t i = 22050; i < l.size(); i += 7)
        ASSERT_NEAR(l[i], 0.5f, 1e-4f) << i;
}

TEST(Vinyl, SpeedRowIsNotInvertedAndSetsTheWobblePeriod) {
    TestContext c;
    MFVinyl fx(190, c.info);
    fx.setParameter(MFVinyl::speedIndex, 0.0f);
    EXPECT_EQ(fx.getLineLength(), 8000);
    EXPECT_EQ(fx.getPeriodSamples(), 88200); // "bar": four beats at 120 bpm
    fx.setParameter(MFVinyl::speedIndex, 1.0f);
    EXPECT_EQ(fx.getPeriodSamples(), int32_t(0.0052083f * 4.0f * 22050.0f)); // "1\128T"
    fx.setParameter(MFVinyl::speedIndex, 4.0f / 15.0f);
    EXPECT_EQ(fx.getPeriodSamples(), 22050); // "1\4"
    EXPECT_FLOAT_EQ(fx.getLfoRate(), 2.0f);
    c.changeTempo(60.0);
    EXPECT_EQ(fx.getPeriodSamples(), 44100);
}

TEST(Vinyl, WobbleBendsThePitchAroundTheInputTone) {
    TestContext c;
    MFVinyl fx(190, c.info);
    EffectDriver d(fx, gate);
    fx.setParameter(MFVinyl::speedIndex, 4.0f / 15.0f); // 2 Hz wobble
    fx.setParameter(MFVinyl::sizeIndex, 0.05f);         // about 385 samples of swing
    auto l = signal::sine(1000.0, 44100.0, 44100 * 2, 0.5f);
    auto r = l;
    d.run(l, r);
    double lo = 1e9, hi = 0.0;
    for (std::size_t start = 8192; start + 1024 <= l.size(); start += 1024) {
        const double f =
            signal::dominantFrequency(l.data() + start, 1024, 44100.0, 500.0, 2000.0, 2.0);
        lo = std::min(lo, f);
        hi = std::max(hi, f);
    }
    // The delay's slope peaks near 2 pi * 2 Hz * 190 / 44100 * (shape) = several percent:
    // the pitch must swing by tens of hertz both ways, yet stay near the tone.
    EXPECT_LT(lo, 980.0);
    EXPECT_GT(hi, 1020.0);
    EXPECT_GT(lo, 700.0);
    EXPECT_LT(hi, 1300.0);
    EXPECT_LT(signal::peak(l.data(), l.size()), 0.51f);
}

TEST(Vinyl, GateAfterAPauseRestartsAtTheCrest) {
    TestContext c;
    MFVinyl fx(190, c.info);
    fx.setParameter(gate, 0.0f);
    fx.setParameter(gate, 1.0f);
    EXPECT_FLOAT_EQ(fx.getPhase(), 0.25f);
    std::vector<float> l(1000, 0.0f), r(1000, 0.0f);
    fx.setMix(1.0f);
    fx.controlTick();
    fx.process(l.data(), r.data(), 1000);
    const float running = fx.getPhase();
    EXPECT_NE(running, 0.25f);
    fx.setParameter(gate, 2.0f); // a touching zone does not restart the wobble
    EXPECT_FLOAT_EQ(fx.getPhase(), running);
}

} // namespace
