#pragma once

#include "effects/MFAlignedArray.h"
#include "effects/MFBPMChangeInterface.h"
#include "effects/MFDsp.h"
#include "effects/MFEffect.h"

#include <cstdint>

// Stretch: when the gate opens the input is captured (behind a short pre-history)
// and a grain player reads it slower than it arrives: grains play at normal pitch,
// each next grain starting only a fraction of a grain further on, with a crossfade at
// every grain's end into the material before the next grain's start.
class MFBeatStretcher : public MFEffect, public MFBPMChangeInterface {
public:
    static constexpr int32_t parameterAmount = 0;
    static constexpr int32_t parameterGrainSize = 1;
    static constexpr int32_t parameterFade = 2;
    static constexpr int32_t parameterGate = 3;
    static constexpr int32_t parameterTotal = 4;

    // Samples, not scaled with the rate.
    static constexpr int32_t minimumGrain = 1760;
    static constexpr int32_t guardFrames = 100;
    // About 125 ms of pre-history at 44.1 kHz, scaled with the rate.
    static constexpr float prerollAt44k = 5512.0f;

    MFBeatStretcher(int32_t effectId, MFSystemInfo& context,
                    const MFDivisionSet* divisions = nullptr);
    ~MFBeatStretcher() override;

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
    bool isBipolar(int32_t index) override { return index == parameterGrainSize; }
    void bpmChanged() override;
    void startCapture();

    // Read-only views for tests and the editor.
    bool isActive() const { return active; }
    bool isCapturing() const { return capturing; }
    int32_t getPrerollLength() const { return prerollLength; }
    int32_t getCaptureLength() const { return captureLength; }
    int32_t getGrainLength() const { return grainLength; }
    int32_t getGrainFade() const { return grain.fade; }
    int32_t getGrainStart() const { return grain.start; }
    uint32_t getCaptureSize() const { return captureLeft.getSize(); }

private:
    // One grain player; the sound needs only one.
    struct Grain {
        int32_t base = 0;
        int32_t span = 0;
        int32_t start = 100000000; // an unstarted grain never reads
        int32_t nextStart = 0;
        int32_t position = 0;
        float amount = 0.0f;
        int32_t samples = 0;
        int32_t fade = 0;
    };

    void latchGrain();
    // Where the grain after one that began at start begins.
    int32_t followingStart(int32_t start) const;
    int32_t captureSamples() const;
    int32_t ringSamples() const;

    mfdsp::MFMixRamp ramp;
    // Read by setParameter on the parameter thread to map the grain size.
    MFRelaxed<int32_t> prerollLength = 0;
    int32_t captureLength = 0;
    MFAlignedArray captureLeft;
    MFAlignedArray captureRight;
    MFAlignedArray ringLeft;
    MFAlignedArray ringRight;
    MFAlignedArray wetLeft;
    MFAlignedArray wetRight;
    int32_t ringWrite = 0;
    int32_t captureWrite = 0;
    bool capturing = false;
    bool active = false;
    int32_t holdFrames = 0;
    float holdLeft = 0.0f;
    float holdRight = 0.0f;
    Grain grain;
    MFRelaxed<float> amount = 0.6f;
    MFRelaxed<int32_t> grainLength = minimumGrain;
    MFRelaxed<float> fadeFraction = 0.28f;
};
