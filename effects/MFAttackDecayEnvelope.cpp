#include "effects/MFAttackDecayEnvelope.h"

void MFAttackDecayEnvelope::release() {
    // A time this large empties any level in one fade tick: the stop is hard.
    envelopeState = stateFade;
    envelopeTime = envelopeLevel / totalGuard;
}

void MFAttackDecayEnvelope::reset() {
    envelopeState = stateStart;
    envelopeTime = 0.0f;
    envelopeLevel = 0.0f;
    envelopeTrigger = 0.0f;
}

void MFAttackDecayEnvelope::tick(float trigger, float ticksPerMs, bool freeze) {
    const float attack = attackMs;
    if (trigger != envelopeTrigger) {
        envelopeTrigger = trigger;
        if (!(trigger > 0.0f)) {
            release();
            return;
        }
        envelopeTime = 0.0f;
        if (attack == 0.0f) {
            envelopeLevel = 1.0f;
            envelopeState = stateDecay;
            return;
        }
        envelopeState = stateAttack;
        // Start the attack count where the present level already stands.
        if (envelopeLevel > 0.0f)
            envelopeTime = attack * envelopeLevel * ticksPerMs;
        return;
    }
    if (freeze)
        return;

    if (envelopeState == stateAttack) {
        envelopeTime += 1.0f;
        const float total = attack * ticksPerMs + totalGuard;
        if (envelopeTime < total) {
            envelopeLevel = envelopeTime / total;
        } else {
            envelopeLevel = 1.0f;
            envelopeState = stateDecay;
            envelopeTime = 0.0f;
        }
    } else if (envelopeState == stateDecay) {
        envelopeTime += 1.0f;
        const float total = float(decayMs) * ticksPerMs + totalGuard;
        if (trigger == 0.0f) {
            release();
        } else if (envelopeTime < total) {
            envelopeLevel = 1.0f - envelopeTime / total;
        } else {
            envelopeLevel = 0.0f;
            envelopeState = stateIdle;
            envelopeTime = 0.0f;
        }
    } else if (envelopeState == stateFade) {
        envelopeLevel -= envelopeTime;
        if (!(envelopeLevel > 0.0f)) {
            envelopeLevel = 0.0f;
            envelopeState = stateDone;
        }
    }
    // Start, Idle and Done hold the level.
}
