#include "engine/MFLaneGate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {
// 48 kHz in 64-sample ticks, worked out here rather than taken from the context.
constexpr float sampleRate = 48000.0f;
constexpr float ticksPerMs = sampleRate / 64.0f / 1000.0f; // 0.75
constexpr float playing = 1.0f;
// Levels are quotients of tick counts; this is a few float steps at 1.
constexpr float levelTolerance = 1e-5f;

MFLaneGate makeLane(float attackMs, float releaseMs) {
    MFLaneGate lane;
    lane.attackMs = attackMs;
    lane.releaseMs = releaseMs;
    return lane;
}

void run(MFLaneGate& lane, float stepValue, int ticks, float transportGate = playing) {
    for (int k = 0; k < ticks; ++k)
        lane.tick(stepValue, transportGate, ticksPerMs);
}
} // namespace

// Zone values are zone number + 1; 0 is no zone. Every entry into a zone flips the
// toggle (which starts at 1), so each new zone shows as a new positive gate.
TEST(MFLaneGate, EachNewZoneShowsAsANewGateValue) {
    MFLaneGate lane = makeLane(5.0f, 5.0f);
    run(lane, 0.0f, 3);
    EXPECT_EQ(lane.getGateValue(), 0.0f);
    EXPECT_EQ(lane.getGateOut(), 0.0f);
    run(lane, 1.0f, 3);
    EXPECT_EQ(lane.getGateValue(), 2.0f);
    EXPECT_EQ(lane.getGateOut(), 2.0f) << "the effect hears the gate on the first tick";
    // The next zone touches this one: the toggle swaps at the tick of the change.
    lane.tick(2.0f, playing, ticksPerMs);
    EXPECT_EQ(lane.getGateValue(), 1.0f);
    EXPECT_EQ(lane.getGateOut(), 1.0f);
    // A gap, then the first zone again.
    run(lane, 0.0f, 40);
    EXPECT_EQ(lane.getGateValue(), 0.0f);
    lane.tick(1.0f, playing, ticksPerMs);
    EXPECT_EQ(lane.getGateValue(), 2.0f);
    EXPECT_EQ(lane.getGateOut(), 2.0f);
    EXPECT_EQ(lane.getZoneToggle(), 2.0f);
}

TEST(MFLaneGate, InterruptedAttackContinuesFromItsLevel) {
    MFLaneGate lane = makeLane(200.0f, 100.0f); // attack 150 ticks
    // The first tick arms the attack at level 0; 75 more reach half way.
    run(lane, 1.0f, 76);
    ASSERT_NEAR(lane.getEnvLevel(), 0.5f, levelTolerance);
    lane.tick(2.0f, playing, ticksPerMs); // adjacent zone: restart
    EXPECT_NEAR(lane.getEnvLevel(), 0.5f, levelTolerance);
    EXPECT_EQ(lane.getEnvPhase(), MFLaneGate::phaseAttack);
    lane.tick(2.0f, playing, ticksPerMs);
    EXPECT_NEAR(lane.getEnvLevel(), 76.0f / 150.0f, levelTolerance);
    run(lane, 2.0f, 73);
    EXPECT_LT(lane.getEnvLevel(), 1.0f);
    lane.tick(2.0f, playing, ticksPerMs);
    EXPECT_EQ(lane.getEnvLevel(), 1.0f);
    EXPECT_EQ(lane.getEnvPhase(), MFLaneGate::phaseSustain);
    // A restart on a full envelope keeps the level at 1 throughout.
    lane.tick(1.0f, playing, ticksPerMs);
    EXPECT_EQ(lane.getEnvLevel(), 1.0f);
    lane.tick(1.0f, playing, ticksPerMs);
    EXPECT_EQ(lane.getEnvLevel(), 1.0f);
}

TEST(MFLaneGate, ReleaseKeepsTheLastGateUntilTheEnvelopeHasBeenClosedATick) {
    MFLaneGate lane = makeLane(5.0f, 100.0f);
    lane.userMix = 0.5f;
    run(lane, 1.0f, 20);
    ASSERT_EQ(lane.getEnvLevel(), 1.0f);
    EXPECT_EQ(lane.getWetOut(), 0.5f);
    const float gate = lane.getGateValue();

    // 100 ms at 750 ticks per second is 75 ticks of decrement after the tick that
    // starts the release (float sums may leave a hair for one more tick).
    const int releaseTicks = int(100.0f * sampleRate / 64.0f / 1000.0f + 0.5f);
    int closedAt = -1;
    for (int k = 0; k <= releaseTicks + 5; ++k) {
        const float before = lane.getEnvLevel();
        lane.tick(0.0f, playing, ticksPerMs);
        EXPECT_EQ(lane.getGateValue(), 0.0f);
        EXPECT_EQ(lane.getWetOut(), lane.getEnvLevel() * 0.5f);
        if (before > 0.0f) {
            EXPECT_EQ(lane.getGateOut(), gate) << "tick " << k << " of the release";
        } else {
            EXPECT_EQ(lane.getGateOut(), 0.0f) << "tick " << k;
        }
        if (closedAt < 0 && lane.getEnvLevel() == 0.0f)
            closedAt = k;
    }
    EXPECT_GE(closedAt, releaseTicks);
    EXPECT_LE(closedAt, releaseTicks + 1);
    EXPECT_EQ(lane.getEnvPhase(), MFLaneGate::phaseFinished);
}

TEST(MFLaneGate, ReleaseFromPartLevelLastsTheWholeReleaseTime) {
    MFLaneGate lane = makeLane(200.0f, 100.0f);
    run(lane, 1.0f, 76); // half way up
    const int releaseTicks = 75;
    run(lane, 0.0f, 1 + releaseTicks / 2);
    EXPECT_NEAR(lane.getEnvLevel(), 0.5f * (1.0f - 37.0f / 75.0f), levelTolerance);
    EXPECT_GT(lane.getGateOut(), 0.0f);
}

TEST(MFLaneGate, BypassReleasesAndRestarts) {
    MFLaneGate lane = makeLane(5.0f, 20.0f); // release 15 ticks
    run(lane, 1.0f, 10);
    ASSERT_EQ(lane.getEnvLevel(), 1.0f);
    lane.bypassOn = 0.0f;
    run(lane, 1.0f, 1);
    EXPECT_EQ(lane.getGateValue(), 0.0f);
    EXPECT_EQ(lane.getEnvPhase(), MFLaneGate::phaseRelease);
    run(lane, 1.0f, 20);
    EXPECT_EQ(lane.getEnvLevel(), 0.0f);
    EXPECT_EQ(lane.getGateOut(), 0.0f);
    lane.bypassOn = 1.0f;
    run(lane, 1.0f, 1);
    EXPECT_GT(lane.getGateOut(), 0.0f);
    EXPECT_EQ(lane.getEnvPhase(), MFLaneGate::phaseAttack);
}

// The transport's wrap toggle flips between two values just under 1 when "retrigger"
// sees the loop wrap: the same zone then reads as a new gate.
TEST(MFLaneGate, TransportGateChangeRestartsTheEffect) {
    MFLaneGate lane = makeLane(5.0f, 50.0f);
    run(lane, 1.0f, 10, 0.9988f);
    const float before = lane.getGateOut();
    EXPECT_FLOAT_EQ(before, 2.0f * 0.9988f);
    lane.tick(1.0f, 0.999999f, ticksPerMs);
    EXPECT_NE(lane.getGateOut(), before);
    EXPECT_FLOAT_EQ(lane.getGateOut(), 2.0f * 0.999999f);
    EXPECT_EQ(lane.getEnvLevel(), 1.0f);
    // A stopped transport closes the lane.
    lane.tick(1.0f, 0.0f, ticksPerMs);
    EXPECT_EQ(lane.getEnvPhase(), MFLaneGate::phaseRelease);
}

TEST(MFLaneGate, LanesWithoutAGateIndexLeaveGateOutAlone) {
    MFLaneGate lane = makeLane(5.0f, 5.0f);
    lane.userMix = 0.25f;
    for (int k = 0; k < 10; ++k)
        lane.tick(1.0f, playing, ticksPerMs, false);
    EXPECT_EQ(lane.getGateOut(), 0.0f);
    EXPECT_EQ(lane.getGateValue(), 2.0f);
    EXPECT_EQ(lane.getWetOut(), 0.25f);
}

TEST(MFLaneGate, LevelLineRunsFromOneToTheLevel) {
    EXPECT_EQ(MFLaneGate::levelLine(0.0f, 0.3f), 1.0f);
    EXPECT_EQ(MFLaneGate::levelLine(1.0f, 0.3f), 0.3f);
    EXPECT_NEAR(MFLaneGate::levelLine(0.25f, 0.2f), 0.8f, 1e-6f);
    EXPECT_NEAR(MFLaneGate::levelLine(0.5f, 3.0f), 2.0f, 1e-6f);
    // Outside the envelope's range the ends hold.
    EXPECT_EQ(MFLaneGate::levelLine(-2.0f, 0.3f), 1.0f);
    EXPECT_EQ(MFLaneGate::levelLine(7.0f, 0.3f), 0.3f);
    EXPECT_EQ(MFLaneGate::levelLine(std::nanf(""), 0.3f), 1.0f);
}

// Random zones, transport and knob moves: every output stays finite and in range,
// and the level never lands in the denormal range.
TEST(MFLaneGate, LongRandomRunStaysBounded) {
    MFLaneGate lane;
    std::mt19937 random(7);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (int k = 0; k < 50000; ++k) {
        if (k % 97 == 0) {
            lane.attackMs = 5.0f + 1000.0f * std::pow(unit(random), 3.0f);
            lane.releaseMs = 5.0f + 1000.0f * std::pow(unit(random), 3.0f);
            lane.userMix = unit(random);
            lane.bypassOn = unit(random) < 0.9f ? 1.0f : 0.0f;
        }
        const float step = unit(random) < 0.3f ? 0.0f : float(int(unit(random) * 4.0f) + 1);
        const float transport = unit(random) < 0.05f ? 0.0f : 0.9988f;
        for (int held = int(unit(random) * 40.0f); held >= 0; --held)
            lane.tick(step, transport, ticksPerMs);
        const float level = lane.getEnvLevel();
        ASSERT_TRUE(level >= 0.0f && level <= 1.0f) << level;
        ASSERT_NE(std::fpclassify(level), FP_SUBNORMAL);
        ASSERT_TRUE(std::isfinite(lane.getWetOut()));
        ASSERT_TRUE(lane.getGateOut() >= 0.0f && lane.getGateOut() <= 2.0f);
    }
}
