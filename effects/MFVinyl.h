#pragma once

#include "effects/MFAlignedArray.h"
#include "effects/MFBPMChangeInterface.h"
#include "effects/MFEffect.h"
#include "platform/MFRelaxed.h"

#include <cstdint>

// Pitch wobble of a warped record: a short delay line whose length swings with a
// shaped sine, so the pitch bends up and down at a tempo-synced rate.
class MFVinyl : public MFEffect, public MFBPMChangeInterface {
public:
    static constexpr int32_t parameterTotal = 4;
    static constexpr int32_t speedIndex = 0;
    static constexpr int32_t sizeIndex = 1;
    static constexpr int32_t slopeIndex = 2;
    static constexpr int32_t gateIndex = 3;

    MFVinyl(int32_t effectId, MFSystemInfo& context, const MFDivisionSet* divisions = nullptr);
    ~MFVinyl() override;

    void process(float* left, float* right, int32_t count) override;
    void setParameter(int32_t index, float value) override;
    void controlTick() override;
    void restart() override;
    void updateBuffers(bool keepContents) override;
    int32_t isEnabled() override { return 1; }
    void setMix(float value) override;
    void getParameterDisplay(int32_t index, float value, char* text) override;
    void bpmChanged() override;

    // Read-only views for tests and diagnostics.
    int32_t getLineLength() const { return lineLength; }
    int32_t getPeriodSamples() const { return periodSamples; }
    float getLfoRate() const { return lfoRate; }
    float getMaxDepth() const { return maxDepth; }
    float getDepthTarget() const { return depthTarget; }
    float getShapeTarget() const { return shapeTarget; }
    float getPhase() const { return phase; }
    float getMixCurrent() const { return mixCurrent; }
    // The delay actually used by the last sample, in samples.
    float getLastDelay() const { return lastDelay; }

private:
    MFRelaxed<float> depthTarget = 0.0f;
    float depthLatch = 0.0f;
    float depthGlide = 0.0f;
    int32_t depthGlideTicks = 0;
    float depthNow = 0.0f;

    MFRelaxed<float> shapeTarget = 0.0f;
    float shapeLatch = 0.0f;
    float shapeGlide = 0.0f;
    int32_t shapeGlideTicks = 0;
    float shapeNow = 0.0f;

    MFRelaxed<float> mixTarget = 0.0f;
    float mixCurrent = 0.0f;
    float mixStep = 0.0f;

    float phase = 0.0f;
    float lfoValue = 0.0f;
    float gateValue = 0.0f;
    MFRelaxed<int32_t> periodSamples = 1;
    MFRelaxed<float> lfoRate = 0.0f;

    float shapeSample = 0.0f;
    float shapeStep = 0.0f;
    float depthSample = 0.0f;
    float depthStep = 0.0f;

    MFAlignedArray lineLeft;
    MFAlignedArray lineRight;
    int32_t writeIndex = 0;
    int32_t lineLength = 8000;
    MFRelaxed<float> maxDepth = 0.0f;
    float lastDelay = 0.0f;
};
