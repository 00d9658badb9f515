#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "effects/MFTonalDelay.h"
#include "engine/MFRoundingGuard.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

namespace {

constexpr int32_t id = 188;

double equalTempered(int note) {
    return 440.0 * std::pow(2.0, (note - 69) / 12.0);
}

float valueForNote(int note) {
    return float(note) / 126.0f;
}

// Only the comb: no dry, no cross-feed, a low cut far below the note.
void combOnly(MFTonalDelay& d, int note, float feedback) {
    d.setParameter(MFTonalDelay::parameterNote, valueForNote(note));
    d.setParameter(MFTonalDelay::parameterFeedback, feedback);
    d.setParameter(MFTonalDelay::parameterWidth, 0.0f);
    d.setParameter(MFTonalDelay::parameterCutoff, 0.05f);
    d.setParameter(MFTonalDelay::parameterLevel, 0.0f);
}

TEST(TonalDelay, NoteTableAndTheKnobsReach) {
    TestContext c;
    EXPECT_FLOAT_EQ(c.info.noteFrequency[69], 440.0f);
    EXPECT_NEAR(c.info.noteFrequency[60], 261.6256f, 1e-3f);
    EXPECT_NEAR(c.info.noteFrequency[0], 8.1758f, 1e-3f);
    MFTonalDelay d(id, c.info);
    // The host knob's reach 0.194..0.759 is MIDI 24..96.
    d.setParameter(0, 0.194f);
    EXPECT_EQ(d.getDelaySamples(), int32_t(44100.0f / c.info.noteFrequency[24]));
    d.setParameter(0, 0.759f);
    EXPECT_EQ(d.getDelaySamples(), int32_t(44100.0f / c.info.noteFrequency[96]));
}

// An impulse into the comb rings at the note: the strongest frequency near the note's pitch
// lies within the error that a whole-sample delay allows (at most one sample of the
// period, plus the search resolution), and the comb's notch half way to the second
// harmonic is far below it.
TEST(TonalDelay, CombRingsAtTheNotesPitch) {
    for (float rate : {44100.0f, 96000.0f}) {
        for (int note : {24, 36, 48, 57, 60, 69, 72, 84, 96}) {
            TestContext c(rate);
            MFTonalDelay d(id, c.info);
            combOnly(d, note, 0.95f);
            d.gateOn();
            EffectDriver driver(d, -1);
            const std::size_t n = std::size_t(rate * 0.3f);
            std::vector<float> l(n, 0.0f), r(n, 0.0f);
            l[100] = r[100] = 0.5f;
            driver.run(l, r);
            const double f0 = equalTempered(note);
            const double period = rate / f0;
            const double resolution = std::max(0.25, f0 * 0.001);
            const double tolerance = f0 / (period - 1.0) + resolution;
            const double found = signal::dominantFrequency(l.data() + 200, n - 200, rate, f0 * 0.75,
                                                           f0 * 1.3, resolution);
            EXPECT_NEAR(found, f0, tolerance) << "note " << note << " at " << rate;
            const double atPeak = signal::toneMagnitude(l.data() + 200, n - 200, found, rate);
            const double notch = signal::toneMagnitude(l.data() + 200, n - 200, f0 * 1.5, rate);
            EXPECT_GT(atPeak, notch * 5.0) << note;
        }
    }
}

// With glide the head moves over many samples towards the new length; without it
// the distance jumps at once.
TEST(TonalDelay, GlideBendsAndNoGlideJumps) {
    TestContext c;
    MFTonalDelay d(id, c.info);
    combOnly(d, 60, 0.5f);
    d.setOption(-1, 1);
    EXPECT_EQ(d.getOption(-1), 1);
    d.gateOn();
    const float from = float(d.getDelaySamples());
    EffectDriver driver(d, -1);
    std::vector<float> l(4096, 0.0f), r(4096, 0.0f);
    driver.run(l, r);
    EXPECT_NEAR(d.getHeadDistance(), from, 1.5f);

    d.setParameter(0, valueForNote(72));
    const float to = float(d.getDelaySamples());
    ASSERT_NEAR(to, from / 2.0f, 1.0f);
    std::vector<float> a(32, 0.0f), b(32, 0.0f);
    driver.run(a, b);
    const float midway = d.getHeadDistance();
    EXPECT_LT(midway, from - 1.0f);
    EXPECT_GT(midway, to + 1.0f);
    // Down a whole octave in well under a quarter second, then held within a sample or so.
    std::vector<float> l2(11025, 0.0f), r2(11025, 0.0f);
    driver.run(l2, r2);
    EXPECT_NEAR(d.getHeadDistance(), to, 1.5f);
    // A long way up (more than a block) is covered too.
    d.setParameter(0, valueForNote(48));
    driver.run(l2, r2);
    driver.run(l2, r2);
    EXPECT_NEAR(d.getHeadDistance(), float(d.getDelaySamples()), 1.5f);

    d.setOption(-1, 0);
    d.setParameter(0, valueForNote(84));
    EXPECT_NEAR(d.getHeadDistance(), float(d.getDelaySamples()), 1e-3f);
    EXPECT_EQ(d.getReadRate(), 1.0f);
}

// Once the wet amount is fully open, the closing soft clip holds every sample within +-1
// (the curve's top at |x| = 2), also at full dry level with a hot input. It takes hold
// with the wet ramp, over the first tick.
TEST(TonalDelay, SoftClipBoundsTheOutput) {
    TestContext c;
    MFTonalDelay d(id, c.info);
    d.setParameter(1, 1.0f);
    d.setParameter(4, 1.0f);
    d.gateOn();
    EffectDriver driver(d, -1);
    driver.setRunPattern({3, 64, 11});
    std::vector<float> l = signal::noise(44100, 2), r = signal::noise(44100, 3);
    for (std::size_t i = 0; i < l.size(); ++i) {
        l[i] *= 6.0f;
        r[i] *= 6.0f;
    }
    driver.run(l, r);
    const std::size_t open = 64;
    EXPECT_LE(signal::peak(l.data() + open, l.size() - open), 1.0f);
    EXPECT_LE(signal::peak(r.data() + open, r.size() - open), 1.0f);
    EXPECT_GT(signal::peak(l.data() + open, l.size() - open), 0.99f);
}

} // namespace
