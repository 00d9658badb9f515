#pragma once

#include "effects/MFBPMChangeInterface.h"
#include "effects/MFEffect.h"
#include "platform/MFRelaxed.h"

#include <cstdint>

// One to seven first-order all-pass stages per channel with feedback, swept by a
// control-rate sine between 440 and 1600 Hz; the right sweep is offset by the width.
class MFPhaser : public MFEffect, public MFBPMChangeInterface {
public:
    static constexpr int32_t parameterCount = 5;
    static constexpr int maxStages = 8;
    static constexpr float lowFrequency = 440.0f;
    static constexpr float highFrequency = 1600.0f;

    MFPhaser(int32_t effectId, MFSystemInfo& context, const MFDivisionSet* divisions = nullptr);
    ~MFPhaser() override;

    void process(float* left, float* right, int32_t count) override;
    void setParameter(int32_t index, float value) override;
    void setOption(int32_t index, int32_t value) override;
    int32_t getOption(int32_t index) override;
    void reset() override;
    void controlTick() override;
    void restart() override;
    void updateBuffers(bool keepContents) override;
    int32_t gateOn() override;
    int32_t isEnabled() override { return 1; }
    void setMix(float value) override;
    void getParameterDisplay(int32_t index, float value, char* text) override;
    void fillOptions(int32_t index, MFOptionMenuInterface& menu) override;
    float getParameterSteps(int32_t index) override;
    void bpmChanged() override;

    // Read-only views for tests and the editor.
    int32_t getStages() const { return stages; }
    float getPhase() const { return phase; }
    float getPhaseStep() const { return phaseStep; }
    float getCoefficientLeft(int stage) const { return coefficientLeft[stage]; }
    float getCoefficientRight(int stage) const { return coefficientRight[stage]; }
    float getStateLeft(int stage) const { return stateLeft[stage]; }
    float getLowCoefficient() const { return lowCoefficient; }
    float getHighCoefficient() const { return highCoefficient; }
    float getMixCurrent() const { return mixCurrent; }

private:
    void clearState();

    alignas(16) float coefficientLeft[maxStages] = {};
    alignas(16) float coefficientRight[maxStages] = {};
    alignas(16) float stateLeft[maxStages] = {};
    alignas(16) float stateRight[maxStages] = {};
    float lowCoefficient = 0.0f;
    float highCoefficient = 0.0f;
    MFRelaxed<float> feedback = 0.0f;
    float phase = 0.0f;
    MFRelaxed<float> phaseStep = 0.0f;
    MFRelaxed<float> depth = 0.0f;
    MFRelaxed<float> widthFraction = 0.0f;
    float lastLeft = 0.0f;
    float lastRight = 0.0f;
    MFRelaxed<int32_t> synced = 1;
    MFRelaxed<int32_t> stages = 0;
    // A change of the stage count asks the audio thread to start the stages from rest.
    MFFlag clearPending;
    MFRelaxed<float> mixTarget = 0.0f;
    float mixCurrent = 0.0f;
    float mixStep = 0.0f;
};
