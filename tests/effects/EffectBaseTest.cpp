#include "effects/MFAlignedArray.h"
#include "effects/MFBufferRegistry.h"
#include "effects/MFDivisionSet.h"
#include "effects/MFDsp.h"
#include "effects/MFEffect.h"
#include "effects/MFSineTable.h"
#include "effects/MFSystemInfo.h"
#include "support/EffectHarness.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <utility>

namespace {

using Context = TestContext;

TEST(SystemInfo, DerivesFromRateAndRejectsRatesOutsideRange) {
    Context c;
    EXPECT_FLOAT_EQ(c.info.samplesPerBeat, 22050.0f);
    EXPECT_FLOAT_EQ(c.info.ticksPerMs, 44100.0f / 64.0f * 0.001f);
    EXPECT_FLOAT_EQ(c.info.tableStepTime, 1024.0f / 44100.0f);

    EXPECT_FALSE(c.info.setSampleRate(200000.0f));
    EXPECT_FALSE(c.info.setSampleRate(8000.0f));
    EXPECT_FALSE(c.info.setSampleRate(192000.5f));
    EXPECT_FALSE(c.info.setSampleRate(11024.5f));
    EXPECT_FLOAT_EQ(c.info.sampleRate, 44100.0f);
    EXPECT_FLOAT_EQ(c.info.samplesPerMs, 44.1f);

    // Every rate a host offers, from 11.025 to 192 kHz.
    for (const float rate : {11025.0f, 176400.0f, 192000.0f}) {
        EXPECT_TRUE(c.info.setSampleRate(rate)) << rate;
        EXPECT_FLOAT_EQ(c.info.rateRatio, rate / 44100.0f);
        EXPECT_FLOAT_EQ(c.info.samplesPerBeat, rate / 2.0f) << "a beat at 120 bpm";
    }
}

TEST(SystemInfo, TempoIsClampedBelowAndIgnoredAtTheCeiling) {
    Context c;
    c.info.setTempo(30.0);
    EXPECT_DOUBLE_EQ(c.info.tempo, 45.0);
    c.info.setTempo(140.0);
    EXPECT_DOUBLE_EQ(c.info.tempo, 140.0);
    EXPECT_NEAR(c.info.samplesPerBeat, 44100.0 * 60.0 / 140.0, 0.01);
    c.info.setTempo(500.0);
    EXPECT_DOUBLE_EQ(c.info.tempo, 140.0);
    c.info.setTempo(499.0);
    EXPECT_DOUBLE_EQ(c.info.tempo, 499.0);
}

TEST(AlignedArray, GrowsKeepsContentsNeverShrinksAndTracksTheRegistry) {
    MFBufferRegistry registry;
    {
        MFAlignedArray a(&registry);
        a.setSize(100);
        ASSERT_EQ(registry.blocks().size(), 1u);
        EXPECT_EQ(registry.blocks()[0].bytes, 400u);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(a.data()) % 16, 0u);
        for (uint32_t i = 0; i < 100; ++i)
            a[i] = float(i);

        const float* before = a.data();
        a.setSize(10);
        a.setSize(100);
        EXPECT_EQ(a.data(), before) << "shrinking and growing within capacity must not move";
        EXPECT_EQ(a[99], 99.0f);

        a.setSize(300);
        EXPECT_EQ(a.getCapacity(), 300u);
        EXPECT_EQ(a[99], 99.0f);
        EXPECT_EQ(a[100], 0.0f);
        EXPECT_EQ(a[299], 0.0f);
        ASSERT_EQ(registry.blocks().size(), 1u);
        EXPECT_EQ(registry.blocks()[0].data, a.data());
        EXPECT_EQ(registry.blocks()[0].bytes, 1200u);

        registry.clearAll();
        EXPECT_EQ(a[99], 0.0f);
    }
    EXPECT_TRUE(registry.blocks().empty());
    registry.remove(nullptr); // an address that is not listed changes nothing
}

TEST(DivisionSet, RowsFromNormalisedValuesAndVariants) {
    const MFDivisionSet& notes = MFDivisionSet::noteValues();
    const MFDivisionTable& full = notes.table(MFDivisionSet::full);
    ASSERT_EQ(full.count, 16);
    EXPECT_STREQ(full.entryFor(1.0f).name, "bar");
    EXPECT_STREQ(full.entryFor(0.0f).name, "1\\128T");
    // v = 0.5 -> truncate(0.5 * 15 + 0.5) = 8
    EXPECT_STREQ(full.entryFor(0.5f).name, "1\\16");

    const MFDivisionTable& straight = notes.table(MFDivisionSet::straight);
    EXPECT_EQ(straight.count, 8);
    EXPECT_STREQ(straight.entryFor(0.0f).name, "1\\128");
    EXPECT_EQ(notes.table(MFDivisionSet::straightTriplet).count, 16);
    EXPECT_EQ(notes.table(MFDivisionSet::straightDotted).count, 8);

    const MFDivisionSet& bars = MFDivisionSet::bars();
    EXPECT_EQ(bars.table(0).count, 16);
    EXPECT_STREQ(bars.table(0).entries[6].name, "3//4 bar");
    // "Off", 4, 3, 2 bars and 1.5 bars hold no straight value but 1 and the fractions do; six of
    // the fractions are dotted.
    EXPECT_EQ(bars.table(MFDivisionSet::straight).count, 6);
    EXPECT_EQ(bars.table(MFDivisionSet::straightDotted).count, 12);
    EXPECT_EQ(MFDivisionSet::shortValues().table(0).count, 10);

    EXPECT_EQ(MFDivisionTable::samplesFor(0.25f, 22050.0f), 22050);
    EXPECT_EQ(MFDivisionTable::samplesFor(0.0833333f, 22050.0f), 7349);
}

TEST(SineTable, MatchesTheRuleAndInterpolates) {
    const MFSineTable& t = MFSineTable::instance();
    EXPECT_EQ(t.sine[0], 0.0f);
    EXPECT_NEAR(t.sine[256], 1.0f, 1e-6f);
    EXPECT_NEAR(t.sine[1024], 0.0f, 1e-6f);
    for (float p = 0.0f; p < 1.0f; p += 0.01f)
        EXPECT_NEAR(t.read(p), std::sin(6.2831853f * p), 2e-5f) << "phase " << p;
}

TEST(DspIdioms, ParabolaSineIsCloseToSine) {
    for (float x = -3.14159f; x <= 3.14159f; x += 0.05f)
        EXPECT_NEAR(mfdsp::parabolaSine(x), std::sin(x), 1.2e-3f) << x;
}

TEST(DspIdioms, MixRampSnapsWithItsAsymmetricBounds) {
    mfdsp::MFMixRamp ramp;
    ramp.current = 0.5f;
    ramp.tick(0.5f + 6.0e-7f, 0.015625f); // step 9.4e-9: below the upper bound, snaps
    EXPECT_EQ(ramp.step, 0.0f);
    EXPECT_EQ(ramp.current, 0.5f + 6.0e-7f);
    ramp.current = 0.5f;
    ramp.tick(0.5f - 6.0e-7f, 0.015625f); // step -9.4e-9: inside the wider lower bound, snaps
    EXPECT_EQ(ramp.step, 0.0f);
    ramp.current = 0.5f;
    ramp.tick(0.5f - 3.0e-6f, 0.015625f); // step -4.7e-8: still snaps on the negative side
    EXPECT_EQ(ramp.step, 0.0f);
    ramp.current = 0.25f;
    ramp.tick(0.25f + 3.0e-6f, 0.015625f); // +4.7e-8 moves a value of 0.25: a real ramp
    EXPECT_GT(ramp.step, 0.0f);
}

// Kept from the optimiser, so that the arithmetic runs in the rounding mode in force.
float opaque(float x) {
    volatile float v = x;
    return v;
}

// Under the block's truncating rounding a rising value does not move by less than a float
// step, so a ramp that merely keeps stepping can hang a hair below its target for ever
// (and keep an effect from going to sleep). Every form of the shared ramp must land
// exactly, from far and from a hair away, in both directions, within a few ticks.
TEST(DspIdioms, EveryRampLandsExactlyOnItsTarget) {
    const std::pair<float, float> moves[] = {
        {0.99999994f, 1.0f}, {0.9999f, 1.0f}, {0.0f, 1.0f},   {1.0f, 0.0f},
        {0.3f, 0.7f},        {0.7f, 0.3f},    {1.0f, 0.25f},  {1.0f, 4.0f},
        {4.0f, 1.0f},        {-0.5f, -1.0f},  {0.0f, -0.75f}, {22050.0f, 22051.5f}};
    constexpr float recip = 0.015625f;
    constexpr int tickLimit = 10;
    for (const auto& [from, to] : moves) {
        const float start = opaque(from), target = opaque(to);
        mfdsp::MFMixRamp perSample{start, 0.0f};
        mfdsp::MFBlockSmoother smooth{start, 0.0f}, slow{start, 0.0f};
        mfdsp::MFMixRamp walked{start, 0.0f};
        float oneSided = start, oneSidedStep = 0.0f;
        const bool unitRange = start >= 0.0f && start <= 1.0f && target >= 0.0f && target <= 1.0f;
        int ticks = 0;
        for (; ticks < tickLimit; ++ticks) {
            perSample.tick(target, recip);
            smooth.tick(target, recip);
            slow.tick(target, recip, 1e-10f);
            walked.tick(target, recip);
            mfdsp::aimRamp(oneSided, oneSidedStep, target, recip, -1e-8f, 0.0f);
            mfdsp::MFEqualPowerWalk walk;
            if (unitRange)
                walk.begin(walked, 64);
            for (int k = 0; k < 64; ++k) {
                perSample.current += perSample.step;
                smooth.next();
                slow.next();
                oneSided += oneSidedStep;
            }
            if (perSample.current == target && perSample.step == 0.0f && smooth.value == target &&
                smooth.step == 0.0f && slow.value == target && slow.step == 0.0f &&
                oneSided == target && oneSidedStep == 0.0f &&
                (!unitRange || (walked.current == target && walked.step == 0.0f)))
                break;
        }
        EXPECT_LT(ticks, tickLimit) << from << " to " << to << ": per sample " << perSample.current
                                    << ", smoother " << smooth.value << ", slow " << slow.value
                                    << ", one-sided " << oneSided << ", walked " << walked.current;
    }
}

TEST(DspIdioms, EqualPowerWalkReachesTheTargetGains) {
    mfdsp::MFMixRamp ramp;
    ramp.tick(1.0f, 0.015625f);
    mfdsp::MFEqualPowerWalk walk;
    walk.begin(ramp, 64);
    EXPECT_FLOAT_EQ(ramp.current, 1.0f);
    for (int i = 0; i < 64; ++i)
        walk.advance();
    // After n of n + 1 steps the gains are one step short of sqrt(1) and sqrt(0).
    EXPECT_NEAR(walk.wet, 64.0f / 65.0f, 1e-5f);
    EXPECT_NEAR(walk.dry, 1.0f / 65.0f, 1e-5f);
}

TEST(DspIdioms, EqualPowerWalkIgnoresHowTheTickIsCut) {
    // The gains of each sample of a tick, walked in runs; bit for bit the same however
    // the host's blocks cut the tick.
    auto walkTick = [](const std::vector<int>& runs) {
        mfdsp::MFMixRamp ramp;
        ramp.current = 0.3f;
        ramp.tick(0.85f, 0.015625f);
        std::vector<float> gains;
        for (int n : runs) {
            mfdsp::MFEqualPowerWalk walk;
            walk.begin(ramp, n);
            for (int i = 0; i < n; ++i) {
                walk.advance();
                gains.push_back(walk.wet);
                gains.push_back(walk.dry);
            }
        }
        gains.push_back(ramp.current);
        return gains;
    };
    const std::vector<float> whole = walkTick({64});
    EXPECT_EQ(walkTick({37, 27}), whole);
    EXPECT_EQ(walkTick(std::vector<int>(64, 1)), whole);
    EXPECT_EQ(walkTick({1, 2, 3, 58}), whole);
}

TEST(DspIdioms, FractionalReadInterpolatesLinearly) {
    const float b[] = {0.0f, 1.0f, 3.0f};
    EXPECT_FLOAT_EQ(mfdsp::fractionalRead(b, 0.5f), 0.5f);
    EXPECT_FLOAT_EQ(mfdsp::fractionalRead(b, 1.25f), 1.5f);
}

class CountingEffect : public MFEffect {
public:
    explicit CountingEffect(MFSystemInfo& c) : MFEffect(1, c, 2, &MFDivisionSet::noteValues()) {}
    void setParameter(int32_t index, float value) override {
        MFEffect::setParameter(index, value);
        ++applied;
    }
    int applied = 0;
};

// The base names an unnamed parameter, shows plain values, and a new division variant
// sends every parameter again so that lengths follow the new rows.
TEST(Effect, BaseNamesDisplayAndDivisionReapply) {
    Context c;
    CountingEffect e(c.info);
    char text[64];
    e.getParameterName(0, text);
    EXPECT_STREQ(text, "no name set");
    e.getParameterDisplay(0, 0.25f, text);
    EXPECT_STREQ(text, "0.250000");

    e.setParameter(0, 0.3f);
    e.setParameter(1, 0.7f);
    e.applied = 0;
    e.setDivisionSet(MFDivisionSet::straight);
    EXPECT_EQ(e.applied, 2);
    EXPECT_FLOAT_EQ(e.getParameterValue(0), 0.3f);
    EXPECT_FLOAT_EQ(e.getParameterValue(1), 0.7f);
}

} // namespace

#include "support/EffectHarness.h"

namespace {

class RunRecorder : public MFEffect {
public:
    explicit RunRecorder(MFSystemInfo& c) : MFEffect(2, c, 1) {}
    void process(float*, float*, int32_t count) override {
        runs.push_back(count);
        samples += count;
    }
    void controlTick() override { tickAt.push_back(samples); }
    std::vector<int32_t> runs;
    std::vector<int64_t> tickAt;
    int64_t samples = 0;
};

TEST(EffectHarness, TicksEvery64SamplesWhateverTheRuns) {
    TestContext c;
    RunRecorder e(c.info);
    EffectDriver d(e, -1);
    d.setRunPattern({1, 7, 100, 3});
    std::vector<float> l(1000), r(1000);
    d.run(l, r);
    EXPECT_EQ(e.samples, 1000);
    ASSERT_EQ(e.tickAt.size(), 16u);
    for (std::size_t k = 0; k < e.tickAt.size(); ++k)
        EXPECT_EQ(e.tickAt[k], int64_t(k) * 64);
    for (int32_t n : e.runs)
        EXPECT_LE(n, 64);
}

} // namespace
