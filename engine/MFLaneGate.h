#pragma once

#include "platform/MFRelaxed.h"

// The gate and wet envelope of one effect lane, run once per tick from the value
// its zones give at the current step. A new zone, even one touching the previous,
// shows as a new positive gate (1 and 2 alternate); the effect keeps the last
// positive gate until the envelope has been closed for a tick, so tails never cut.
class MFLaneGate {
public:
    // Envelope phases, kept as floats.
    static constexpr float phaseStart = 0.0f;
    static constexpr float phaseAttack = 1.0f;
    static constexpr float phaseSustain = 4.0f;
    static constexpr float phaseRelease = 5.0f;
    static constexpr float phaseFinished = 6.0f;

    // Keeps a zero time from dividing by zero while changing nothing else.
    static constexpr float timeGuard = 1e-18f;

    // stepValue: the zone value at the current step (0 = no zone, else zone + 1).
    // transportGate: the transport's factor (0 stopped, the wrap toggle otherwise).
    // tracksGateOut: false for lanes whose effect has no gate index; gateOut then
    // stays as it is.
    void tick(float stepValue, float transportGate, float ticksPerMs, bool tracksGateOut = true);
    // Back to the state at construction; the parameters stay.
    void reset();
    // Playback starts or jumps: the zone under the new position is entered afresh, with
    // the gate value a fresh lane gives it. The envelope keeps its level, so tails go on.
    void restart() {
        lastStepValue = 0.0f;
        zoneToggle = 1.0f;
    }

    float getGateRaw() const { return gateRaw; }
    float getGateValue() const { return gateValue; }
    float getGateOut() const { return gateOut; }
    float getWetOut() const { return wetOut; }
    float getEnvLevel() const { return envLevel; }
    float getEnvLevelPrevious() const { return envLevelPrevious; }
    float getEnvPhase() const { return envPhase; }
    float getZoneToggle() const { return zoneToggle; }
    float getGateHeld() const { return gateHeld; }

    // The level that the Tonal-Delay's gate index carries: a straight line from 1 at
    // an envelope of 0 to levelMapped at 1.
    static float levelLine(float envLevel, float levelMapped);

    // Written by the parameter thread, read once per tick.
    MFRelaxed<float> bypassOn = 1.0f;
    MFRelaxed<float> userMix = 1.0f;
    // The parameter floor, until the real times arrive.
    MFRelaxed<float> attackMs = 5.0f;
    MFRelaxed<float> releaseMs = 5.0f;

private:
    void runEnvelope(float ticksPerMs);

    float laneStepValue = 0.0f;
    float lastStepValue = 0.0f;
    float zoneToggle = 1.0f;
    float gateRaw = 0.0f;
    float gateValue = 0.0f;
    float envLevel = 0.0f;
    float envGate = 0.0f;
    float envCounter = 0.0f;
    float envPhase = phaseStart;
    float envLevelPrevious = 0.0f;
    float gateHeld = 0.0f;
    float gateHeldSeen = 0.0f;
    float gateOut = 0.0f;
    float wetOut = 0.0f;
};
