// What the lanes tell their effects, heard through the block driver: tails that end and
// stay ended, the level lines, the Filter lane's sources, the Stutter at a zone's end,
// effects left idle by closed lanes, and zone edges without clicks.

#include "engine/EngineRig.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace {

constexpr float rate = 48000.0f;
constexpr int64_t stepSamples = 6000; // a sixteenth at 120 bpm and 48 kHz

// The plug-in at 48 kHz on a playing host at 120 bpm, sixteenth steps, unity master gain,
// every lane empty until painted.
struct LaneRig : EngineRig {
    LaneRig() : EngineRig(48000.0f) { sixteenths(); }
    double rmsDb(int64_t from, int64_t to) const {
        const double level = signal::rms(&outLeft[std::size_t(from)], std::size_t(to - from));
        return 20.0 * std::log10(level + 1e-30);
    }
};

float noiseAt(int64_t sample) {
    // A repeatable white noise in -1..1.
    uint32_t x = uint32_t(sample) * 2654435761u + 12345u;
    x ^= x >> 15;
    x *= 2246822519u;
    x ^= x >> 13;
    return float(x) * (2.0f / 4294967296.0f) - 1.0f;
}

// --- tails ---------------------------------------------------------------------------------

// A reverb zone of noise, a second of silence, and a second zone on silence: the second
// zone must hear nothing of the first. When the reverb never slept, the old tail came
// back here at -56 dBFS; the reverb's own guard offsets sit near -160 dBFS. -120 dBFS is
// far below anything audible and far above that floor.
TEST(LaneEffects, ReverbSleepsAfterItsTailAndASecondZoneStartsClean) {
    LaneRig rig;
    rig.paint(mflane::reverb, 0, 1);
    rig.paint(mflane::reverb, 8, 9);
    rig.client->setParameter(72, 1.0f); // "ReverbMix"
    rig.client->setParameter(71, 0.0f); // "ReverbDryLevel": fully wet inside a zone
    MFReverb2& reverb = rig.client->getChain().reverb;
    bool sleptBeforeSecondZone = false;
    rig.client->afterTick = [&](int64_t sample) {
        if (sample < 8 * stepSamples)
            sleptBeforeSecondZone = reverb.isSleeping();
    };
    rig.run(10 * stepSamples,
            [](int64_t s) { return s < 2 * stepSamples ? 0.5f * noiseAt(s) : 0.0f; });

    // The first zone rings on after its input stops, so the test measures a real tail.
    EXPECT_GT(rig.rmsDb(2 * stepSamples, 2 * stepSamples + 2000), -40.0);
    EXPECT_TRUE(sleptBeforeSecondZone);
    EXPECT_LT(rig.rmsDb(8 * stepSamples, 10 * stepSamples), -120.0);
    // The memory was erased when it fell asleep, not merely left to decay.
    for (int ch = 0; ch < 2; ++ch)
        for (int k = 0; k < MFReverb2::combCount; ++k) {
            const MFAlignedArray& comb = reverb.getComb(ch, k);
            ASSERT_LT(signal::peak(comb.data(), comb.getSize()), 1e-6f) << ch << " " << k;
        }
}

// --- what the lanes send ------------------------------------------------------------------

// The Tonal, Delay and Reverb lanes send a level that runs in a straight line from 1 with
// the lane shut to the knob's level with it fully open, through the attack and back
// through the release.
TEST(LaneEffects, TonalDelayAndReverbLanesSendTheirLevelLine) {
    struct Line {
        const char* name;
        int32_t lane, levelTag, index;
        float raw, level; // the knob's raw value and the level it stands for
    };
    const Line lines[] = {{"Tonal-Delay", mflane::tonalDelay, 34, 4, 0.2f, 0.875f * 0.2f + 0.125f},
                          {"Delay", mflane::delay, 65, 4, 0.3f, 0.3f},
                          {"Reverb", mflane::reverb, 71, 5, 0.4f, 0.4f}};
    const float hundredMs = std::cbrt(0.095f); // 1000 v^3 + 5 = 100 ms
    for (const Line& line : lines) {
        SCOPED_TRACE(line.name);
        LaneRig rig;
        rig.paint(line.lane, 2, 5);
        rig.client->setParameter(line.levelTag, line.raw);
        rig.client->setParameter(mflane::tags[line.lane].attack, hundredMs);
        rig.client->setParameter(mflane::tags[line.lane].release, hundredMs);
        const MFEffect& effect =
            *rig.client->getChain().all()[line.lane + 1]; // after stage 6's pair
        const MFLaneGate& gate = rig.client->getGate(line.lane);
        int between = 0, full = 0, shut = 0;
        rig.client->afterTick = [&](int64_t) {
            const float e = gate.getEnvLevel();
            const float sent = effect.getParameterValue(line.index);
            // The line by its two ends, to float precision.
            ASSERT_NEAR(sent, 1.0f + e * (line.level - 1.0f), 1e-6f) << "envelope " << e;
            if (e == 0.0f)
                ++shut;
            else if (e == 1.0f)
                ++full;
            else
                ++between;
        };
        rig.run(8 * stepSamples, [](int64_t s) { return 0.25f * noiseAt(s); });
        // Both ends and the way between were all seen: about 70 ticks each way.
        EXPECT_GT(between, 100);
        EXPECT_GT(full, 100);
        EXPECT_GT(shut, 100);
        EXPECT_EQ(effect.getParameterValue(line.index), 1.0f);
    }
}

// A Filter zone on steps 4 to 7: "FilterCutoff" 0.2, "FilterPeak" (4 v - 2) as given,
// "FilterAttack" 0 (struck at once) and "FilterDecay" 0.5 (250 ms).
void filterZone(LaneRig& rig, float peakRaw) {
    rig.paint(mflane::filter, 4, 7);
    const std::pair<int32_t, float> knobs[] = {{44, 0.2f}, {46, peakRaw}, {47, 0.0f}, {48, 0.5f}};
    for (const auto& [tag, value] : knobs)
        rig.client->setParameter(tag, value);
}

// The Filter lane's cutoff is the knob plus the peak times a source, clamped to 0..1. The
// source is the lane's own attack-decay envelope, struck by each zone, or, with "env_mode"
// on, a follower of the input's level that no zone moves.
TEST(LaneEffects, FilterCutoffFollowsTheEnvelopeOrTheInputLevel) {
    const float decayTicks = 250.0f * rate / 64.0f / 1000.0f; // "FilterDecay" 0.5: 250 ms
    for (float peakRaw : {0.75f, 0.25f}) {                    // peak +1 and -1
        LaneRig rig;
        filterZone(rig, peakRaw);
        const float peak = 4.0f * peakRaw - 2.0f;
        const MFEffect& filter = rig.client->getChain().filter;
        int64_t struck = -1;
        rig.client->afterTick = [&](int64_t sample) {
            const float cutoff = filter.getParameterValue(0);
            if (sample < 4 * stepSamples) {
                ASSERT_EQ(cutoff, 0.2f) << sample;
                return;
            }
            if (struck < 0)
                struck = sample;
            const float n = float(sample - struck) / 64.0f;
            const float level = n < decayTicks ? 1.0f - n / decayTicks : 0.0f;
            ASSERT_NEAR(cutoff, std::clamp(0.2f + peak * level, 0.0f, 1.0f), 1e-5f) << sample;
        };
        // A steady level of 0.5 that the envelope must not follow.
        rig.run(8 * stepSamples, [](int64_t) { return 0.5f; });
        EXPECT_EQ(struck, 4 * stepSamples);
    }

    LaneRig rig;
    filterZone(rig, 0.75f);
    rig.client->setParameter(476, 1.0f); // "env_mode": the follower
    const MFEffect& filter = rig.client->getChain().filter;
    std::vector<float> cutoffs;
    rig.client->afterTick = [&](int64_t) { cutoffs.push_back(filter.getParameterValue(0)); };
    // Half a second of a level of 0.5, then silence through the zone.
    rig.run(8 * stepSamples, [](int64_t s) { return s < 4 * stepSamples ? 0.5f : 0.0f; });
    const std::size_t zoneTick = 4 * stepSamples / 64;
    // The level of 0.5 adds 0.5; 0.01 allows for the follower's smoothing still settling.
    EXPECT_NEAR(cutoffs[zoneTick - 1], 0.7f, 0.01f);
    // Silence from the zone on: the cutoff only falls, to the knob alone, and never
    // jumps up as an envelope struck by the zone would.
    for (std::size_t k = zoneTick; k < cutoffs.size(); ++k)
        ASSERT_LE(cutoffs[k], cutoffs[k - 1] + 1e-6f) << k;
    EXPECT_NEAR(cutoffs.back(), 0.2f, 1e-3f);
}

// --- the Stutter at a zone's end ----------------------------------------------------------

// A zone on steps 0 to 4 with a 221 ms release. The run must go on through the release at
// its own pace: the step phase never jumps back and the envelope is struck only where a
// step begins. Once the lane's envelope is shut the gains are exactly unity.
TEST(LaneEffects, StutterPlaysOnThroughTheReleaseWithoutRestarting) {
    LaneRig rig;
    rig.paint(mflane::stutter, 0, 4);
    rig.client->setParameter(39, 1.0f);  // "StutterMix"
    rig.client->setParameter(298, 0.6f); // "StutterRelease": 1000 * 0.6^3 + 5 = 221 ms
    const MFStutter& stutter = rig.client->getStutter();
    const MFLaneGate& gate = rig.client->getGate(mflane::stutter);
    struct Tick {
        int64_t sample;
        float phase, envLevel, laneLevel, leftGain;
        int32_t step;
    };
    std::vector<Tick> ticks;
    rig.client->afterTick = [&](int64_t sample) {
        ticks.push_back({sample, stutter.getStepPhase(), stutter.getEnvelope().level(),
                         gate.getEnvLevel(), stutter.getLeftGain(), stutter.getStepIndex()});
    };
    rig.run(8 * stepSamples, [](int64_t s) { return 0.5f * noiseAt(s); });

    const float perTick = stutter.getStepsPerTick();
    std::size_t first = 0;
    while (ticks[first].laneLevel <= 0.0f)
        ++first;
    std::size_t shut = first;
    while (shut < ticks.size() &&
           (ticks[shut].sample < 5 * stepSamples || ticks[shut].laneLevel > 0.0f))
        ++shut;
    ASSERT_LT(shut, ticks.size());
    // 221 ms after the zone's end, to within a tick.
    EXPECT_NEAR(double(ticks[shut].sample - 5 * stepSamples), 0.221 * rate, 2 * 64);

    int strikesInRelease = 0;
    for (std::size_t k = first + 1; k <= shut; ++k) {
        // 1e-3 steps: far below a restart, far above the float error of the sums.
        ASSERT_NEAR(ticks[k].phase, ticks[k - 1].phase + perTick, 1e-3f) << "tick " << k;
        const bool newStep = ticks[k].step != ticks[k - 1].step;
        const bool struck = ticks[k].envLevel == 1.0f && ticks[k - 1].envLevel < 1.0f;
        ASSERT_EQ(struck, newStep) << "tick " << k;
        if (struck && ticks[k].sample >= 5 * stepSamples)
            ++strikesInRelease;
    }
    // 221 ms is three and a half steps of 62.5 ms: the rhythm goes on, it is not cut.
    EXPECT_GE(strikesInRelease, 3);
    for (std::size_t k = shut + 1; k < ticks.size(); ++k)
        ASSERT_EQ(ticks[k].leftGain, MFStutter::unityQuarter) << "tick " << k;
}

// --- closed lanes -----------------------------------------------------------------------

// Construction and a change of rate open every effect once; those whose lane is shut
// must be closed again, or they play at wet 0 for ever. An open lane keeps its effect.
TEST(LaneEffects, ClosedLanesLeaveTheirEffectsIdle) {
    LaneRig rig;
    rig.paint(mflane::loop, 0, 31);
    rig.run(4 * stepSamples, [](int64_t s) { return 0.25f * noiseAt(s); });
    rig.client->setSampleRate(rate);
    rig.run(stepSamples, [](int64_t s) { return 0.25f * noiseAt(s); });

    MFEffectChain& chain = rig.client->getChain();
    EXPECT_TRUE(chain.loop.isActive());
    EXPECT_FALSE(chain.xLoop.isActive());
    EXPECT_FALSE(chain.scratchLoop.isActive());
    EXPECT_FALSE(chain.reverse.isActive());
    EXPECT_FALSE(chain.stretch.isActive());
    EXPECT_FALSE(chain.tapeStop.isStarted());
    EXPECT_TRUE(chain.reverb.isSleeping());
}

// --- edges ---------------------------------------------------------------------------------

float largestStep(const std::vector<float>& x, int64_t from, int64_t to) {
    float step = 0.0f;
    for (int64_t k = std::max<int64_t>(from, 1); k < to && k < int64_t(x.size()); ++k)
        step = std::max(step, std::fabs(x[std::size_t(k)] - x[std::size_t(k - 1)]));
    return step;
}

struct EdgeCase {
    const char* name;
    int32_t lane; // -1: the tape stop on the Vinyl lane
};

// A 0.5 sine at 110 Hz (no whole number of periods in a step or a bar, so that edges fall
// at every phase) through one lane with a zone on steps 4 to 19, at the lanes' fastest 5 ms
// attack and release, fully wet and at a mix of 1e-4. The largest sample-to-sample step
// around the zone's opening, around its closing (through the release) and, for the
// Stretch, around the wrap of its capture, against the larger of the sine's own largest
// step and the effect's own in the middle of the zone. Twice that allows a crossfade
// between two signals of unrelated phase over the 5 ms; the clicks were 8 to 70 times.
TEST(LaneEffects, ZoneEdgesAndCaptureWrapsAddNoStep) {
    const EdgeCase cases[] = {
        {"X-Loop", mflane::xLoop},
        {"Loop", mflane::loop},
        {"ScratchLoop", mflane::scratchLoop},
        {"Reverse", mflane::reverse},
        {"Stretch", mflane::stretch},
        {"Vinyl", mflane::vinyl},
        {"Tape stop", -1},
        {"Stutter", mflane::stutter},
        {"Crush", mflane::crush},
        {"Phaser", mflane::phaser},
        {"Chorus", mflane::chorus},
        {"Delay", mflane::delay},
        {"Reverb", mflane::reverb},
    };
    const double own = 0.5 * 2.0 * M_PI * 110.0 / rate;
    const auto input = [](int64_t s) {
        return float(0.5 * std::sin(2.0 * M_PI * 110.0 / rate * double(s)));
    };
    for (float mix : {1.0f, 1e-4f})
        for (const EdgeCase& c : cases) {
            LaneRig rig;
            const int32_t lane = c.lane < 0 ? mflane::vinyl : c.lane;
            const bool stretching = lane == mflane::stretch;
            if (c.lane < 0)
                rig.client->setParameter(421, 1.0f); // "Switch": the tape stop
            int64_t step = stepSamples;
            int32_t first = 4, last = 19;
            if (stretching) {
                // Eighths, so that the zone outlasts the read of the two-bar capture.
                rig.client->setParameter(499, 0.4f);
                rig.client->setParameter(22, 0.75f); // "StretchSpeed"
                step = 2 * stepSamples;
                first = 2;
                last = 31;
            }
            rig.paint(lane, first, last);
            rig.client->setParameter(mflane::tags[lane].mix, mix);
            MFBeatStretcher& stretch = rig.client->getChain().stretch;
            int64_t wrap = -1;
            int32_t lastStart = 0;
            rig.client->afterTick = [&](int64_t sample) {
                if (!stretching || !stretch.isActive())
                    return;
                if (wrap < 0 && stretch.getGrainStart() < lastStart)
                    wrap = sample;
                lastStart = stretch.getGrainStart();
            };
            const int64_t open = first * step, close = (last + 1) * step;
            const int64_t second = int64_t(rate);
            rig.run(close + second, input);
            const std::vector<float>& out = rig.outLeft;
            const int64_t steadyEnd = stretching ? open + 3 * second : close;
            const float inZone = largestStep(out, open + second, steadyEnd);
            const float atOpen = largestStep(out, open - 64, open + second);
            const float atClose = largestStep(out, close - 64, close + second);
            const float reference = std::max(float(own), inZone);
            SCOPED_TRACE(std::string(c.name) + " at mix " + std::to_string(mix));
            EXPECT_LE(atOpen, 2.0f * reference);
            EXPECT_LE(atClose, 2.0f * reference);
            if (stretching) {
                ASSERT_GE(wrap, 0) << "the read never reached the end of the capture";
                EXPECT_LE(largestStep(out, wrap - 8192, wrap + 8192), 2.0f * reference);
            }
            if (mix == 1.0f) {
                // The lane did open: the zone's output is not the input.
                float difference = 0.0f;
                for (int64_t k = open + second; k < steadyEnd; ++k)
                    difference = std::max(difference, std::fabs(out[std::size_t(k)] - input(k)));
                EXPECT_GT(difference, 0.05f);
            }
        }
}

} // namespace
