// The tick's step computation: position to step, loop range, note position, swing and
// the retrigger toggle of the transport gate.

#include "effects/MFAlignedArray.h"
#include "engine/MFTransport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace {

constexpr float rate = 48000.0f;
constexpr float ticksPerMs = rate / 64.0f * 0.001f;
constexpr float samplesPerBeat = rate * 60.0f / 120.0f; // 120 bpm
// "Tempo" raw values that land on each entry of the step table (x = 6v, index 5 - x).
constexpr float tempoSixteenth = 0.1f;
constexpr float tempoThirtySecond = 0.0f;

// A transport whose host is playing, as after the first block of a running song.
struct Clock {
    MFTransport t;
    MFAlignedArray ring;
    explicit Clock(float tempoRaw = tempoSixteenth) {
        ring.setSize(static_cast<uint32_t>(rate));
        t.setSwingRing(&ring);
        t.setStepLength(tempoRaw, samplesPerBeat);
        t.runningFlag = 1.0f;
        t.refreshTransportGate();
    }
    // One tick at the host position of tick n.
    void tickAt(int n, float start, float end) {
        t.setPosition(double(n) * 64.0 / double(samplesPerBeat));
        t.computeStep(start, end, ticksPerMs);
    }
};

int truncated(float step) {
    return static_cast<int>(step);
}

TEST(TransportStep, TempoPicksTheStepLength) {
    MFTransport t;
    struct Case {
        float v;
        float stepsPerBeat;
    };
    // Rounding of 6v toward zero and the table's order from long to short steps.
    for (const Case c : {Case{1.0f, 1.0f}, Case{0.6f, 1.3333f}, Case{0.5f, 2.0f}, Case{0.2f, 3.0f},
                         Case{0.1f, 4.0f}, Case{0.0f, 8.0f}, Case{-3.0f, 8.0f}, Case{7.0f, 1.0f}}) {
        t.setStepLength(c.v, samplesPerBeat);
        EXPECT_EQ(t.stepsPerBeat, c.stepsPerBeat) << c.v;
        EXPECT_FLOAT_EQ(t.samplesPerStep, samplesPerBeat / c.stepsPerBeat) << c.v;
        EXPECT_FLOAT_EQ(t.stepsPerTick, 64.0f * c.stepsPerBeat / samplesPerBeat) << c.v;
    }

    // A tempo change keeps the division and rescales the step, the swing with it.
    t.setStepLength(tempoSixteenth, samplesPerBeat);
    t.setSwing(1.0f);
    EXPECT_FLOAT_EQ(t.swingTicks, samplesPerBeat / 4.0f / 128.0f);
    t.recomputeStepLength(samplesPerBeat * 2.0f);
    EXPECT_EQ(t.stepsPerBeat, 4.0f);
    EXPECT_FLOAT_EQ(t.samplesPerStep, samplesPerBeat / 2.0f);
    EXPECT_FLOAT_EQ(t.swingTicks, samplesPerBeat / 2.0f / 128.0f);
}

TEST(TransportStep, HostPositionRunsAgainstTheSongInsideTheLoopRange) {
    Clock c;
    // A stopped host: position 0 and the first step of the range.
    vst::VstTimeInfo stopped{};
    stopped.tempo = 120.0;
    c.t.beginBlock(&stopped, 256, samplesPerBeat);
    c.t.computeStep(5.0f, 8.0f, ticksPerMs);
    EXPECT_EQ(c.t.hostStep, 5.0f);
    EXPECT_EQ(c.t.currentStep, 5.0f);
    EXPECT_EQ(c.t.transportGate, 0.0f);

    // Range 5..8 at 4 steps per beat: song step 8 at quarter 2 is 8 mod 4 = 0 -> step 5.
    struct Case {
        double ppq;
        float step;
    };
    for (const Case k :
         {Case{2.0, 5.0f}, Case{2.25, 6.0f}, Case{2.75, 8.0f}, Case{3.0, 5.0f}, Case{0.5, 7.0f}}) {
        c.t.setPosition(k.ppq);
        c.t.computeStep(5.0f, 8.0f, ticksPerMs);
        EXPECT_EQ(c.t.hostStep, k.step) << k.ppq;
        EXPECT_EQ(c.t.loopLength, 4.0f);
        EXPECT_EQ(c.t.loopEndPlusOne, 9.0f);
    }

    // A reversed range is one step long; positions no integer holds stay in range.
    c.t.setPosition(1.0e12);
    c.t.computeStep(9.0f, 3.0f, ticksPerMs);
    EXPECT_EQ(c.t.loopLength, 1.0f);
    EXPECT_EQ(c.t.hostStep, 9.0f);
    c.t.setPosition(std::nan(""));
    c.t.computeStep(0.0f, 31.0f, ticksPerMs);
    EXPECT_GE(c.t.currentStep, 0.0f);
    EXPECT_LE(c.t.currentStep, 31.0f);
}

// Ticks at which the truncated current step first shows each value over one pass.
std::vector<int> firstTicks(Clock& c, int ticks, int steps) {
    std::vector<int> first(static_cast<size_t>(steps), -1);
    for (int n = 0; n < ticks; ++n) {
        c.tickAt(n, 0.0f, float(steps - 1));
        const int s = truncated(c.t.currentStep);
        if (s >= 0 && s < steps && first[static_cast<size_t>(s)] < 0)
            first[static_cast<size_t>(s)] = n;
        // Even steps are read straight: swing never moves them.
        if (truncated(c.t.rawStep) % 2 == 0) {
            EXPECT_EQ(c.t.currentStep, c.t.rawStep) << n;
        }
    }
    return first;
}

TEST(TransportStep, SwingDelaysOddStepsOnlyByUpToHalfAStep) {
    // 16 steps of sixteenths at 120 bpm: 24000 samples per beat, 6000 per step.
    const int steps = 16;
    const double samplesPerStep = double(samplesPerBeat) / 4.0;
    const int ticks = static_cast<int>(steps * samplesPerStep / 64.0) - 1;

    Clock straight;
    straight.t.setSwing(0.0f);
    const std::vector<int> plain = firstTicks(straight, ticks, steps);
    EXPECT_EQ(straight.t.swingTicks, 0.0f);
    for (int k = 0; k < steps; ++k) // a step starts at the first tick on or after it
        EXPECT_EQ(plain[size_t(k)], static_cast<int>(std::ceil(k * samplesPerStep / 64.0))) << k;

    Clock swung;
    swung.t.setSwing(1.0f);
    const std::vector<int> late = firstTicks(swung, ticks, steps);
    // Half a step is 3000 samples = 46.875 ticks; read between two ticks, the odd step
    // shows once the delayed value has fully crossed, 47 ticks late.
    const int halfStepTicks = static_cast<int>(std::ceil(samplesPerStep / 2.0 / 64.0));
    for (int k = 0; k < steps; ++k) {
        const int delay = k % 2 == 1 ? halfStepTicks : 0;
        EXPECT_EQ(late[size_t(k)], plain[size_t(k)] + delay) << k;
    }

    // A negative value from a bad host swings nothing rather than making NaN.
    swung.t.setSwing(-1.0f);
    EXPECT_EQ(swung.t.swingTicks, 0.0f);
}

TEST(TransportStep, ARestartReadsNoSwingFromBeforeIt) {
    // Full swing, sixteenths: an odd step reached by playing shows half a step late;
    // one that playback jumps to shows at once, not the step played before the jump.
    Clock swung;
    swung.t.setSwing(1.0f);
    const int stepTicks = int(samplesPerBeat / 4.0f / 64.0f); // 93.75 ticks per step
    for (int n = 0; n < 2 * stepTicks; ++n)
        swung.tickAt(n, 0.0f, 31.0f);
    const int fiveTicks = 5 * stepTicks + 4; // just inside step 5
    swung.t.restart();
    swung.tickAt(fiveTicks, 0.0f, 31.0f);
    EXPECT_EQ(swung.t.currentStep, 5.0f);
    swung.tickAt(fiveTicks + 1, 0.0f, 31.0f);
    EXPECT_EQ(swung.t.currentStep, 5.0f);

    Clock played;
    played.t.setSwing(1.0f);
    for (int n = 0; n <= fiveTicks; ++n)
        played.tickAt(n, 0.0f, 31.0f);
    EXPECT_LT(played.t.currentStep, 5.0f) << "the odd step is still late when played into";
}

TEST(TransportStep, NoteModeRunsWhileANoteIsHeldAndRestartsAtTheLoopStart) {
    // 8 steps per beat at 512 samples per beat: exactly one step per tick.
    MFTransport t;
    t.setStepLength(tempoThirtySecond, 512.0f);
    ASSERT_EQ(t.stepsPerTick, 1.0f);
    t.setPositionMode(0.5f);
    ASSERT_EQ(t.positionMode, 1);
    // Four ticks per millisecond in quarters, so the hold's countdown is exact.
    const float tpm = 4.0f;
    const float start = 2.0f, end = 9.0f; // 8 steps

    // No note: nothing moves and the gate is closed by the note, not the host.
    t.runningFlag = 1.0f;
    t.refreshTransportGate();
    for (int i = 0; i < 3; ++i)
        t.computeStep(start, end, tpm);
    EXPECT_EQ(t.noteStepIncrement, 0.0f);
    EXPECT_EQ(t.currentStep, start);
    EXPECT_EQ(t.transportGate, 0.0f);

    // A note: one step per tick from the loop start, wrapping at the range's length.
    t.setNoteHeld(1.0f);
    EXPECT_GT(t.transportGate, 0.0f);
    t.setBypass(0.25f); // a switch's integer form: off below raw 0.5
    EXPECT_EQ(t.transportGate, 0.0f);
    t.setBypass(0.5f);
    EXPECT_GT(t.transportGate, 0.0f);
    std::vector<float> seen;
    for (int i = 0; i < 10; ++i) {
        t.computeStep(start, end, tpm);
        seen.push_back(t.noteStep);
    }
    EXPECT_EQ(seen, (std::vector<float>{3, 4, 5, 6, 7, 8, 9, 2, 3, 4}));

    // Release: the counter goes back to the start and stands.
    t.setNoteHeld(0.0f);
    t.computeStep(start, end, tpm);
    EXPECT_EQ(t.noteStep, start);
    EXPECT_EQ(t.transportGate, 0.0f);

    // A note within the millisecond after the release runs, and is restarted once the
    // millisecond is over: 1.0 counted down by 0.25 goes below 0 at the fifth tick
    // after the release.
    t.setNoteHeld(1.0f);
    std::vector<float> within;
    for (int i = 0; i < 7; ++i) {
        t.computeStep(start, end, tpm);
        within.push_back(t.noteStep);
    }
    EXPECT_EQ(within, (std::vector<float>{3, 4, 5, 6, 2, 3, 4}));
}

// Number of changes of the transport gate over three passes of a 4-step range.
int gateChanges(float retriggerRaw, std::vector<int>* atSteps) {
    Clock c;
    c.t.setRetrigger(retriggerRaw);
    const int ticksPerStep = static_cast<int>(samplesPerBeat / 4.0f / 64.0f); // 93.75 -> 93
    const int ticks = 3 * 4 * ticksPerStep + 4 * ticksPerStep;
    float gate = c.t.transportGate;
    int changes = 0;
    for (int n = 0; n < ticks; ++n) {
        c.tickAt(n, 4.0f, 7.0f);
        if (c.t.transportGate != gate) {
            ++changes;
            if (atSteps)
                atSteps->push_back(truncated(c.t.currentStep));
        }
        gate = c.t.transportGate;
        EXPECT_EQ(c.t.transportGate, c.t.transportBase * c.t.wrapToggle);
    }
    return changes;
}

TEST(TransportStep, RetriggerTogglesTheGateAtEachArrivalAtTheLoopStart) {
    std::vector<int> steps;
    // The first tick arrives at the start from nowhere, then three wraps follow.
    EXPECT_EQ(gateChanges(0.5f, &steps), 4);
    EXPECT_EQ(steps, (std::vector<int>{4, 4, 4, 4}));
    EXPECT_EQ(gateChanges(0.0f, nullptr), 0);
}

} // namespace
