#pragma once

#include "effects/MFDoubleFilter.h"
#include "effects/MFDsp.h"
#include "effects/MFEffect.h"

// Crush: sample-and-hold with amplitude quantisation after a mild distortion branch.
// No gate and no buffers; only the mix rules it.
class MFBitCrushVeld2 : public MFEffect {
public:
    static constexpr int32_t parameterBit = 0;
    static constexpr int32_t parameterRate = 1;
    static constexpr int32_t parameterDistort = 2;
    static constexpr int32_t parameterTotal = 3;
    static constexpr double inputFrequency = 0.011858999729156494;
    static constexpr double outputFrequency = 0.3799999952316284;
    // The hold phase counts samples at 44.1 kHz whatever the real rate.
    static constexpr float phaseWrap = 44100.0f;
    static constexpr float rateQuantum = 0.0125f;

    MFBitCrushVeld2(int32_t effectId, MFSystemInfo& context,
                    const MFDivisionSet* divisions = nullptr);

    void process(float* left, float* right, int32_t count) override;
    void setParameter(int32_t index, float value) override;
    void reset() override;
    void controlTick() override;
    void restart() override;
    void updateBuffers(bool keepContents) override;
    void setMix(float value) override;
    void getParameterDisplay(int32_t index, float value, char* text) override;
    int32_t isEnabled() override { return 1; }

    // Read-only views for tests and the editor.
    float getQuantum() const { return quantum; }
    float getRateStep() const { return rateStep; }
    const MFDoubleFilter& getInputFilter(int channel) const {
        return channel == 0 ? inputLeft : inputRight;
    }

private:
    MFDoubleFilter inputLeft, inputRight, outputLeft, outputRight;
    MFRelaxed<float> mixTarget = 0.0f;
    MFRelaxed<float> distortTarget = 0.0f;
    mfdsp::MFMixRamp mixRamp;
    mfdsp::MFMixRamp distortRamp;
    MFRelaxed<float> quantum = 1e-06f;
    MFRelaxed<float> rateStep = 1.0f;
    MFRelaxed<float> rateRecip = 1.0f;
    // The quantum the held outputs were last quantised with (audio thread only).
    float appliedQuantum = 1e-06f;
    float ratePhase = 0.0f;
    int32_t lastIndex = 0;
    float heldLeft = 0.0f, heldRight = 0.0f;
    float outLeft = 0.0f, outRight = 0.0f;

    void requantise(float q);
};
