#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "effects/MFLevelDelay.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

namespace {

constexpr int32_t id = 189;

// Echo lengths as note values in beats, knob top (shortest) to knob bottom (longest):
// 1/32 dotted-triplet steps up to a whole bar of four beats.
constexpr double beats[16] = {3.0 / 128, 1.0 / 32, 3.0 / 64, 1.0 / 16, 3.0 / 32, 1.0 / 8,
                              3.0 / 16,  1.0 / 4,  3.0 / 8,  1.0 / 2,  3.0 / 4,  1.0,
                              3.0 / 2,   2.0,      3.0,      4.0};

// Single echoes only: no feedback, no cross-feed, no dry.
void echoOnly(MFLevelDelay& d, float time, float width) {
    d.setParameter(MFLevelDelay::parameterTime, time);
    d.setParameter(MFLevelDelay::parameterDiffusion, 0.0f);
    d.setParameter(MFLevelDelay::parameterFeedback, 0.0f);
    d.setParameter(MFLevelDelay::parameterWidth, width);
    d.setParameter(MFLevelDelay::parameterDry, 0.0f);
}

std::size_t peakIndex(const std::vector<float>& x, std::size_t from) {
    std::size_t best = from;
    for (std::size_t i = from; i < x.size(); ++i)
        if (std::fabs(x[i]) > std::fabs(x[best]))
            best = i;
    return best;
}

// An impulse comes back after the note value of each of the 16 settings, measured
// at the echo's peak; the fractional read spreads it over two samples, so one sample
// of tolerance.
TEST(LevelDelay, EchoTimesFollowTheSixteenNoteValues) {
    TestContext c(44100.0f, 120.0);
    for (int index = 0; index < 16; ++index) {
        MFLevelDelay d(id, c.info);
        echoOnly(d, 1.0f - float(index) / 15.0f, 0.0f);
        EffectDriver driver(d, -1);
        const double expected = beats[index] * 22050.0;
        const std::size_t n = std::size_t(expected) + 3000;
        std::vector<float> pre(2048, 0.0f), preR(2048, 0.0f);
        driver.run(pre, preR); // past any glide
        std::vector<float> l(n, 0.0f), r(n, 0.0f);
        l[10] = 1.0f;
        driver.run(l, r);
        const double found = double(peakIndex(l, 11)) - 10.0;
        EXPECT_NEAR(found, expected, 1.0) << "setting " << index;
        EXPECT_NEAR(std::fabs(l[peakIndex(l, 11)]), 0.5, 0.26) << index; // saturated 1 -> 0.75
    }
}

// The right echo comes width * 64 * (1 - 0.9 * v) samples after the left, whatever the
// sample rate: 64 at the longest time and full width, 6.4 at the shortest.
TEST(LevelDelay, RightLineOffsetForWidth) {
    for (float rate : {44100.0f, 96000.0f}) {
        for (float time : {0.0f, 1.0f}) {
            TestContext c(rate, 140.0);
            MFLevelDelay d(id, c.info);
            echoOnly(d, time, 1.0f);
            EffectDriver driver(d, -1);
            std::vector<float> pre(8192, 0.0f), preR(8192, 0.0f);
            driver.run(pre, preR);
            const std::size_t n = std::size_t(4.0f * c.info.samplesPerBeat) + 2000;
            std::vector<float> l(n, 0.0f), r(n, 0.0f);
            l[10] = r[10] = 0.5f;
            driver.run(l, r);
            const double offset = double(peakIndex(r, 11)) - double(peakIndex(l, 11));
            EXPECT_NEAR(offset, 64.0 * (1.0 - 0.9 * time), 1.0) << rate << " " << time;
        }
    }
}

// A time change glides over 32 ms (22.05 ticks at 44.1 kHz), monotonically, and lands
// exactly; the echoes are pitched while it runs instead of jumping.
TEST(LevelDelay, TimeChangeGlidesOver32Milliseconds) {
    TestContext c;
    MFLevelDelay d(id, c.info);
    echoOnly(d, 1.0f - 7.0f / 15.0f, 0.0f); // a quarter beat
    EffectDriver driver(d, -1);
    std::vector<float> l(4096, 0.0f), r(4096, 0.0f);
    driver.run(l, r);
    EXPECT_EQ(d.getLineLength(), 88265) << "a bar of four beats and a guard of 65";
    EXPECT_FLOAT_EQ(d.getLeftTime(), 22050.0f / 4.0f);
    d.setParameter(0, 1.0f - 11.0f / 15.0f); // one beat
    float last = d.getLeftTime();
    int samplesToLand = -1;
    for (int i = 0; i < 4000; ++i) {
        float a = 0.0f, b = 0.0f;
        driver.run(&a, &b, 1);
        const float now = d.getLeftTime();
        ASSERT_GE(now, last);
        last = now;
        if (now == 22050.0f && samplesToLand < 0)
            samplesToLand = i + 1;
    }
    const float ms = float(samplesToLand) / 44.1f;
    EXPECT_GT(ms, 30.0f);
    EXPECT_LT(ms, 36.0f);
}

// Tempo swings between 45 and 499 bpm at several rates, with the longest delay and a hot
// input at full feedback: the saturated lines never exceed 1, and afterwards the echo
// follows the tempo in force.
TEST(LevelDelay, TempoSwingsAndHotFeedbackStayBoundedAndTheEchoFollows) {
    for (float rate : {22050.0f, 48000.0f, 176000.0f}) {
        TestContext c(rate, 45.0);
        MFLevelDelay d(id, c.info);
        d.setParameter(0, 0.0f);
        d.setParameter(1, 1.0f);
        d.setParameter(2, 1.0f);
        d.setParameter(3, 1.0f);
        d.setParameter(4, 0.0f);
        EffectDriver driver(d, -1);
        driver.setRunPattern({64, 1, 30, 7});
        const double tempos[] = {499.0, 45.0, 180.0, 499.0, 61.0, 320.0};
        driver.onTick([&](int64_t tick) {
            if (tick % 97 == 5)
                c.changeTempo(tempos[(tick / 97) % 6]);
            if (tick % 41 == 0)
                d.setParameter(0, float(tick % 15) / 15.0f);
        });
        const std::size_t n = std::size_t(rate * 2.0f);
        std::vector<float> l = signal::noise(n, 4), r = signal::noise(n, 5);
        for (std::size_t i = 0; i < n / 2; ++i) {
            l[i] *= 8.0f;
            r[i] *= 8.0f;
        }
        for (std::size_t i = n / 2; i < n; ++i)
            l[i] = r[i] = 0.0f;
        driver.run(l, r);
        // Saturated lines never exceed 1 (after the first tick, while the dry level
        // still ramps down from 1 to 0).
        EXPECT_LE(signal::peak(l.data() + 64, n - 64), 1.0f);
        EXPECT_LE(signal::peak(r.data() + 64, n - 64), 1.0f);
        // After the swings the echo follows the tempo in force: one beat at 90 bpm.
        c.changeTempo(90.0);
        d.setParameter(0, 1.0f - 11.0f / 15.0f);
        d.setParameter(1, 0.0f);
        d.setParameter(2, 0.0f);
        driver.onTick(nullptr);
        // A closed mix for a bar flushes the ringing tail out of the lines.
        driver.setMix(0.0f);
        std::vector<float> settle(std::size_t(d.getLineLength()) + 256, 0.0f), settleR = settle;
        driver.run(settle, settleR);
        driver.setMix(1.0f);
        driver.run(settle.data(), settleR.data(), 256);
        const std::size_t beat = std::size_t(rate * 60.0f / 90.0f);
        std::vector<float> el(beat + 500, 0.0f), er(beat + 500, 0.0f);
        el[5] = 0.5f;
        driver.run(el, er);
        EXPECT_NEAR(double(peakIndex(el, 6)) - 5.0, double(rate) * 60.0 / 90.0, 1.0) << rate;
    }
}

} // namespace
