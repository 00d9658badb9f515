#pragma once

#include "effects/MFAttackDecayEnvelope.h"
#include "platform/MFRelaxed.h"

#include <cstdint>

class MFStereoPanAmp;
class MFSystemInfo;
class MFTable;

// A gate and panner stepped in time, computed once per tick. Eight steps, each with
// a pan and a level from two tables, restart at every new zone; each step strikes a
// short attack-decay envelope. Its only audio action is the pair of gains it hands
// to the output amp.
class MFStutter {
public:
    static constexpr int32_t rateCount = 8;
    // Steps per beat; the first entry is out of the knob's reach.
    static constexpr float rates[rateCount] = {1, 2, 3, 4, 6, 8, 12, 16};
    static constexpr int32_t stepsInRun = 8;
    static constexpr int32_t tickSamples = 64;
    // The step count wraps here so the phase never loses precision.
    static constexpr float phaseWrap = 132000.0f;
    // An amp parameter of a quarter is unity gain.
    static constexpr float unityQuarter = 0.25f;
    // Never equal to a gate, so the first tick always sees a new gate.
    static constexpr float triggerGateStart = -1234.1234f;

    explicit MFStutter(MFSystemInfo& context);

    // Raw 0..1 knob values; any thread. setTempo must be sent again after a tempo change.
    void setTempo(float v);
    void setAttack(float v);
    void setDecay(float v);

    // One control tick. gate: the lane's gate value (0 off, 1 and 2 alternating per
    // zone); mix: the lane's wet amount; laneLevel: the lane's envelope level. The
    // tables give pan (0 left .. 1 right) and level per step; freeze holds the
    // envelope while the transport stands still.
    void tick(float gate, float mix, float laneLevel, MFTable& panTable, MFTable& levelTable,
              bool freeze, MFStereoPanAmp& amp);
    // Back to the state at construction; the parameters stay.
    void reset();

    float getStepSamples() const { return stepSamples; }
    float getStepsPerSecond() const { return stepsPerSecond; }
    float getStepsPerTick() const { return stepsPerTick; }
    float getRate() const { return rate; }
    float getStepPhase() const { return stepPhase; }
    int32_t getStepIndex() const { return stepIndex; }
    int32_t getActiveStep() const { return activeStep; }
    float getPanValue() const { return panValue; }
    float getLevelValue() const { return levelValue; }
    float getTriggerValue() const { return triggerValue; }
    float getLeftTarget() const { return leftTarget; }
    float getRightTarget() const { return rightTarget; }
    // The amp parameters last sent (a quarter = unity).
    float getLeftGain() const { return leftGain; }
    float getRightGain() const { return rightGain; }
    const MFAttackDecayEnvelope& getEnvelope() const { return envelope; }

private:
    // Between atZero and atOne by x in 0..1.
    static float pairLine(float x, float atZero, float atOne);

    MFSystemInfo& context;
    MFAttackDecayEnvelope envelope;

    MFRelaxed<float> rate = 8.0f;
    MFRelaxed<float> stepSamples = 0.0f;
    MFRelaxed<float> stepsPerSecond = 0.0f;
    MFRelaxed<float> stepsPerTick = 0.0f;

    float stepPhase = 0.0f;
    float stepGate = 0.0f;
    int32_t stepNumber = 0;
    int32_t stepIndex = 0;
    int32_t activeStep = 0;
    float panValue = 0.5f;
    float levelValue = 1.0f;
    float triggerGate = triggerGateStart;
    float triggerValue = 0.0f;
    float triggerStep = 0.0f;
    float leftTarget = 0.0f;
    float rightTarget = 0.0f;
    float leftGain = unityQuarter;
    float rightGain = unityQuarter;
};
