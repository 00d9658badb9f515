#pragma once

#include "effects/MFAlignedArray.h"
#include "effects/MFBPMChangeInterface.h"
#include "effects/MFDsp.h"
#include "effects/MFEffect.h"
#include "platform/MFRelaxed.h"

#include <cstdint>

// Tape stop: from the gate on, the signal is replayed from tape that slows along a
// power curve until it stands, falling silent in the last third, and stays stopped
// until the next gate.
class MFTapeFingerX : public MFEffect, public MFBPMChangeInterface {
public:
    static constexpr int32_t parameterTotal = 3;
    static constexpr int32_t timeIndex = 0;
    static constexpr int32_t slopeIndex = 1;
    static constexpr int32_t gateIndex = 2;

    MFTapeFingerX(int32_t effectId, MFSystemInfo& context,
                  const MFDivisionSet* divisions = nullptr);
    ~MFTapeFingerX() override;

    void process(float* left, float* right, int32_t count) override;
    void setParameter(int32_t index, float value) override;
    void setOption(int32_t index, int32_t value) override;
    int32_t getOption(int32_t index) override;
    void controlTick() override;
    void restart() override;
    void updateBuffers(bool keepContents) override;
    int32_t gateOn() override;
    void gateOff() override;
    int32_t isEnabled() override { return 1; }
    void setMix(float value) override;
    void getParameterDisplay(int32_t index, float value, char* text) override;
    bool isBipolar(int32_t index) override;
    void bpmChanged() override;

    // Read-only views for tests and diagnostics.
    float getTimeMs() const { return timeMs; }
    float getTotalTicks() const { return totalTicks; }
    float getExponent() const { return exponent; }
    float getCurve() const { return curve; }
    float getEnvelope() const { return envelope; }
    bool isStopped() const { return stopped; }
    bool isStarted() const { return started; }
    uint32_t getTapeLength() const { return tapeLength; }
    float getReadPosition() const { return readPosition; }

private:
    MFRelaxed<float> mixTarget = 0.0f;
    MFRelaxed<float> mixComplement = 1.0f;
    mfdsp::MFMixRamp ramp;
    float fadeStep = 0.0f;
    float fade = 0.0f;
    float envelopeStep = 0.0f;
    float envelope = 1.0f;
    MFRelaxed<float> passThrough = 0.0f;
    MFRelaxed<float> timeParameter = 0.0f;
    MFRelaxed<float> timeMs = 0.0f;
    MFRelaxed<float> totalTicks = 0.0f;
    uint32_t writeIndex = 0;
    float readPosition = 0.0f;
    float tick = 0.0f;
    float ratio = 0.0f;
    float curve = 0.0f;
    MFRelaxed<float> exponent = 1.0f;
    bool stopped = true;
    MFAlignedArray tapeLeft;
    MFAlignedArray tapeRight;
    uint32_t tapeLength = 0;
    mfdsp::MFStateVariableLowPass toneLeft;
    mfdsp::MFStateVariableLowPass toneRight;
    float holdLeft = 0.0f;
    float holdRight = 0.0f;
    float gateValue = 0.0f;
    bool started = false;
};
