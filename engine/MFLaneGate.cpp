#include "engine/MFLaneGate.h"

void MFLaneGate::reset() {
    laneStepValue = 0.0f;
    lastStepValue = 0.0f;
    zoneToggle = 1.0f;
    gateRaw = 0.0f;
    gateValue = 0.0f;
    envLevel = 0.0f;
    envGate = 0.0f;
    envCounter = 0.0f;
    envPhase = phaseStart;
    envLevelPrevious = 0.0f;
    gateHeld = 0.0f;
    gateHeldSeen = 0.0f;
    gateOut = 0.0f;
    wetOut = 0.0f;
}

void MFLaneGate::tick(float stepValue, float transportGate, float ticksPerMs, bool tracksGateOut) {
    laneStepValue = stepValue;
    // Entering any zone flips the toggle, so adjacent zones still differ; leaving does not.
    if (laneStepValue != lastStepValue) {
        lastStepValue = laneStepValue;
        if (laneStepValue > 0.0f)
            zoneToggle = zoneToggle == 1.0f ? 2.0f : 1.0f;
    }
    gateRaw = (laneStepValue > 0.0f ? zoneToggle : 0.0f) * float(bypassOn);
    gateValue = gateRaw * transportGate;

    const float levelBefore = envLevel;
    runEnvelope(ticksPerMs);
    envLevelPrevious = levelBefore;

    if (tracksGateOut) {
        if (gateValue != gateHeldSeen) {
            gateHeldSeen = gateValue;
            if (gateValue > 0.0f)
                gateHeld = gateValue;
        }
        gateOut = envLevelPrevious <= 0.0f ? gateValue : gateHeld;
    }
    wetOut = envLevel * float(userMix);
}

void MFLaneGate::runEnvelope(float ticksPerMs) {
    const float attack = attackMs;
    if (gateValue == envGate) {
        if (envPhase == phaseAttack) {
            envCounter += 1.0f;
            const float total = attack * ticksPerMs + timeGuard;
            if (envCounter < total) {
                envLevel = envCounter / total;
            } else {
                envPhase = phaseSustain;
                envLevel = 1.0f;
                envCounter = 0.0f;
            }
        } else if (envPhase == phaseRelease) {
            envLevel -= envCounter;
            if (!(envLevel > 0.0f)) {
                envLevel = 0.0f;
                envPhase = phaseFinished;
            }
        }
        return;
    }
    envGate = gateValue;
    if (!(gateValue > 0.0f)) {
        // The decrement per tick that empties the present level in releaseMs.
        envPhase = phaseRelease;
        envCounter = envLevel / (float(releaseMs) * ticksPerMs + timeGuard);
        return;
    }
    envCounter = 0.0f;
    if (attack == 0.0f) {
        envLevel = 1.0f;
        envPhase = phaseSustain;
        return;
    }
    envPhase = phaseAttack;
    // Continue the attack from the present level rather than dipping to 0.
    if (envLevel > 0.0f)
        envCounter = attack * envLevel * ticksPerMs;
}

float MFLaneGate::levelLine(float envLevel, float levelMapped) {
    // Clamped first so that the pair's indexes stay 0 or 1, whatever arrives.
    float e = envLevel > 0.0f ? envLevel : 0.0f;
    e = e < 1.0f ? e : 1.0f;
    const float pair[2] = {1.0f, levelMapped};
    const int i = int(e + 1e-07f);
    const int j = int(e + 0.999999f);
    return (e - float(int(e))) * (pair[j] - pair[i]) + pair[i];
}
