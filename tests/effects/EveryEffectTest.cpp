// What holds for every effect of the chain, each run alone the way the block driver runs
// it: bad input samples, extreme settings at the ends of the rate and tempo ranges, a
// closed lane, ragged host blocks, and zones at a low mix.

#include "effects/MFStutter.h"
#include "support/EffectChainRig.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace {
using Stage = EffectChainRig::Stage;
using enum EffectChainRig::Stage;

// Effect k open, fully wet, with its lane's gate on and settings where every stage works:
// the Stutter's amp away from unity, the Filter ringing, the Tonal-Delay's level line down
// at 0.4 (a ramp from there back to 1 does not land exactly unless it snaps).
void open(EffectChainRig& rig, int k) {
    rig.open(k);
    rig.chain.stutter.setParameter(0, 0.5f);
    rig.chain.stutter.setParameter(1, 0.3f);
    rig.chain.tonalDelay.setParameter(MFTonalDelay::parameterLevel, 0.4f);
    rig.chain.tonalDelay.gateOn();
    rig.chain.filter.setParameter(MFVEXFilter::parameterResonance, 1.0f);
}

// The lane of effect k closes: the gate and the mix go to 0, the Stutter's amp and the
// Tonal-Delay's level line back to unity, as the lanes send them at a zone's end.
void close(EffectChainRig& rig, int k) {
    rig.driver(k).setGate(0.0f);
    rig.driver(k).setMix(0.0f);
    rig.chain.stutter.setParameter(0, MFStutter::unityQuarter);
    rig.chain.stutter.setParameter(1, MFStutter::unityQuarter);
    rig.chain.tonalDelay.setParameter(MFTonalDelay::parameterLevel, 1.0f);
}

std::vector<float> music(std::size_t n, unsigned seed, float rate = 44100.0f) {
    std::vector<float> x = signal::noise(n, seed);
    const std::vector<float> tone = signal::sine(220.0, rate, n, 0.4f);
    for (std::size_t i = 0; i < n; ++i)
        x[i] = 0.3f * x[i] + tone[i];
    return x;
}

bool subnormal(float x) {
    return std::fpclassify(x) == FP_SUBNORMAL;
}

std::size_t denormals(const MFAlignedArray& a) {
    return signal::denormalCount(a.data(), a.getSize());
}

// What can be seen of an effect's state: positions inside their buffers, filter and
// line memory finite and clear of the denormal range.
void checkState(EffectChainRig& rig, int k) {
    MFEffectChain& c = rig.chain;
    switch (k) {
    case loop:
        for (const auto* f : {&c.loop.toneLeft(), &c.loop.toneRight()})
            for (const float v : {f->high, f->band, f->low})
                ASSERT_FALSE(subnormal(v));
        break;
    case scratchLoop:
        ASSERT_GE(c.scratchLoop.getLastPosition(), 0.0f);
        ASSERT_LE(c.scratchLoop.getLastPosition(), float(c.scratchLoop.getRecordLength()));
        break;
    case vinyl:
        ASSERT_GE(c.vinyl.getLastDelay(), 1.0f);
        ASSERT_LE(c.vinyl.getLastDelay(), float(c.vinyl.getLineLength()));
        ASSERT_LE(c.vinyl.getDepthTarget(), float(c.vinyl.getLineLength()));
        break;
    case tapeStop:
        ASSERT_LE(c.tapeStop.getReadPosition(), float(c.tapeStop.getTapeLength()));
        break;
    case crush:
        ASSERT_TRUE(std::isfinite(c.crush.getInputFilter(0).band));
        break;
    case filter:
        for (int b = 0; b < 2; ++b)
            for (int m = 0; m < MFVEXFilter::modeCount; ++m)
                for (int s = 0; s < MFVEXFilter::stagesPerMode; ++s) {
                    const auto& st = c.filter.stage(b, m, s);
                    for (float v : {st.bandL, st.lowL, st.highL, st.bandR, st.lowR, st.highR}) {
                        ASSERT_TRUE(std::isfinite(v) && !subnormal(v));
                        ASSERT_LT(std::fabs(v), 1e4f) << "bank " << b << " mode " << m;
                    }
                }
        break;
    case phaser:
        for (int s = 0; s < MFPhaser::maxStages; ++s)
            ASSERT_FALSE(subnormal(c.phaser.getStateLeft(s)));
        break;
    case chorus:
        ASSERT_EQ(denormals(c.chorus.getLineB(1)), 0u);
        ASSERT_GE(int(c.chorus.getLineB(1).getSize()), c.chorus.getLineLength() + 1);
        break;
    case delay:
        ASSERT_EQ(denormals(c.delay.getLine(0)), 0u);
        break;
    case reverb:
        for (int n = 0; n < MFReverb2::combCount; ++n)
            ASSERT_EQ(denormals(c.reverb.getComb(0, n)), 0u);
        break;
    default:
        break;
    }
}

class EveryEffect : public ::testing::TestWithParam<int> {};

// NaN and infinite samples give exactly what silence at those samples gives, in both
// channels, down to the last bit and over the whole run (the loop effects capture and
// replay the bursts); absurdly large finite samples never make an output non-finite.
TEST_P(EveryEffect, BadInputSamples) {
    const int k = GetParam();
    constexpr std::size_t length = 66150;
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    // Bursts of the given values: single samples, a whole tick, and a ragged run.
    auto burst = [](std::vector<float>& x, const std::vector<float>& values) {
        std::size_t v = 0;
        for (const auto& [from, count] : {std::pair<std::size_t, std::size_t>{100, 1},
                                          {1000, 2},
                                          {6400, 64},
                                          {20011, 37},
                                          {50000, 5}})
            for (std::size_t i = from; i < from + count; ++i)
                x[i] = values[v++ % values.size()];
    };
    EffectChainRig poisoned, silent, huge;
    for (EffectChainRig* rig : {&poisoned, &silent, &huge}) {
        open(*rig, k);
        rig->driver(k).setRunPattern({64, 17, 1});
    }
    std::vector<float> l = music(length, 1), r = music(length, 2);
    std::vector<float> zl = l, zr = r, hl = l, hr = r;
    burst(l, {nan, inf, -inf, -nan});
    burst(r, {nan, inf, -inf, -nan});
    burst(zl, {0.0f});
    burst(zr, {0.0f});
    burst(hl, {FLT_MAX, -FLT_MAX, 1e30f, -3e38f, 1e20f});
    burst(hr, {FLT_MAX, -FLT_MAX, 1e30f, -3e38f, 1e20f});
    poisoned.driver(k).run(l, r);
    silent.driver(k).run(zl, zr);
    huge.driver(k).run(hl, hr);
    ASSERT_TRUE(signal::allFinite(l.data(), length) && signal::allFinite(r.data(), length));
    EXPECT_EQ(0, std::memcmp(l.data(), zl.data(), length * sizeof(float)));
    EXPECT_EQ(0, std::memcmp(r.data(), zr.data(), length * sizeof(float)));
    EXPECT_TRUE(signal::allFinite(hl.data(), length) && signal::allFinite(hr.data(), length));
}

// Every knob swept between its ends, zones opening, re-triggering and closing, the tempo
// jumping between 45 and 499 bpm and ragged runs, at both ends of the rate range: loud
// noise, then a long silence. The output stays finite and clear of denormals, within the
// bound an effect has (dry plus one grain or slice, the Filter's clip), and so does what
// can be seen of the state; then the rate jumps to the other end and it plays on.
TEST_P(EveryEffect, ExtremeSettingsRatesAndTemposStayFiniteAndInside) {
    const int k = GetParam();
    const float bound[EffectChainRig::size] = {3.0f,     4.0f,     INFINITY, 2.0f,     2.0f,
                                               INFINITY, INFINITY, INFINITY, INFINITY, 2.0f,
                                               1.0f,     INFINITY, INFINITY, INFINITY, INFINITY};
    for (const float rate : {22050.0f, 176000.0f}) {
        SCOPED_TRACE(rate);
        EffectChainRig rig(rate, 120.0);
        MFEffect& fx = rig.effect(k);
        EffectDriver& drive = rig.driver(k);
        open(rig, k);
        drive.setRunPattern({1, 64, 13, 50});
        const int32_t gate = EffectChainRig::gateIndex[k];
        drive.onTick([&](int64_t t) {
            if (t % 97 == 0)
                drive.setGate(float(t / 97 % 3));
            if (t % 41 == 0)
                for (int32_t p = 0; p < fx.getParameterCount(); ++p)
                    if (p != gate)
                        fx.setParameter(p, float((t / 41 + p) % 3) * 0.5f);
            if (t % 300 == 150)
                rig.context.changeTempo(t % 600 == 150 ? 45.0 : 499.0);
        });
        const std::size_t block = 4096;
        const std::size_t loud = std::size_t(rate) / block, total = 3 * loud;
        float peak = 0.0f;
        for (std::size_t b = 0; b < total; ++b) {
            std::vector<float> l(block, 0.0f), r(block, 0.0f);
            if (b < loud) {
                l = signal::noise(block, unsigned(b + 1));
                r = signal::noise(block, unsigned(b + 1000));
            }
            drive.run(l, r);
            ASSERT_TRUE(signal::allFinite(l.data(), block) && signal::allFinite(r.data(), block));
            ASSERT_EQ(signal::denormalCount(l.data(), block), 0u) << "block " << b;
            ASSERT_EQ(signal::denormalCount(r.data(), block), 0u) << "block " << b;
            peak = std::max({peak, signal::peak(l.data(), block), signal::peak(r.data(), block)});
            checkState(rig, k);
        }
        EXPECT_LE(peak, bound[k]);
        rig.context.info.setSampleRate(rate == 22050.0f ? 176000.0f : 22050.0f);
        fx.updateBuffers(false);
        for (int b = 0; b < 8; ++b) {
            std::vector<float> l = signal::noise(block, 77), r = l;
            drive.run(l, r);
            ASSERT_TRUE(signal::allFinite(l.data(), block) && signal::allFinite(r.data(), block));
            checkState(rig, k);
        }
    }
}

// Once the lane has closed and its ramps have landed, the input passes bit for bit. The
// delay lines, the reverb and the X-Loop hold nothing of what they heard: a zone that
// opens later on silence stays silent.
TEST_P(EveryEffect, AClosedLanePassesTheInputBitForBit) {
    const int k = GetParam();
    EffectChainRig rig;
    EffectDriver& drive = rig.driver(k);
    open(rig, k);
    rig.chain.delay.setParameter(MFLevelDelay::parameterFeedback, 1.0f);
    rig.chain.reverb.setParameter(0, 1.0f); // the longest room
    drive.setRunPattern({64, 7, 1, 30});
    std::vector<float> l = music(44100, 3), r = music(44100, 4);
    drive.run(l, r);
    close(rig, k);
    std::vector<float> fade(512, 0.0f), fadeR(512, 0.0f);
    drive.run(fade, fadeR);

    // Longer than the Delay's line, which is overwritten with silence meanwhile.
    const std::vector<float> inL = signal::noise(100000, 5), inR = signal::noise(100000, 6);
    l = inL;
    r = inR;
    drive.run(l, r);
    EXPECT_EQ(0, std::memcmp(l.data(), inL.data(), l.size() * sizeof(float)));
    EXPECT_EQ(0, std::memcmp(r.data(), inR.data(), r.size() * sizeof(float)));
    EXPECT_TRUE(k != reverb || rig.chain.reverb.isSleeping()) << "the reverb sleeps";

    if (k == xLoop || k == chorus || k == delay || k == reverb) {
        open(rig, k);
        std::vector<float> sl(44100, 0.0f), sr(44100, 0.0f);
        drive.run(sl, sr);
        EXPECT_LT(signal::peak(sl.data(), sl.size()), 1e-6f);
        EXPECT_LT(signal::peak(sr.data(), sr.size()), 1e-6f);
    }
}

// Host block sizes do not change the sound: state carries across runs. Zones open,
// re-trigger and close and a knob moves on the way; beyond float rounding (1e-5 at unit
// level) a difference means lost state.
TEST_P(EveryEffect, RaggedHostBlocksSoundTheSameAsWholeTicks) {
    const int k = GetParam();
    std::vector<float> outputs[2];
    for (int variant = 0; variant < 2; ++variant) {
        EffectChainRig rig;
        MFEffect& fx = rig.effect(k);
        EffectDriver& drive = rig.driver(k);
        open(rig, k);
        if (variant == 1)
            drive.setRunPattern({1, 7, 13, 64, 3});
        drive.onTick([&](int64_t t) {
            drive.setGate(t < 100 ? 0.0f : (t < 500 ? 1.0f : 2.0f));
            drive.setMix(t < 100 ? 0.0f : 0.8f);
            if (t == 300)
                fx.setParameter(0, 0.3f);
        });
        auto l = music(64 * 1000, 22), r = music(64 * 1000, 23);
        drive.run(l, r);
        outputs[variant] = l;
    }
    for (std::size_t i = 0; i < outputs[0].size(); ++i)
        ASSERT_NEAR(outputs[0][i], outputs[1][i], 1e-5f) << i;
}

INSTANTIATE_TEST_SUITE_P(Chain, EveryEffect, ::testing::Range(0, EffectChainRig::size),
                         [](const auto& info) { return EffectChainRig::testName(info.param); });

// A zone opening and closing at a low lane mix puts no step into the output: the largest
// sample-to-sample step of a 0.9 sine at 100 Hz (its own: 0.0128) grows by at most 2 %,
// which the mix ramp's share (mix / 64 of the signal per sample) stays well inside. (The
// Crush is left out: its wet signal is made of steps.)
TEST(MixedEffects, ZoneEdgesAtALowMixAddNoStep) {
    const std::pair<int, float> cases[] = {{tonalDelay, 0}, {filter, 0.4f}, {filter, 0.1f},
                                           {filter, 0.6f},  {phaser, 0},    {chorus, 0},
                                           {delay, 0},      {reverb, 0}};
    for (const auto& [k, filterMode] : cases)
        for (const float mix : {1e-4f, 1e-2f}) {
            SCOPED_TRACE(testing::Message() << EffectChainRig::names[k] << " at mix " << mix
                                            << ", filter mode " << filterMode);
            EffectChainRig rig;
            open(rig, k);
            rig.chain.tonalDelay.setParameter(MFTonalDelay::parameterLevel, 1.0f);
            rig.chain.filter.setParameter(MFVEXFilter::parameterCutoff, 0.3f);
            rig.chain.filter.setParameter(MFVEXFilter::parameterResonance, 0.5f);
            rig.chain.filter.setParameter(MFVEXFilter::parameterMode, filterMode);
            EffectDriver& drive = rig.driver(k);
            drive.setMix(0.0f);
            // Mix values set in the hook reach the effect from the next tick on.
            drive.onTick([&](int64_t tick) {
                if (tick == 11)
                    drive.setMix(mix); // the zone opens at a trough of the sine
                if (tick == 35)
                    drive.setMix(0.0f); // and closes near a crest
            });
            const std::vector<float> in = signal::sine(100.0, 44100.0, 64 * 60, 0.9f);
            std::vector<float> l = in, r = in;
            drive.run(l, r);
            EXPECT_LE(signal::largestStep(l), signal::largestStep(in) * 1.02f);
            EXPECT_LE(signal::largestStep(r), signal::largestStep(in) * 1.02f);
        }
}

} // namespace

namespace {

// A touching zone re-triggers a gated effect while it sounds: whatever it starts over
// with, it crosses to it without a click. A 220 Hz sine of 0.5 moves at most 0.016 per
// sample, 0.05 at the three times speed a scratch can reach; a jump to another part of
// the signal would be up to 1. (The Vinyl's wobble is kept shallow: at full size it bends
// the tone by far more than that on its own.)
TEST(GatedEffects, ARetriggerWhileSoundingDoesNotClick) {
    for (int k = 0; k < EffectChainRig::size; ++k) {
        if (EffectChainRig::gateIndex[k] < 0)
            continue;
        SCOPED_TRACE(EffectChainRig::names[k]);
        EffectChainRig rig;
        EffectDriver& drive = rig.driver(k);
        drive.setRunPattern({64, 17, 5});
        const std::vector<float> in = signal::sine(220.0, 44100.0, 45056 + 15936 + 2048, 0.5f);
        std::vector<float> l = in, r = in;
        drive.run(l.data(), r.data(), 45056); // a past to play from
        open(rig, k);
        rig.chain.vinyl.setParameter(MFVinyl::sizeIndex, 0.05f);
        drive.run(l.data() + 45056, r.data() + 45056, 15936);
        drive.setGate(2.0f);
        drive.run(l.data() + 60992, r.data() + 60992, 2048);
        float worst = 0.0f;
        for (std::size_t i = 60992 - 64; i < l.size(); ++i)
            worst = std::max(worst, std::fabs(l[i] - l[i - 1]));
        EXPECT_LT(worst, 0.06f);
    }
}

} // namespace
