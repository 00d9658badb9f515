#pragma once

#include "platform/MFRelaxed.h"

// A percussive control-rate envelope: a trigger strikes an attack to 1, a decay
// back to 0, then idle until the next trigger. A trigger of 0 or less is a hard
// stop. Run once per 64-sample tick; times are in milliseconds.
class MFAttackDecayEnvelope {
public:
    // State codes, kept as floats like the rest of the control state.
    static constexpr float stateStart = 0.0f;
    static constexpr float stateAttack = 1.0f;
    static constexpr float stateDecay = 3.0f;
    static constexpr float stateIdle = 4.0f;
    static constexpr float stateFade = 5.0f;
    static constexpr float stateDone = 6.0f;

    // Keeps a zero total from dividing by zero while changing nothing else.
    static constexpr float totalGuard = 1e-18f;

    // A new trigger value (any change) restarts the attack from the present level;
    // with freeze set the running phase holds still, though triggers still strike.
    void tick(float trigger, float ticksPerMs, bool freeze);
    // The hard stop: the next running tick takes the level to 0.
    void release();
    void reset();

    float level() const { return envelopeLevel; }
    float state() const { return envelopeState; }
    float time() const { return envelopeTime; }
    float trigger() const { return envelopeTrigger; }

    // Written by the parameter thread, read once per tick.
    MFRelaxed<float> attackMs = 0.0f;
    MFRelaxed<float> decayMs = 0.0f;

private:
    float envelopeState = stateStart;
    float envelopeTime = 0.0f;
    float envelopeLevel = 0.0f;
    float envelopeTrigger = 0.0f;
};
