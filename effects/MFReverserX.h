#pragma once

#include "effects/MFAlignedArray.h"
#include "effects/MFBPMChangeInterface.h"
#include "effects/MFDsp.h"
#include "effects/MFEffect.h"

#include <cstdint>

// Reverse: a one-bar ring of the input is written at all times; while the gate is
// open it is read backwards in tempo-synced grains with a linear fade at both ends,
// added to the scaled dry signal.
class MFReverserX : public MFEffect, public MFBPMChangeInterface {
public:
    static constexpr int32_t parameterSize = 0;
    static constexpr int32_t parameterFade = 1;
    static constexpr int32_t parameterDecay = 2;
    static constexpr int32_t parameterGate = 3;
    static constexpr int32_t parameterTotal = 4;

    MFReverserX(int32_t effectId, MFSystemInfo& context, const MFDivisionSet* divisions = nullptr);
    ~MFReverserX() override;

    void process(float* left, float* right, int32_t count) override;
    void setParameter(int32_t index, float value) override;
    void reset() override;
    void controlTick() override;
    void restart() override;
    void updateBuffers(bool keepContents) override;
    int32_t gateOn() override;
    void gateOff() override;
    int32_t isEnabled() override { return 1; }
    void setMix(float value) override;
    void getParameterDisplay(int32_t index, float value, char* text) override;
    void fillOptions(int32_t index, MFOptionMenuInterface& menu) override;
    float getParameterSteps(int32_t index) override;
    void bpmChanged() override;

    // Read-only views for tests and the editor.
    bool isActive() const { return active; }
    int32_t getGrainSize() const { return grainSize; }
    int32_t getPendingSize() const { return pendingSize; }
    bool isSizePending() const { return sizePending != 0; }
    int32_t getRingLength() const { return ringLength; }
    float getRepeatGain() const { return repeatGain; }

private:
    void computeDecayStep();

    mfdsp::MFMixRamp ramp;
    MFAlignedArray ringLeft;
    MFAlignedArray ringRight;
    int32_t ringLength = 0;
    int32_t ringWrite = 0;
    int32_t readIndex = 0;
    int32_t grainPosition = 0;
    // Read by setParameter on the parameter thread to decide whether a size is new.
    MFRelaxed<int32_t> grainSize = 100;
    MFRelaxed<int32_t> pendingSize = 100;
    MFRelaxed<int32_t> sizePending = 0;
    bool gainRestart = false;
    float grainFade = 0.5f;
    MFRelaxed<float> fadeFraction = 0.5f;
    float gateValue = 0.0f;
    MFRelaxed<float> decayAmount = 1.0f;
    float repeatGain = 1.0f;
    MFRelaxed<float> decayStep = 0.0f;
    bool active = false;
};
