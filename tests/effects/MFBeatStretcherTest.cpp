#include "effects/MFBeatStretcher.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

constexpr int32_t gate = MFBeatStretcher::parameterGate;
constexpr float rampSlope = 1e-5f;
// Ramp values stay below 10, where a float resolves about 1e-6; a crossfade of two
// equal samples may round once more.
constexpr float rampTolerance = 3e-6f;

std::vector<float> ramp(std::size_t n) {
    std::vector<float> x(n);
    for (std::size_t i = 0; i < n; ++i)
        x[i] = float(i) * rampSlope;
    return x;
}

struct Rig {
    TestContext ctx;
    MFBeatStretcher fx;
    EffectDriver driver;
    std::vector<float> inL, outL, outR;

    explicit Rig(float rate = 44100.0f) : ctx(rate, 120.0), fx(177, ctx.info), driver(fx, gate) {
        driver.setMix(1.0f);
    }
    // Gate shut until openAt (a multiple of 64), open after; fully wet.
    void play(const std::vector<float>& input, std::size_t openAt) {
        inL = outL = outR = input;
        driver.run(outL.data(), outR.data(), openAt);
        driver.setGate(1.0f);
        driver.run(outL.data() + openAt, outR.data() + openAt, input.size() - openAt);
    }
};

TEST(MFBeatStretcher, PrerollIsAboutAnEighthSecondAndTheSmallestGrainIsFixed) {
    for (float rate : {22050.0f, 44100.0f, 48000.0f, 96000.0f, 176000.0f}) {
        TestContext ctx(rate, 120.0);
        MFBeatStretcher fx(177, ctx.info);
        const double seconds = fx.getPrerollLength() / double(rate);
        // 5512 samples at 44.1 kHz, truncated: within a sample of 124.99 ms.
        EXPECT_NEAR(seconds, 5512.0 / 44100.0, 1.0 / rate) << rate;
        fx.setParameter(1, 0.0f);
        EXPECT_EQ(fx.getGrainLength(), 1760) << rate;
        fx.setParameter(1, 1.0f);
        EXPECT_EQ(fx.getGrainLength(), fx.getPrerollLength()) << rate;
        EXPECT_EQ(fx.getCaptureLength(), int(ctx.info.samplesPerBeat * 8.0f));
        // The fade never falls below its floor of 3 samples.
        fx.setParameter(2, 0.0f);
        fx.setParameter(gate, 1.0f);
        EXPECT_GE(fx.getGrainFade(), 3);
    }
}

TEST(MFBeatStretcher, FullAmountReproducesTheInputThenCrossesBackToTheCaptureStart) {
    Rig rig;
    rig.fx.setParameter(0, 1.0f);
    const std::size_t open = 64 * 200;
    const int capture = rig.fx.getCaptureLength(); // two bars
    const int grain = rig.fx.getGrainLength();
    // The return to the start comes at the end of the last grain that fits the capture.
    const int wrapAt = capture / grain * grain;
    rig.play(ramp(open + std::size_t(wrapAt) + 3000), open);
    const int fade = rig.fx.getGrainFade();

    // Each grain follows on the last, and the crossfade blends equal samples: the
    // wet output is the input sample for sample (after the 64-sample wet ramp).
    int wrong = 0;
    for (int k = 64; k < wrapAt - fade; ++k)
        if (std::fabs(rig.outL[open + std::size_t(k)] - rig.inL[open + std::size_t(k)]) >
            rampTolerance)
            ++wrong;
    EXPECT_EQ(wrong, 0);
    // The last grain's fade crosses into the pre-history just before the gate: the jump
    // back to the capture's start is spread evenly over the fade.
    const std::size_t end = open + std::size_t(wrapAt);
    const float jump = rig.inL[end - 1] - rig.inL[open - 1];
    ASSERT_GT(jump, 1.0f);
    for (std::size_t k = end - std::size_t(fade); k <= end; ++k)
        ASSERT_LE(std::fabs(rig.outL[k] - rig.outL[k - 1]),
                  jump / float(fade) + rampSlope + rampTolerance)
            << k;
    for (int j = 0; j < 2000; ++j)
        ASSERT_NEAR(rig.outL[end + std::size_t(j)], rig.inL[open + std::size_t(j)], rampTolerance)
            << j;
}

TEST(MFBeatStretcher, ZeroAmountRepeatsOneGrain) {
    for (float rate : {44100.0f, 96000.0f}) {
        Rig rig(rate);
        rig.fx.setParameter(0, 0.0f);
        rig.fx.setParameter(1, 0.0f); // 1760 samples at any rate
        rig.fx.setParameter(2, 0.2f);
        const std::size_t open = 64 * 100;
        rig.play(signal::noise(open + 6 * 1760, 5), open);
        const int fade = rig.fx.getGrainFade();
        // The first grain is the input from the gate on, up to its end fade.
        for (int k = 64; k < 1760 - fade; ++k)
            ASSERT_NEAR(rig.outL[open + k], rig.inL[open + k], 1e-6f) << k;
        // Every later grain is the same grain: the output repeats with its length.
        float worst = 0.0f;
        for (int k = 64; k < 5 * 1760; ++k)
            worst = std::max(worst, std::fabs(rig.outL[open + k + 1760] - rig.outL[open + k]));
        EXPECT_LT(worst, 1e-6f) << rate;
        // And it is not silence.
        EXPECT_GT(signal::rms(rig.outL.data() + open + 1760, 1760), 0.1);
    }
}

TEST(MFBeatStretcher, HalfAmountStretchesTimeButKeepsPitch) {
    Rig rig;
    rig.fx.setParameter(0, 0.5f);
    rig.fx.setParameter(1, 1.0f);
    const std::size_t open = 64 * 200;
    rig.play(signal::sine(1000.0, 44100.0, open + 44100), open);
    // Grains play at normal speed: the tone stays at 1 kHz within a bin of 5 Hz.
    const double f = signal::dominantFrequency(rig.outL.data() + open + 4096, 16384, 44100.0, 200.0,
                                               5000.0, 5.0);
    EXPECT_NEAR(f, 1000.0, 5.0);
    // Half a second of output covers only a quarter of a second of input: with a ramp
    // the read position after 22050 samples sits near the capture start + 11025.
    Rig slow;
    slow.fx.setParameter(0, 0.5f);
    slow.play(ramp(open + 22050), open);
    const float reached = slow.outL[open + 22050 - 1] / rampSlope - float(open);
    // Within one grain (5512 samples) of half the elapsed time.
    EXPECT_NEAR(reached, 11025.0f, 5512.0f);
}

TEST(MFBeatStretcher, RetriggerWhileSoundingIsCrossfaded) {
    Rig rig;
    rig.driver.setRunPattern({17, 64, 5, 33, 64});
    rig.fx.setParameter(0, 0.3f);
    const std::size_t open = 64 * 200;
    const std::size_t retrigger = open + 64 * 300;
    const std::vector<float> input = signal::sine(440.0, 44100.0, retrigger + 4000, 0.9f);
    rig.inL = rig.outL = rig.outR = input;
    rig.driver.run(rig.outL.data(), rig.outR.data(), open);
    rig.driver.setGate(1.0f);
    rig.driver.run(rig.outL.data() + open, rig.outR.data() + open, retrigger - open);
    rig.driver.setGate(2.0f); // the next zone touches this one
    rig.driver.run(rig.outL.data() + retrigger, rig.outR.data() + retrigger, 4000);
    EXPECT_TRUE(rig.fx.isActive());
    // A 440 Hz sine at 0.9 moves at most 0.9 * 2 pi 440 / 44100 = 0.056 per sample;
    // a jump to the new grain would be up to 1.8. The 100-sample guard keeps every
    // step near the sine's own slope.
    float worst = 0.0f;
    for (std::size_t i = retrigger - 200; i < retrigger + 400; ++i)
        worst = std::max(worst, std::fabs(rig.outL[i] - rig.outL[i - 1]));
    EXPECT_LT(worst, 0.09f);
    // After the guard the new capture plays from the retrigger point.
    EXPECT_NEAR(rig.outL[retrigger + 300], input[retrigger + 300], 1e-6f);
}

} // namespace
