#include "effects/MFAttackDecayEnvelope.h"
#include "effects/MFLevelFollower.h"
#include "effects/MFStereoPanAmp.h"
#include "effects/MFStutter.h"
#include "engine/MFLaneGate.h"
#include "pattern/MFTableXY.h"
#include "support/AllocationCounter.h"
#include "support/EffectHarness.h"

#include <gtest/gtest.h>

// The per-tick work of the lanes, the Stutter and the Filter's two extra sources runs
// on the audio thread: none of it may touch the heap, knob moves included.
TEST(StutterRealtime, TicksNeverAllocate) {
    TestContext context(48000.0f, 120.0);
    MFTableXY pan(context.info, 8), level(context.info, 8);
    pan.setRowCount(12);
    level.setRowCount(12);
    MFStereoPanAmp amp(183, context.info);
    MFStutter stutter(context.info);
    MFLaneGate lane;
    MFAttackDecayEnvelope filterEnvelope;
    MFLevelFollower follower;
    lane.attackMs = 10.0f;
    lane.releaseMs = 30.0f;
    filterEnvelope.attackMs = 20.0f;
    filterEnvelope.decayMs = 100.0f;

    float sink = 0.0f;
    AllocationCounter counter;
    for (int n = 0; n < 5000; ++n) {
        if (n % 250 == 0) {
            stutter.setTempo(float(n % 7) / 6.0f);
            stutter.setAttack(float(n % 3) / 2.0f);
            stutter.setDecay(float(n % 5) / 4.0f);
            follower.setRise(float(n % 11) / 10.0f, context.info.sampleRate);
            follower.setFall(float(n % 13) / 12.0f, context.info.samplesPerBeat,
                             context.info.samplesPerMs);
        }
        const float step = (n / 120) % 4 == 3 ? 0.0f : float((n / 120) % 4 + 1);
        lane.tick(step, 0.9988f, context.info.ticksPerMs);
        stutter.tick(lane.getGateValue(), lane.getWetOut(), lane.getEnvLevel(), pan, level, false,
                     amp);
        filterEnvelope.tick(lane.getGateOut(), context.info.ticksPerMs, false);
        for (int s = 0; s < 64; ++s)
            follower.feed(float((s * 37 + n) % 100) * 0.01f - 0.5f);
        sink += follower.valueAtTick() + filterEnvelope.level() +
                MFLaneGate::levelLine(lane.getEnvLevel(), 0.5f);
    }
    EXPECT_EQ(counter.count(), 0u);
    EXPECT_TRUE(sink > 0.0f) << "the work was done";
}
