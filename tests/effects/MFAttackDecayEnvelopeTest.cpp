#include "effects/MFAttackDecayEnvelope.h"

#include <gtest/gtest.h>

namespace {
// 48 kHz in 64-sample ticks: 0.75 ticks per millisecond.
constexpr float ticksPerMs = 48000.0f / 64.0f / 1000.0f;
// Levels are quotients of small tick counts; this is a few float steps at 1.
constexpr float levelTolerance = 1e-5f;

void run(MFAttackDecayEnvelope& env, float trigger, int ticks, bool freeze = false) {
    for (int k = 0; k < ticks; ++k)
        env.tick(trigger, ticksPerMs, freeze);
}
} // namespace

TEST(MFAttackDecayEnvelope, RetriggerContinuesTheAttackThenDecaysToIdle) {
    MFAttackDecayEnvelope env;
    env.attackMs = 200.0f; // 150 ticks
    env.decayMs = 100.0f;  // 75 ticks
    run(env, 1.0f, 76);    // the trigger tick arms at 0, 75 more reach half way
    ASSERT_NEAR(env.level(), 0.5f, levelTolerance);
    env.tick(2.0f, ticksPerMs, false);
    EXPECT_NEAR(env.level(), 0.5f, levelTolerance) << "no dip at the restart";
    run(env, 2.0f, 74);
    EXPECT_LT(env.level(), 1.0f);
    run(env, 2.0f, 1);
    EXPECT_EQ(env.level(), 1.0f) << "the rest of the attack takes the other half of its time";
    run(env, 2.0f, 25);
    EXPECT_NEAR(env.level(), 1.0f - 25.0f / 75.0f, levelTolerance);
    run(env, 2.0f, 50);
    EXPECT_EQ(env.level(), 0.0f);
    EXPECT_EQ(env.state(), MFAttackDecayEnvelope::stateIdle);
}

// The Filter lane strikes this envelope with its gate: a fall to 0 stops it within a
// tick, even from level 0 (no NaN from 0 / 1e-18); freeze holds a running phase but
// not a trigger.
TEST(MFAttackDecayEnvelope, GateSequenceWithHardStopAndFreeze) {
    MFAttackDecayEnvelope env;
    env.attackMs = 40.0f; // 30 ticks
    env.decayMs = 400.0f;
    run(env, 1.0f, 11);
    const float held = env.level();
    run(env, 1.0f, 20, true);
    EXPECT_EQ(env.level(), held);
    run(env, 0.0f, 1, true);
    EXPECT_EQ(env.state(), MFAttackDecayEnvelope::stateFade);
    run(env, 0.0f, 1);
    EXPECT_EQ(env.level(), 0.0f);
    EXPECT_EQ(env.state(), MFAttackDecayEnvelope::stateDone);
    run(env, 0.0f, 3);
    EXPECT_EQ(env.level(), 0.0f);

    env.attackMs = 0.0f;
    run(env, 2.0f, 1);
    EXPECT_EQ(env.level(), 1.0f) << "no attack time: full at the trigger tick";
    EXPECT_EQ(env.state(), MFAttackDecayEnvelope::stateDecay);
}
