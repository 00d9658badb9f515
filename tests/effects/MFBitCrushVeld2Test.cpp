#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "effects/MFBitCrushVeld2.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

namespace {

constexpr int32_t id = 187;

// A steadily rising input makes every hold visible as a run of equal samples.
std::vector<float> ramp(std::size_t n) {
    std::vector<float> x(n);
    for (std::size_t i = 0; i < n; ++i)
        x[i] = -0.9f + 1.8f * float(i) / float(n);
    return x;
}

// Mean hold length in seconds: the time over the number of value changes.
double meanHoldSeconds(float rate, float srate) {
    TestContext c(rate);
    MFBitCrushVeld2 crush(id, c.info);
    crush.setParameter(MFBitCrushVeld2::parameterBit, 0.0f);
    crush.setParameter(MFBitCrushVeld2::parameterRate, srate);
    EffectDriver driver(crush, -1);
    driver.setRunPattern({64, 5, 17});
    const std::size_t n = std::size_t(rate * 0.5f);
    std::vector<float> l = ramp(n), r = ramp(n);
    driver.run(l, r);
    const std::size_t skip = 256; // past the mix ramp
    int changes = 0;
    for (std::size_t i = skip + 1; i < n; ++i)
        changes += l[i] != l[i - 1];
    return double(n - skip - 1) / rate / changes;
}

// The hold is counted at 44.1 kHz, so the same knob gives the same hold time at any
// rate. Expected: one new sample every 1 / (steps * 0.0125 * 44100) s; 2 % covers the
// one-sample jitter of where a hold falls at the higher rate.
TEST(BitCrush, HoldTimeIsTheSameAt44And96kHz) {
    for (float srate : {0.22f, 0.5f, 0.0125f}) {
        const double steps = std::floor(srate / 0.0125 + 1e-6);
        const double expected = 1.0 / (steps * 0.0125 * 44100.0);
        EXPECT_NEAR(meanHoldSeconds(44100.0f, srate), expected, expected * 0.02) << srate;
        EXPECT_NEAR(meanHoldSeconds(96000.0f, srate), expected, expected * 0.02) << srate;
    }
    // The default 0.22 lies in the 17th step of 1/80; just under the top the step is
    // truncated: 0.99 gives 79 steps, not 80.
    TestContext c;
    MFBitCrushVeld2 crush(id, c.info);
    EXPECT_FLOAT_EQ(crush.getRateStep(), 17 * 0.0125f);
    crush.setParameter(1, 0.99f);
    EXPECT_FLOAT_EQ(crush.getRateStep(), 79 * 0.0125f);
    crush.setParameter(1, 1.0f);
    EXPECT_FLOAT_EQ(crush.getRateStep(), 1.0f);
    // A later change of rate re-scales the step the knob already gave.
    c.info.setSampleRate(88200.0f);
    crush.updateBuffers(false);
    EXPECT_FLOAT_EQ(crush.getRateStep(), 0.5f);
}

// At full rate and the finest word the stage is transparent to within the quantum.
// A coarse word gives only multiples of the quantum, truncated towards zero.
TEST(BitCrush, QuantisationStepsAndTransparency) {
    TestContext c;
    MFBitCrushVeld2 crush(id, c.info);
    crush.setParameter(1, 1.0f);
    crush.setParameter(0, 0.0f);
    EffectDriver driver(crush, -1);
    std::vector<float> in = signal::sine(441.0, 44100.0, 4096, 0.8f);
    std::vector<float> l = in, r = in;
    driver.run(l, r);
    for (std::size_t i = 128; i < in.size(); ++i)
        ASSERT_NEAR(l[i], in[i], 1.01e-6f) << i;

    crush.setParameter(0, 0.5f); // quantum 1/16
    l = in;
    r = in;
    driver.run(l, r);
    for (std::size_t i = 128; i < in.size(); ++i) {
        const float units = l[i] * 16.0f;
        ASSERT_NEAR(units, std::round(units), 1e-4f) << i;
        ASSERT_LE(std::fabs(l[i]), std::fabs(in[i]) + 1e-6f);
        ASSERT_LT(std::fabs(in[i] - l[i]), 0.0625f);
    }
}

// Linear mix: half wet of 0.3 quantised to 0.25 gives 0.275 (equal power would give 0.389).
TEST(BitCrush, MixIsLinear) {
    TestContext c;
    MFBitCrushVeld2 crush(id, c.info);
    crush.setParameter(0, 1.0f); // quantum 1/8
    crush.setParameter(1, 1.0f);
    EffectDriver driver(crush, -1);
    driver.setMix(0.5f);
    std::vector<float> l(512, 0.3f), r(512, -0.3f);
    driver.run(l, r);
    EXPECT_NEAR(l[300], 0.275f, 1e-6f);
    EXPECT_NEAR(r[300], -0.275f, 1e-6f);
}

// A new word length reaches the held sample at once: in the middle of an 80-sample
// hold the output drops from 0.3 to its 1/8 step 0.25 on the very next sample.
TEST(BitCrush, NewWordLengthAppliesInsideAHold) {
    TestContext c;
    MFBitCrushVeld2 crush(id, c.info);
    crush.setParameter(1, 0.0f); // one new sample every 80
    EffectDriver driver(crush, -1);
    std::vector<float> l(300, 0.3f), r(300, 0.3f);
    driver.run(l, r);
    EXPECT_NEAR(l[299], 0.3f, 1.01e-6f);
    crush.setParameter(0, 1.0f);
    float a = 0.3f, b = 0.3f;
    driver.run(&a, &b, 1);
    EXPECT_EQ(a, 0.25f);
}

} // namespace
