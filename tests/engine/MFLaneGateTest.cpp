#include "engine/MFLaneGate.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {
// 48 kHz in 64-sample ticks, worked out here rather than taken from the context.
constexpr float sampleRate = 48000.0f;
constexpr float ticksPerMs = sampleRate / 64.0f / 1000.0f; // 0.75
// Levels are quotients of tick counts; this is a few float steps at 1.
constexpr float levelTolerance = 1e-5f;

MFLaneGate makeLane(float attackMs, float releaseMs) {
    MFLaneGate lane;
    lane.attackMs = attackMs;
    lane.releaseMs = releaseMs;
    return lane;
}

void run(MFLaneGate& lane, float stepValue, int ticks, float transportGate = 1.0f) {
    for (int k = 0; k < ticks; ++k)
        lane.tick(stepValue, transportGate, ticksPerMs);
}
} // namespace

// Zone values are zone number + 1, 0 for none. Entering a zone flips the toggle (it
// starts at 1), so a touching zone and a zone after a gap both show as a new gate;
// so does the transport's wrap toggle (0.9988 <-> 0.999999) under "retrigger".
TEST(MFLaneGate, EveryNewZoneOrWrapIsANewGate) {
    MFLaneGate lane = makeLane(5.0f, 5.0f);
    run(lane, 0.0f, 3);
    EXPECT_EQ(lane.getGateOut(), 0.0f);
    run(lane, 1.0f, 3);
    EXPECT_EQ(lane.getGateOut(), 2.0f) << "the effect hears the gate on the first tick";
    run(lane, 2.0f, 1);
    EXPECT_EQ(lane.getGateOut(), 1.0f) << "touching zone, at the tick of the change";
    run(lane, 0.0f, 40);
    EXPECT_EQ(lane.getGateOut(), 0.0f);
    run(lane, 1.0f, 10, 0.9988f);
    EXPECT_FLOAT_EQ(lane.getGateOut(), 2.0f * 0.9988f) << "after a gap";
    run(lane, 1.0f, 1, 0.999999f);
    EXPECT_FLOAT_EQ(lane.getGateOut(), 2.0f * 0.999999f) << "the wrap";
    EXPECT_EQ(lane.getEnvLevel(), 1.0f) << "a restart on a full envelope does not dip";
    run(lane, 1.0f, 1, 0.0f);
    EXPECT_EQ(lane.getEnvPhase(), MFLaneGate::phaseRelease) << "a stopped host closes the lane";
}

TEST(MFLaneGate, InterruptedAttackContinuesFromItsLevel) {
    MFLaneGate lane = makeLane(200.0f, 100.0f); // attack 150 ticks
    // The first tick arms the attack at level 0; 75 more reach half way.
    run(lane, 1.0f, 76);
    ASSERT_NEAR(lane.getEnvLevel(), 0.5f, levelTolerance);
    run(lane, 2.0f, 1); // the touching zone restarts the effect
    EXPECT_NEAR(lane.getEnvLevel(), 0.5f, levelTolerance);
    run(lane, 2.0f, 1);
    EXPECT_NEAR(lane.getEnvLevel(), 76.0f / 150.0f, levelTolerance);
    run(lane, 2.0f, 73);
    EXPECT_LT(lane.getEnvLevel(), 1.0f);
    run(lane, 2.0f, 1);
    EXPECT_EQ(lane.getEnvLevel(), 1.0f);
}

TEST(MFLaneGate, ReleaseKeepsTheLastGateUntilTheEnvelopeHasBeenClosedATick) {
    MFLaneGate lane = makeLane(5.0f, 100.0f);
    lane.userMix = 0.5f;
    run(lane, 1.0f, 20);
    ASSERT_EQ(lane.getEnvLevel(), 1.0f);
    const float gate = lane.getGateOut();

    // 100 ms at 750 ticks per second: 75 ticks of decrement after the tick that
    // starts the release (a float sum may leave a hair for one more tick).
    const int releaseTicks = int(100.0f * sampleRate / 64.0f / 1000.0f + 0.5f);
    int closedAt = -1;
    for (int k = 0; k <= releaseTicks + 5; ++k) {
        const float before = lane.getEnvLevel();
        lane.tick(0.0f, 1.0f, ticksPerMs);
        EXPECT_EQ(lane.getWetOut(), lane.getEnvLevel() * 0.5f);
        EXPECT_EQ(lane.getGateOut(), before > 0.0f ? gate : 0.0f) << "release tick " << k;
        if (closedAt < 0 && lane.getEnvLevel() == 0.0f)
            closedAt = k;
    }
    EXPECT_GE(closedAt, releaseTicks);
    EXPECT_LE(closedAt, releaseTicks + 1);

    // From half level the release still lasts the whole 75 ticks.
    MFLaneGate half = makeLane(200.0f, 100.0f);
    run(half, 1.0f, 76);
    run(half, 0.0f, 1 + 37);
    EXPECT_NEAR(half.getEnvLevel(), 0.5f * (1.0f - 37.0f / 75.0f), levelTolerance);
}

TEST(MFLaneGate, BypassReleasesAndRestartsButLanesWithoutGateKeepNone) {
    MFLaneGate lane = makeLane(5.0f, 20.0f); // release 15 ticks
    run(lane, 1.0f, 10);
    lane.bypassOn = 0.0f;
    run(lane, 1.0f, 1);
    EXPECT_EQ(lane.getEnvPhase(), MFLaneGate::phaseRelease);
    run(lane, 1.0f, 20);
    EXPECT_EQ(lane.getEnvLevel(), 0.0f);
    EXPECT_EQ(lane.getGateOut(), 0.0f);
    lane.bypassOn = 1.0f;
    run(lane, 1.0f, 1);
    EXPECT_GT(lane.getGateOut(), 0.0f);
    EXPECT_EQ(lane.getEnvPhase(), MFLaneGate::phaseAttack);

    MFLaneGate crush = makeLane(5.0f, 5.0f);
    crush.userMix = 0.25f;
    for (int k = 0; k < 10; ++k)
        crush.tick(1.0f, 1.0f, ticksPerMs, false);
    EXPECT_EQ(crush.getGateOut(), 0.0f);
    EXPECT_EQ(crush.getWetOut(), 0.25f);
}

TEST(MFLaneGate, LevelLineRunsFromOneToTheLevel) {
    EXPECT_EQ(MFLaneGate::levelLine(0.0f, 0.3f), 1.0f);
    EXPECT_EQ(MFLaneGate::levelLine(1.0f, 0.3f), 0.3f);
    EXPECT_NEAR(MFLaneGate::levelLine(0.25f, 0.2f), 0.8f, 1e-6f);
    // Outside the envelope's range the ends hold, and the pair is never overrun.
    EXPECT_EQ(MFLaneGate::levelLine(-2.0f, 0.3f), 1.0f);
    EXPECT_EQ(MFLaneGate::levelLine(7.0f, 0.3f), 0.3f);
    EXPECT_EQ(MFLaneGate::levelLine(std::nanf(""), 0.3f), 1.0f);
}
