#include "effects/MFLooperX.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace {

constexpr int32_t gate = MFLooperX::parameterGate;
constexpr float rate44 = 44100.0f;
// At 120 bpm and 44100 Hz a bar is 88200 samples and a sixteenth 5512.
constexpr int32_t sixteenth = 5512;

// Normalised value that selects a row of a 16-row division table.
float rowValue(int row) {
    return 1.0f - float(row) / 15.0f;
}

// A loop of one sixteenth, full speed, no crossfade and no decay: the plainest repeat.
struct PlainLoop {
    TestContext ctx;
    MFLooperX fx{176, ctx.info};
    EffectDriver drive{fx, gate};
    PlainLoop() {
        fx.setParameter(MFLooperX::parameterSize, rowValue(8));
        fx.setParameter(MFLooperX::parameterDirection, 1.0f);
        fx.setParameter(MFLooperX::parameterFade, 0.0f);
        fx.setParameter(MFLooperX::parameterDecay, 1.0f);
    }
};

// Smallest, over a few samples of delay, of the largest difference between a and b[-lag].
float bestLagError(const float* a, const float* b, int n, int maxLag) {
    float best = 1e9f;
    for (int lag = 0; lag <= maxLag; ++lag) {
        float worst = 0.0f;
        for (int j = 0; j < n; ++j)
            worst = std::max(worst, std::fabs(a[j] - b[j - lag]));
        best = std::min(best, worst);
    }
    return best;
}

} // namespace

TEST(MFLooperX, RepeatsTheCapturedStretchAtTheSyncedLength) {
    PlainLoop rig;
    auto& [ctx, fx, drive] = rig;
    drive.setRunPattern({64, 5, 1, 33});
    const int g = 640;
    const int total = g + 4 * sixteenth;
    // Silence, then a tone for exactly one loop length, then silence again: whatever
    // sounds later can only come from the take.
    std::vector<float> inL(total, 0.0f);
    const auto tone = signal::sine(441.0, rate44, sixteenth, 0.5f);
    std::copy(tone.begin(), tone.end(), inL.begin() + g);
    std::vector<float> left = inL, right = inL;
    drive.run(left.data(), right.data(), g);
    EXPECT_FALSE(fx.isActive());
    drive.setGate(1.0f);
    drive.run(left.data() + g, right.data() + g, total - g);
    EXPECT_TRUE(fx.isActive());
    EXPECT_EQ(fx.getLoopLength(), sixteenth);

    // Second and third passes match the captured tone, allowing up to 3 samples of
    // delay through the tone filter, within 3 % of full scale.
    const int edge = 100;
    for (int pass = 1; pass <= 3; ++pass) {
        const float* out = left.data() + g + pass * sixteenth + edge;
        EXPECT_LT(bestLagError(out, inL.data() + g + edge, sixteenth - 2 * edge, 3), 0.03f)
            << "pass " << pass;
    }
    // Both channels carry the same repeat.
    for (int i = g; i < total; ++i)
        ASSERT_EQ(left[i], right[i]);
}

TEST(MFLooperX, LoopEndCrossfadesIntoTheBarBeforeTheGate) {
    for (const float fraction : {1.0f, 0.0f}) {
        PlainLoop rig;
        auto& [ctx, fx, drive] = rig;
        fx.setParameter(MFLooperX::parameterFade, fraction);
        const int g = 88200 + 640;
        const int total = g + 2 * sixteenth;
        // A steady level before the gate, silence after it: the take is silent and any
        // level heard comes from the history unrolled into the tail.
        std::vector<float> left(total, 0.0f);
        std::fill(left.begin(), left.begin() + g, 0.5f);
        std::vector<float> right = left;
        drive.run(left.data(), right.data(), g);
        drive.setGate(1.0f);
        drive.run(left.data() + g, right.data() + g, total - g);
        for (int pass = 0; pass < 2; ++pass) {
            const float* out = left.data() + g + pass * sixteenth;
            if (fraction == 1.0f) {
                // Linear crossfade over the whole loop: a quarter of the level at the
                // middle, nearly all of it at the end, within 2 % of the level.
                EXPECT_NEAR(out[sixteenth / 2], 0.25f, 0.01f);
                EXPECT_NEAR(out[sixteenth - 2], 0.5f, 0.01f);
                EXPECT_NEAR(out[sixteenth / 4], 0.125f, 0.01f);
            } else {
                EXPECT_LT(signal::peak(out, sixteenth), 1e-6f);
            }
        }
    }
}

TEST(MFLooperX, SlowerSpeedDropsPitchAndTheToneFilterDarkens) {
    PlainLoop rig;
    auto& [ctx, fx, drive] = rig;
    fx.setParameter(MFLooperX::parameterSize, rowValue(2)); // half a bar
    fx.setParameter(MFLooperX::parameterDirection, 0.5f);
    drive.setGate(1.0f);
    const int n = 24000;
    auto left = signal::sine(2000.0, rate44, n, 0.5f);
    auto right = left;
    drive.run(left, right);
    const float* out = left.data() + 4096;
    const int window = 16384;
    EXPECT_NEAR(signal::dominantFrequency(out, window, rate44, 200.0, 5000.0, 5.0), 1000.0, 10.0);
    // Holding each sample twice leaves an image near 21 kHz about 7 % as strong as the
    // tone; the slowed tone filter must push it well below that.
    const double tone = signal::toneMagnitude(out, window, 1000.0, rate44);
    const double image = signal::toneMagnitude(out, window, 21050.0, rate44);
    EXPECT_GT(tone, 0.3);
    EXPECT_LT(image / tone, 0.02);

    // Speed 0 sits on one sample: no tone at all, only a constant.
    PlainLoop rig2;
    auto& [ctx2, still, drive2] = rig2;
    still.setParameter(MFLooperX::parameterDirection, 0.0f);
    drive2.setGate(1.0f);
    auto l2 = signal::sine(2000.0, rate44, n, 0.5f);
    auto r2 = l2;
    drive2.run(l2, r2);
    EXPECT_LT(signal::toneMagnitude(l2.data() + 4096, window, 2000.0, rate44), 1e-3);
}

TEST(MFLooperX, DecayReachesZeroInTheStatedTimeOrNeverAtTheTop) {
    PlainLoop rig;
    auto& [ctx, fx, drive] = rig;
    fx.setParameter(MFLooperX::parameterDecay, 0.1f);
    // 0.1 * 0.97 + 0.03 = 0.127 of 1500 ms: 190.5 ms, 8401 samples at 44.1 kHz.
    const int fall = 8401;
    drive.setGate(1.0f);
    const int n = 12000;
    std::vector<float> left(n, 0.5f), right(n, 0.5f);
    drive.run(left, right);
    // A steady input repeats as a steady level, scaled by the linear fall; within 2 %.
    EXPECT_NEAR(left[fall / 2], 0.25f, 0.01f);
    EXPECT_NEAR(left[fall / 4], 0.375f, 0.01f);
    EXPECT_GT(left[fall - 100], 0.003f);
    EXPECT_LT(signal::peak(left.data() + fall + 2, n - fall - 2), 1e-5f);
    EXPECT_EQ(fx.getRepeatGain(), 0.0f);

    PlainLoop rig2;
    auto& [ctx2, held, drive2] = rig2;
    EXPECT_EQ(held.getDecayStep(), 0.0f);
    drive2.setGate(1.0f);
    std::vector<float> l2(3 * 44100, 0.5f), r2(3 * 44100, 0.5f);
    drive2.run(l2, r2);
    EXPECT_NEAR(l2.back(), 0.5f, 0.005f);
}

TEST(MFLooperX, RetriggerCrossfadesWithoutFilterResetAndRestoresGain) {
    // Steady input at half speed: the tone filter is slow enough that a reset would show.
    {
        PlainLoop rig;
        auto& [ctx, fx, drive] = rig;
        fx.setParameter(MFLooperX::parameterDirection, 0.5f);
        fx.setParameter(MFLooperX::parameterDecay, 0.1f);
        drive.setGate(1.0f);
        std::vector<float> left(8000, 0.5f), right(8000, 0.5f);
        drive.run(left, right);
        const float lowBefore = fx.toneLeft().low;
        EXPECT_NEAR(lowBefore, 0.5f, 0.01f);
        EXPECT_LT(fx.getRepeatGain(), 0.1f);
        drive.setGate(2.0f);
        std::vector<float> one(1, 0.5f), oneR(1, 0.5f);
        drive.run(one, oneR);
        EXPECT_NEAR(fx.toneLeft().low, lowBefore, 0.01f);
        std::vector<float> rest(63, 0.5f), restR(63, 0.5f);
        drive.run(rest, restR);
        EXPECT_GT(fx.getRepeatGain(), 0.99f);
        EXPECT_FLOAT_EQ(fx.getReadPosition(), 32.0f);
    }
    // A tone: the jump back to the start must not click.
    {
        PlainLoop rig;
        auto& [ctx, fx, drive] = rig;
        drive.setGate(1.0f);
        const int n = 12800;
        const int retrigger = 8000; // tick aligned, inside the second pass
        auto left = signal::sine(441.0, rate44, n, 0.5f);
        auto right = left;
        drive.run(left.data(), right.data(), retrigger);
        drive.setGate(2.0f);
        drive.run(left.data() + retrigger, right.data() + retrigger, n - retrigger);
        float steadySlope = 0.0f;
        for (int i = 6000; i < 7900; ++i)
            steadySlope = std::max(steadySlope, std::fabs(left[i + 1] - left[i]));
        float slope = 0.0f;
        for (int i = retrigger - 8; i < retrigger + 80; ++i)
            slope = std::max(slope, std::fabs(left[i + 1] - left[i]));
        // The read jumps by 0.88 of a cycle; without the fade the step would be about 0.3.
        EXPECT_LT(slope, 2.0f * steadySlope);
    }
}

TEST(MFLooperX, SmallLengthChangesAreIgnoredAndNewLengthsWaitForTheWrap) {
    PlainLoop rig;
    auto& [ctx, fx, drive] = rig;
    fx.setParameter(MFLooperX::parameterSize, rowValue(2));
    EXPECT_EQ(fx.getPendingLength(), 44100);
    drive.setGate(1.0f);
    std::vector<float> left(640, 0.1f), right(640, 0.1f);
    drive.run(left, right);
    ASSERT_EQ(fx.getLoopLength(), 44100);

    // 120.05 bpm: half a bar is 44081 samples, 19 less: drift, ignored.
    ctx.changeTempo(120.05);
    EXPECT_EQ(fx.getPendingLength(), 44100);
    // 121 bpm: 43735 samples, a real change that waits for the next wrap.
    ctx.changeTempo(121.0);
    EXPECT_EQ(fx.getPendingLength(), 43735);
    EXPECT_EQ(fx.getLoopLength(), 44100);
    std::vector<float> more(44100, 0.1f), moreR(44100, 0.1f);
    drive.run(more, moreR);
    EXPECT_EQ(fx.getLoopLength(), 43735);
}

TEST(MFLooperX, ResetStopsTheLoopAndStandsTheSpeed) {
    PlainLoop rig;
    auto& [ctx, fx, drive] = rig;
    drive.setGate(1.0f);
    auto left = signal::noise(4000, 5), right = signal::noise(4000, 6);
    drive.run(left, right);
    fx.reset();
    EXPECT_FALSE(fx.isActive());
    // After a reset the loop stands still until "Direction" is sent again.
    fx.gateOn();
    auto l2 = signal::noise(640, 7), r2 = l2;
    fx.controlTick();
    fx.process(l2.data(), r2.data(), 64);
    EXPECT_EQ(fx.getReadPosition(), 0.0f);
}

TEST(MFLooperX, FasterTempoThatCutsTheLoopUnderTheReadIsSilentlyAbsorbed) {
    // A bar-long loop without crossfade; a slightly faster tempo shortens the bar to
    // 87980 samples and the loop to 87979, right where the read position stands.
    PlainLoop rig;
    auto& [ctx, fx, drive] = rig;
    fx.setParameter(MFLooperX::parameterSize, 1.0f);
    drive.setGate(1.0f);
    const int before = 87979;
    std::vector<float> left(before + 20000, 0.3f), right(before + 20000, 0.3f);
    drive.run(left.data(), right.data(), before);
    ctx.changeTempo(120.3);
    ASSERT_EQ(fx.getLoopLength(), 87979);
    ASSERT_FLOAT_EQ(fx.getReadPosition(), 87979.0f);
    drive.run(left.data() + before, right.data() + before, 20000);
    EXPECT_TRUE(signal::allFinite(left.data(), left.size()));
    // The steady input keeps sounding as a steady loop, within 1 %.
    EXPECT_NEAR(left.back(), 0.3f, 0.003f);
}
