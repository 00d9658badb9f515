#pragma once

#include "effects/MFAlignedArray.h"
#include "effects/MFBPMChangeInterface.h"
#include "effects/MFDsp.h"
#include "effects/MFEffect.h"
#include "platform/MFRelaxed.h"

#include <cstdint>

// ScratchLoop: at the gate's opening the last two beats become a record, and a read
// head swings back and forth over its end, forward and backward halves each with
// their own speed and curve, like a hand on a turntable.
class MFScratchLooper : public MFEffect, public MFBPMChangeInterface {
public:
    static constexpr int32_t parameterTotal = 6;
    static constexpr int32_t sizeIndex = 0;
    static constexpr int32_t fwdSpinIndex = 1;
    static constexpr int32_t fwdSlopeIndex = 2;
    static constexpr int32_t bwdSpinIndex = 3;
    static constexpr int32_t bwdSlopeIndex = 4;
    static constexpr int32_t gateIndex = 5;

    static constexpr int32_t minimumRingLength = 1024;
    static constexpr int32_t recordFadeLength = 800;
    static constexpr int32_t edgeFadeLength = 512;
    static constexpr int32_t crossfadeLength = 1024;

    MFScratchLooper(int32_t effectId, MFSystemInfo& context,
                    const MFDivisionSet* divisions = nullptr);
    ~MFScratchLooper() override;

    void process(float* left, float* right, int32_t count) override;
    void setParameter(int32_t index, float value) override;
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
    void bpmChanged() override;

    // Read-only views for tests and diagnostics.
    int32_t getRingLength() const { return ringLength; }
    int32_t getRecordLength() const { return recordLength; }
    int32_t getScratchLength() const { return scratchLength; }
    int32_t getPendingLength() const { return pendingLength; }
    float getFwdIncrement() const { return fwdIncrement; }
    float getBwdIncrement() const { return bwdIncrement; }
    float getPhase() const { return phase; }
    // Read position of the last wet sample, in samples from the record's start.
    float getLastPosition() const { return lastPosition; }
    bool isActive() const { return active; }
    const float* recordData(int channel) const {
        return channel == 0 ? recordLeft.data() : recordRight.data();
    }

private:
    void takeRecord();
    // Latches the knobs and the pass length; the gate and a running change use
    // different factors for a spin above the centre.
    void latchPass(float fastFactor);

    mfdsp::MFMixRamp ramp;
    mfdsp::MFEqualPowerWalk walk;
    MFRelaxed<float> mixTarget = 0.0f;
    MFRelaxed<float> mixComplement = 1.0f;

    MFAlignedArray ringLeft;
    MFAlignedArray ringRight;
    MFAlignedArray recordLeft;
    MFAlignedArray recordRight;
    int32_t ringWrite = 0;
    int32_t ringLength = minimumRingLength;
    // The ring length when the record was taken: the read head is placed against it,
    // so a later tempo change cannot push it past the record.
    int32_t recordLength = minimumRingLength;

    int32_t scratchLength = 0;
    MFRelaxed<int32_t> pendingLength = 0;

    float phase = 1.5707964f;
    float gateValue = 0.0f;

    MFRelaxed<float> nextFwdSpin = 0.5f;
    MFRelaxed<float> nextFwdSlope = 0.5f;
    MFRelaxed<float> nextBwdSpin = 0.5f;
    MFRelaxed<float> nextBwdSlope = 0.5f;
    float fwdSpin = 0.5f;
    float fwdSlope = 0.5f;
    float bwdSpin = 0.5f;
    float bwdSlope = 0.5f;
    float fwdIncrement = 0.0f;
    float bwdIncrement = 0.0f;

    float holdLeft = 0.0f;
    float holdRight = 0.0f;
    int32_t holdFrames = 0;

    float lastPosition = 0.0f;
    bool active = false;
    MFRelaxed<bool> rearm = false;
};
