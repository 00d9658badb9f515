#include "effects/MFScratchLooper.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace {

constexpr int32_t gate = MFScratchLooper::gateIndex;

// b of a pass: a quarter turn over half the pass length.
float halfSize(int32_t length) {
    return 1.5707964f / float(length >> 1);
}

TEST(ScratchLooper, RecordIsTheLastTwoBeatsOldestFirstWithItsEndFadedAndGuarded) {
    TestContext c(44100.0f, 120.0);
    MFScratchLooper fx(184, c.info);
    EffectDriver d(fx, gate);
    const int32_t ring = fx.getRingLength();
    ASSERT_EQ(ring, 44100); // two beats at 120 bpm

    // A ramp whose value names its sample, longer than the ring so it has wrapped.
    const std::size_t n = 64 * 1000;
    std::vector<float> l(n), r(n);
    for (std::size_t i = 0; i < n; ++i) {
        l[i] = float(i % 4096);
        r[i] = -float(i % 4096);
    }
    d.run(l, r);
    d.setGate(1.0f);
    std::vector<float> one(64, 0.0f), two(64, 0.0f);
    d.run(one, two); // the gate arrives at the tick, before this block

    const float* rec = fx.recordData(0);
    const float* recR = fx.recordData(1);
    for (int32_t j = 0; j < ring; j += 97) {
        const float source = float((n - 1 - std::size_t(j)) % 4096);
        // index ring - k is scaled by k / 800 for k below 800
        const int32_t k = j + 1;
        const float gain = k < 800 ? float(k) / 800.0f : 1.0f;
        ASSERT_FLOAT_EQ(rec[ring - 1 - j], source * gain) << "sample " << j << " before the end";
        ASSERT_FLOAT_EQ(recR[ring - 1 - j], -source * gain);
    }
    EXPECT_EQ(rec[ring], 0.0f);
    EXPECT_EQ(rec[ring + 1], 0.0f);
    EXPECT_EQ(recR[ring + 1], 0.0f);
}

TEST(ScratchLooper, GateAndRunningChangeUseTheirOwnSpinFactors) {
    TestContext c;
    MFScratchLooper fx(184, c.info);
    EffectDriver d(fx, gate);
    std::vector<float> l(4096, 0.1f), r(4096, 0.1f);

    fx.setParameter(MFScratchLooper::fwdSpinIndex, 0.8f);
    fx.setParameter(MFScratchLooper::bwdSpinIndex, 0.5f);
    d.setGate(1.0f);
    d.run(l, r);
    const int32_t length = fx.getScratchLength();
    EXPECT_EQ(length, 44100); // "1\2" at 120 bpm
    const float b = halfSize(length);
    EXPECT_NEAR(fx.getFwdIncrement(), (0.8f * 3.75f + 0.5f) * b, 1e-6f * b);
    // At 0.5 the lower branch: 0.5 * b + 0.5 * b.
    EXPECT_NEAR(fx.getBwdIncrement(), b, 1e-6f * b);
    const float gateFwd = fx.getFwdIncrement();

    // Change the size too: the running change must take the pending length.
    fx.setParameter(MFScratchLooper::sizeIndex, 0.0f); // "1\32T"
    fx.setParameter(MFScratchLooper::fwdSpinIndex, 0.81f);
    fx.setParameter(MFScratchLooper::fwdSpinIndex, 0.8f);
    EXPECT_NEAR(fx.getFwdIncrement(), gateFwd, 1e-9f) << "a change waits for the next pass";
    d.run(l, r);
    const int32_t shortLength = fx.getScratchLength();
    EXPECT_EQ(shortLength, int32_t(0.0208333f * 4.0f * 22050.0f));
    const float bs = halfSize(shortLength);
    EXPECT_NEAR(fx.getFwdIncrement(), (0.8f * 3.0f + 0.5f) * bs, 1e-5f * bs);
    EXPECT_NEAR(fx.getBwdIncrement(), bs, 1e-5f * bs);
    // Same knob, same length: the running change is slower than the gate.
    EXPECT_LT(fx.getFwdIncrement() / bs, gateFwd / b);
}

TEST(ScratchLooper, ReadHeadSpansTheScratchAndNeverLeavesTheRecord) {
    for (float size : {1.0f, 0.5f, 0.0f}) {
        TestContext c;
        MFScratchLooper fx(184, c.info);
        EffectDriver d(fx, gate);
        d.setRunPattern({1});
        fx.setParameter(MFScratchLooper::sizeIndex, size);
        fx.setParameter(MFScratchLooper::fwdSpinIndex, 1.0f);
        fx.setParameter(MFScratchLooper::bwdSlopeIndex, 0.0f);
        std::vector<float> warm(45056, 0.25f), warmR(45056, 0.25f);
        d.run(warm, warmR);
        d.setGate(1.0f);
        const int32_t rec = fx.getRecordLength();
        float lo = 1e30f, hi = -1e30f;
        float frame[2] = {0.0f, 0.0f};
        for (int i = 0; i < 100000; ++i) {
            frame[0] = frame[1] = 0.25f;
            d.run(&frame[0], &frame[1], 1);
            lo = std::min(lo, fx.getLastPosition());
            hi = std::max(hi, fx.getLastPosition());
        }
        const float base = float(rec - fx.getScratchLength());
        EXPECT_GE(lo, base);
        EXPECT_LE(hi, float(rec));
        // A full swing reaches within 1 % of both ends of the scratch.
        EXPECT_LT(lo - base, 0.01f * float(fx.getScratchLength())) << size;
        EXPECT_GT(hi, float(rec) - 0.01f * float(fx.getScratchLength())) << size;
    }
}

TEST(ScratchLooper, FarEdgeFadesAndTheHeadStartsOnTheSilentEnd) {
    TestContext c;
    MFScratchLooper fx(184, c.info);
    EffectDriver d(fx, gate);
    d.setRunPattern({1});
    std::vector<float> warm(45056, 0.5f), warmR(45056, 0.5f);
    d.run(warm, warmR);
    d.setGate(1.0f);
    float frame[2] = {0.0f, 0.0f};
    d.run(&frame[0], &frame[1], 1);
    // At the top the head reads the faded end: near zero whatever the mix.
    EXPECT_LT(std::fabs(frame[0]), 0.51f * 0.05f);
    for (int i = 0; i < 200000; ++i) {
        frame[0] = frame[1] = 0.0f;
        d.run(&frame[0], &frame[1], 1);
        const float offset =
            fx.getLastPosition() - float(fx.getRecordLength() - fx.getScratchLength());
        // On a constant record of 0.5 the wet level is 0.5 * offset / 512 inside the fade.
        if (offset < 512.0f) {
            ASSERT_LE(std::fabs(frame[0]), 0.5f * offset / 512.0f + 1e-4f) << i;
        }
        ASSERT_LE(std::fabs(frame[0]), 0.5f + 1e-4f);
    }
}

TEST(ScratchLooper, TempoChangeKeepsTheRecordAndChangesOnlyThePendingLength) {
    TestContext c;
    MFScratchLooper fx(184, c.info);
    EffectDriver d(fx, gate);
    auto l = signal::noise(45056, 9), r = signal::noise(45056, 10);
    d.run(l, r);
    d.setGate(1.0f);
    std::vector<float> b(640, 0.0f), br(640, 0.0f);
    d.run(b, br);
    const int32_t scratch = fx.getScratchLength();
    const std::vector<float> before(fx.recordData(0), fx.recordData(0) + fx.getRecordLength());
    c.changeTempo(90.0);
    EXPECT_EQ(fx.getPendingLength(), int32_t(0.5f * 4.0f * c.info.samplesPerBeat));
    EXPECT_EQ(fx.getScratchLength(), scratch);
    EXPECT_EQ(fx.getRingLength(), int32_t(c.info.samplesPerBeat * 2.0f));
    EXPECT_TRUE(std::equal(before.begin(), before.end(), fx.recordData(0)));
}

} // namespace
