#pragma once
#include "effects/MFAlignedArray.h"
#include "effects/MFBPMChangeInterface.h"
#include "effects/MFDsp.h"
#include "effects/MFEffect.h"
#include "platform/MFRelaxed.h"

#include <cstdint>

// Loop: while the gate is on, repeats the stretch of audio that followed the gate's
// opening at a tempo-synced length. The loop's end crossfades into the bar that came
// before the gate; a speed control slows and darkens; the repeats decay.
class MFLooperX : public MFEffect, public MFBPMChangeInterface {
public:
    static constexpr int32_t parameterSize = 0;
    static constexpr int32_t parameterDirection = 1;
    static constexpr int32_t parameterFade = 2;
    static constexpr int32_t parameterDecay = 3;
    static constexpr int32_t parameterGate = 4;
    static constexpr int32_t parameterTotal = 5;
    // Length changes this small are tempo drift, not a new size.
    static constexpr int32_t lengthTolerance = 32;
    static constexpr float retriggerFrames = 64.0f;
    static constexpr float retriggerStep = 0.015625f;
    static constexpr float toneDamping = 0.73f;

    MFLooperX(int32_t effectId, MFSystemInfo& context, const MFDivisionSet* divisions = nullptr);
    ~MFLooperX() override;

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
    bool isBipolar(int32_t index) override;
    void fillOptions(int32_t index, MFOptionMenuInterface& menu) override;
    float getParameterSteps(int32_t index) override;
    int32_t startCapture();
    void bpmChanged() override;

    // Read-only views for tests and the editor.
    int32_t getBarLength() const { return barLength; }
    int32_t getLoopLength() const { return loopLength; }
    int32_t getPendingLength() const { return pendingLength; }
    float getRepeatGain() const { return repeatGain; }
    float getDecayStep() const { return decayStep; }
    float getReadPosition() const { return readPosition; }
    bool isActive() const { return active; }
    bool isCapturing() const { return capturing; }
    // Tone filter state per channel, to prove it stays out of the denormal range.
    const mfdsp::MFStateVariableLowPass& toneLeft() const { return filterLeft; }
    const mfdsp::MFStateVariableLowPass& toneRight() const { return filterRight; }

private:
    void applySize(float value);
    void computeDecayStep();
    // Sizes in half bars of `bar`, grown only; false while the grower is still making room.
    bool sizeBuffers(int32_t bar, int32_t takeHalves, int32_t historyHalves, int32_t tailHalves);
    // The longest bar the buffers hold now.
    int32_t barThatFits() const;

    mfdsp::MFMixRamp ramp;
    mfdsp::MFStateVariableLowPass filterLeft;
    mfdsp::MFStateVariableLowPass filterRight;
    MFAlignedArray takeLeft;
    MFAlignedArray takeRight;
    MFAlignedArray historyLeft;
    MFAlignedArray historyRight;
    MFAlignedArray tailLeft;
    MFAlignedArray tailRight;
    float holdFrames = 0.0f;
    float holdLeft = 0.0f;
    float holdRight = 0.0f;
    MFRelaxed<float> decayAmount = 0.5f;
    float repeatGain = 1.0f;
    MFRelaxed<float> decayStep = 0.0f;
    int32_t barLength = 0;
    // Read by setParameter on other threads to apply the drift tolerance.
    MFRelaxed<int32_t> loopLength = 0;
    MFRelaxed<int32_t> pendingLength = 0;
    int32_t historyWrite = 0;
    int32_t takeWrite = 0;
    bool capturing = false;
    float readPosition = 0.0f;
    MFRelaxed<float> speed = 1.0f;
    float fadeLength = 0.0f;
    MFRelaxed<float> fadeFraction = 0.2f;
    bool active = false;
};
