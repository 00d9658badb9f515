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

TEST(MFAttackDecayEnvelope, AttackRisesLinearlyThenDecaysToIdle) {
    MFAttackDecayEnvelope env;
    env.attackMs = 200.0f; // 150 ticks
    env.decayMs = 100.0f;  // 75 ticks
    env.tick(1.0f, ticksPerMs, false);
    EXPECT_EQ(env.state(), MFAttackDecayEnvelope::stateAttack);
    EXPECT_EQ(env.level(), 0.0f) << "the trigger tick only arms the attack";
    run(env, 1.0f, 30);
    EXPECT_NEAR(env.level(), 30.0f / 150.0f, levelTolerance);
    run(env, 1.0f, 120);
    EXPECT_EQ(env.level(), 1.0f);
    EXPECT_EQ(env.state(), MFAttackDecayEnvelope::stateDecay);
    run(env, 1.0f, 25);
    EXPECT_NEAR(env.level(), 1.0f - 25.0f / 75.0f, levelTolerance);
    run(env, 1.0f, 50);
    EXPECT_EQ(env.level(), 0.0f);
    EXPECT_EQ(env.state(), MFAttackDecayEnvelope::stateIdle);
    run(env, 1.0f, 10);
    EXPECT_EQ(env.level(), 0.0f) << "idle holds until the next trigger";
}

TEST(MFAttackDecayEnvelope, NewTriggerContinuesAttackFromPresentLevel) {
    MFAttackDecayEnvelope env;
    env.attackMs = 200.0f;
    env.decayMs = 100.0f;
    run(env, 1.0f, 76); // arm + 75 ticks = half way
    ASSERT_NEAR(env.level(), 0.5f, levelTolerance);
    env.tick(2.0f, ticksPerMs, false);
    EXPECT_NEAR(env.level(), 0.5f, levelTolerance) << "no dip at the restart";
    env.tick(2.0f, ticksPerMs, false);
    EXPECT_NEAR(env.level(), 76.0f / 150.0f, levelTolerance);
    run(env, 2.0f, 73);
    EXPECT_LT(env.level(), 1.0f);
    run(env, 2.0f, 1);
    EXPECT_EQ(env.level(), 1.0f) << "the rest of the attack takes the other half of its time";
}

TEST(MFAttackDecayEnvelope, ZeroAttackJumpsToFullAtTheTrigger) {
    MFAttackDecayEnvelope env;
    env.attackMs = 0.0f;
    env.decayMs = 24.0f;
    env.tick(3.0f, ticksPerMs, false);
    EXPECT_EQ(env.level(), 1.0f);
    EXPECT_EQ(env.state(), MFAttackDecayEnvelope::stateDecay);
}

TEST(MFAttackDecayEnvelope, TriggerZeroIsAHardStopWithinOneTick) {
    MFAttackDecayEnvelope env;
    env.attackMs = 0.0f;
    env.decayMs = 1000.0f;
    run(env, 1.0f, 5);
    ASSERT_GT(env.level(), 0.9f);
    env.tick(0.0f, ticksPerMs, false);
    EXPECT_EQ(env.state(), MFAttackDecayEnvelope::stateFade);
    env.tick(0.0f, ticksPerMs, false);
    EXPECT_EQ(env.level(), 0.0f);
    EXPECT_EQ(env.state(), MFAttackDecayEnvelope::stateDone);
    // A stop at level 0 must not leave a stray state or a NaN from 0 / 1e-18.
    MFAttackDecayEnvelope idle;
    idle.tick(-1.0f, ticksPerMs, false);
    idle.tick(-1.0f, ticksPerMs, false);
    EXPECT_EQ(idle.level(), 0.0f);
    EXPECT_EQ(idle.state(), MFAttackDecayEnvelope::stateDone);
}

TEST(MFAttackDecayEnvelope, FreezeHoldsTheRunningPhaseButNotTriggers) {
    MFAttackDecayEnvelope env;
    env.attackMs = 100.0f;
    env.decayMs = 100.0f;
    run(env, 1.0f, 11);
    const float held = env.level();
    run(env, 1.0f, 50, true);
    EXPECT_EQ(env.level(), held);
    env.tick(0.0f, ticksPerMs, true);
    env.tick(0.0f, ticksPerMs, true);
    EXPECT_EQ(env.state(), MFAttackDecayEnvelope::stateFade)
        << "a stop arrives while frozen; its fade waits for the transport";
    env.tick(0.0f, ticksPerMs, false);
    EXPECT_EQ(env.level(), 0.0f);
}

// The Filter lane's second envelope is struck by the lane's gateOut: a positive value
// attacks, a fall to 0 fades in one step, a new positive value restarts from the level.
TEST(MFAttackDecayEnvelope, StruckByAGateSequence) {
    MFAttackDecayEnvelope env;
    env.attackMs = 40.0f; // 30 ticks
    env.decayMs = 400.0f; // 300 ticks
    run(env, 1.0f, 31);
    ASSERT_EQ(env.level(), 1.0f);
    run(env, 1.0f, 30);
    const float decaying = env.level();
    EXPECT_NEAR(decaying, 1.0f - 30.0f / 300.0f, levelTolerance);
    env.tick(2.0f, ticksPerMs, false);
    env.tick(2.0f, ticksPerMs, false);
    EXPECT_NEAR(env.level(), decaying + 1.0f / 30.0f, levelTolerance);
    env.tick(0.0f, ticksPerMs, false);
    env.tick(0.0f, ticksPerMs, false);
    EXPECT_EQ(env.level(), 0.0f);
}
