#include "effects/MFLooperX2.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace {

constexpr int32_t gate = MFLooperX2::parameterGate;
constexpr float rate44 = 44100.0f;
using Phase = MFLooperX2::Phase;

float rowValue(int row) {
    return 1.0f - float(row) / 15.0f;
}

// Starts of the sounding stretches: the first sample that is not silent after at least
// 16 silent ones (a tone's own zero crossings are shorter than that).
std::vector<int> onsets(const std::vector<float>& x) {
    std::vector<int> found;
    int quietRun = 16;
    for (int i = 0; i < int(x.size()); ++i) {
        const bool quiet = std::fabs(x[i]) < 1e-7f;
        if (!quiet && quietRun >= 16)
            found.push_back(i);
        quietRun = quiet ? quietRun + 1 : 0;
    }
    return found;
}

// An X-Loop with its gate open, at 44.1 kHz and 120 bpm unless told otherwise.
struct OpenLoop {
    TestContext ctx;
    MFLooperX2 fx{182, ctx.info};
    EffectDriver drive{fx, gate};
    explicit OpenLoop(float rate = rate44, double bpm = 120.0) : ctx(rate, bpm) {
        drive.setGate(1.0f);
    }
};

// Runs a fully wet X-Loop on a steady input from the gate's opening and returns the output.
std::vector<float> runSteady(OpenLoop& rig, int n, float level = 0.5f) {
    std::vector<float> left(n, level), right(n, level);
    rig.drive.run(left, right);
    return left;
}

// Slice lengths as the rule for repeats gives them, from the first slice on.
std::vector<int> expectedSlices(int first, float factor, int bar, int count) {
    std::vector<int> s{first};
    while (int(s.size()) < count) {
        const int last = s.back();
        int next;
        if (factor < 1.0f && last < 1932)
            next = int(float(last) * (1.0f - (1.0f - factor) * (1.0f - factor)));
        else
            next = int(float(last) * factor);
        s.push_back(std::max(std::min(next, bar), 322));
    }
    return s;
}

} // namespace

// Near the centre the size change is exactly none; the envelope has a floor of 0.1.
TEST(MFLooperX2, KnobMappings) {
    OpenLoop rig;
    auto& [ctx, fx, drive] = rig;
    EXPECT_FALSE(fx.isActive());
    EXPECT_EQ(fx.getSizeLength(), 11025);
    fx.setParameter(2, 0.505f);
    EXPECT_EQ(fx.getSizeFactor(), 1.0f);
    fx.setParameter(2, 0.52f);
    EXPECT_NEAR(fx.getSizeFactor(), 1.02f, 1e-6f);
    fx.setParameter(3, 0.0f);
    EXPECT_NEAR(fx.getRateFactor(), 0.85f, 1e-6f);
    fx.setParameter(3, 1.0f);
    EXPECT_NEAR(fx.getRateFactor(), 1.15f, 1e-6f);
    fx.setParameter(1, 0.0f);
    EXPECT_NEAR(fx.getEnvelopeFraction(), 0.1f, 1e-7f);
    fx.setParameter(1, 1.0f);
    EXPECT_LT(fx.getEnvelopeFraction(), 1.0f);
}

TEST(MFLooperX2, FirstSliceHasNoFadeInLaterSlicesFadeIn) {
    OpenLoop rig;
    auto& [ctx, fx, drive] = rig;
    fx.setParameter(0, rowValue(8)); // a sixteenth: 5512 samples
    fx.setParameter(1, 0.0f);
    const auto out = runSteady(rig, 12000);
    // The first slice replays the input as it is recorded, and the mix ramp's dry and wet
    // gains sum to one, so the level holds. A 40-sample fade in of the wet part would dip
    // it to about 0.44 near the tenth sample.
    for (int i = 0; i < 64; ++i)
        ASSERT_NEAR(out[i], 0.5f, 0.002f) << i;
    const auto starts = onsets(out);
    ASSERT_GE(starts.size(), 2u);
    EXPECT_EQ(starts[0], 0);
    // The second slice rises over 40 samples: half way at 20, full at 40, within 3 %.
    const int s = starts[1];
    EXPECT_NEAR(out[s + 19], 0.25f, 0.015f);
    EXPECT_NEAR(out[s + 41], 0.5f, 0.005f);
    // And it falls over 40 samples at the end of the sustain.
    int last = s;
    while (std::fabs(out[last + 1]) > 1e-7f)
        ++last;
    EXPECT_NEAR(out[last - 20], 0.25f, 0.02f);
    EXPECT_NEAR(out[last - 45], 0.5f, 0.005f);
}

TEST(MFLooperX2, SlicesShrinkToTheFloorAndGrowToTheBar) {
    const int bar = 88200;
    {
        OpenLoop rig;
        auto& [ctx, fx, drive] = rig;
        fx.setParameter(0, 1.0f); // a bar
        fx.setParameter(1, 0.0f);
        fx.setParameter(2, 0.0f); // halve, gently below 1932 samples
        const auto out = runSteady(rig, 200000);
        const auto starts = onsets(out);
        const auto slices = expectedSlices(bar, 0.5f, bar, 16);
        ASSERT_GE(starts.size(), 16u);
        for (int k = 0; k + 1 < 16; ++k)
            EXPECT_NEAR(starts[k + 1] - starts[k], slices[k], 2) << "slice " << k;
        EXPECT_EQ(fx.getSliceLength(), 322);
        EXPECT_EQ(slices[13], 322);
    }
    {
        OpenLoop rig;
        auto& [ctx, fx, drive] = rig;
        fx.setParameter(0, 0.0f); // 1/128 triplet: 459 samples
        fx.setParameter(1, 0.0f);
        fx.setParameter(2, 1.0f); // times 1.5
        const auto out = runSteady(rig, 600000);
        const auto starts = onsets(out);
        const auto slices = expectedSlices(459, 1.5f, bar, 16);
        ASSERT_GE(starts.size(), 16u);
        for (int k = 0; k + 1 < 16; ++k)
            EXPECT_NEAR(starts[k + 1] - starts[k], slices[k], 2) << "slice " << k;
        EXPECT_EQ(fx.getSliceLength(), bar);
    }
}

TEST(MFLooperX2, RateFactorBendsPitchBetweenItsLimits) {
    // Rising: 441 Hz recorded, the rate climbs by 1.15 per repeat and stops at 4.
    {
        OpenLoop rig;
        auto& [ctx, fx, drive] = rig;
        fx.setParameter(0, rowValue(4)); // a quarter: 22050 samples
        fx.setParameter(1, 0.5f);
        fx.setParameter(3, 1.0f);
        const int n = 14 * 22050;
        auto left = signal::sine(441.0, rate44, n, 0.5f);
        auto right = left;
        drive.run(left, right);
        EXPECT_EQ(fx.getRate(), 4.0f);
        // Dry is fully off, so the last sounding stretch is the last slice.
        const auto starts = onsets(left);
        ASSERT_FALSE(starts.empty());
        const float* slice = left.data() + starts.back() + 100;
        ASSERT_LT(starts.back() + 2148, n);
        // Within 15 Hz of four times the pitch: under a sixth of a semitone.
        EXPECT_NEAR(signal::dominantFrequency(slice, 2048, rate44, 200.0, 4000.0, 2.0), 1764.0,
                    15.0);
    }
    // Falling: down to a tenth of the rate, where the sustain is measured on the slice
    // itself rather than on its stretched length, so the repeats keep their spacing.
    {
        OpenLoop rig;
        auto& [ctx, fx, drive] = rig;
        fx.setParameter(0, rowValue(8)); // a sixteenth: 5512 samples
        fx.setParameter(1, 0.0f);
        fx.setParameter(3, 0.0f);
        const int n = 24 * 5512;
        auto left = signal::sine(4410.0, rate44, n, 0.5f);
        auto right = left;
        drive.run(left, right);
        EXPECT_EQ(fx.getRate(), 0.1f);
        const auto starts = onsets(left);
        ASSERT_GE(starts.size(), 3u);
        const int k = int(starts.size()) - 1;
        EXPECT_NEAR(starts[k] - starts[k - 1], 5512, 2);
        // A tenth of 4410 Hz, within 10 Hz (the stretch of sound is only 500 samples).
        const float* slice = left.data() + starts[k - 1] + 60;
        EXPECT_NEAR(signal::dominantFrequency(slice, 500, rate44, 100.0, 2000.0, 1.0), 441.0, 10.0);
    }
}

TEST(MFLooperX2, RetriggersDuringWaitSustainAndFadeOut) {
    auto run = [&](int at, float env, bool secondRetrigger) {
        OpenLoop rig;
        auto& [ctx, fx, drive] = rig;
        fx.setParameter(0, rowValue(8));
        fx.setParameter(1, env);
        // The new zone brings a new recording of the opposite sign.
        std::vector<float> left(8000, 0.5f);
        std::fill(left.begin() + at, left.end(), -0.5f);
        std::vector<float> right = left;
        drive.run(left.data(), right.data(), at);
        const Phase before = fx.getPhase();
        drive.setGate(2.0f);
        if (secondRetrigger) {
            drive.run(left.data() + at, right.data() + at, 20);
            // Another zone in the middle of the fade out; the driver then keeps sending it.
            fx.setParameter(gate, 1.0f);
            drive.setGate(1.0f);
            drive.run(left.data() + at + 20, right.data() + at + 20, 8000 - at - 20);
        } else {
            drive.run(left.data() + at, right.data() + at, 8000 - at);
        }
        return std::make_pair(before, left);
    };
    {
        // Env 0: the first slice sounds for about 590 samples, then waits.
        const int at = 1024; // tick aligned
        const auto [before, out] = run(at, 0.0f, false);
        ASSERT_EQ(before, Phase::wait);
        EXPECT_EQ(out[at - 1], 0.0f);
        // A fresh slice at once: a 40-sample fade in from the new recording.
        EXPECT_NEAR(out[at + 19], -0.25f, 0.015f);
        EXPECT_NEAR(out[at + 45], -0.5f, 0.005f);
    }
    for (const bool second : {false, true}) {
        // Env 1, in the second slice, which replays recorded material: the old slice
        // fades out, then the new one fades in. (In the first slice the read runs level
        // with the recording, so its fade out would only find silence.)
        const int at = 6144;
        const auto [before, out] = run(at, 1.0f, second);
        ASSERT_EQ(before, Phase::sustain);
        EXPECT_NEAR(out[at + 19], 0.25f, 0.02f);
        EXPECT_GT(out[at + 38], 0.0f);
        // A second zone during the fade does not restart it: the new slice still
        // begins 40 samples after the first retrigger.
        EXPECT_LE(out[at + 41], 0.0f);
        EXPECT_NEAR(out[at + 60], -0.25f, 0.02f);
        EXPECT_NEAR(out[at + 90], -0.5f, 0.005f);
    }
}

TEST(MFLooperX2, ASlowerTempoGrowsTheBuffersForReadsPastTheRecording) {
    // A tempo change from the fastest to the slowest grows the buffers to fit the new bar
    // exactly; bar-long slices at four times the rate then read past the recording,
    // and those reads must stay inside the buffers.
    OpenLoop rig(22050.0f, 499.0);
    auto& [ctx, fx, drive] = rig;
    ctx.changeTempo(45.0);
    fx.setParameter(0, 1.0f);
    fx.setParameter(3, 1.0f);
    auto left = signal::noise(12 * 117600, 5), right = left;
    drive.run(left, right);
    EXPECT_EQ(fx.getRate(), 4.0f);
    EXPECT_TRUE(signal::allFinite(left.data(), left.size()));
}

TEST(MFLooperX2, LongRunAtExtremesLeavesNoDenormals) {
    OpenLoop rig;
    auto& [ctx, fx, drive] = rig;
    fx.setParameter(0, 0.0f);
    fx.setParameter(1, 0.0f);
    fx.setParameter(2, 0.0f);
    fx.setParameter(3, 0.0f);
    // A decaying burst is recorded, then 20 s of silence play through the slices.
    const int n = 20 * 44100;
    std::vector<float> left(n, 0.0f), right(n, 0.0f);
    float v = 1.0f;
    for (int i = 0; i < 3000; ++i, v *= 0.97f)
        left[i] = right[i] = v;
    drive.run(left, right);
    EXPECT_EQ(signal::denormalCount(left.data(), left.size()), 0u);
    EXPECT_EQ(signal::denormalCount(right.data(), right.size()), 0u);
    EXPECT_TRUE(signal::allFinite(left.data(), left.size()));
}
