#pragma once

#include "effects/MFAlignedArray.h"
#include "effects/MFDsp.h"
#include "effects/MFEffect.h"
#include "platform/MFRelaxed.h"

#include <cstdint>

// Eight parallel damped combs and four series all-passes per channel, followed by a
// high-pass on each output. The filter lengths are fixed sample counts.
class MFReverb2 : public MFEffect {
public:
    static constexpr int32_t parameterCount = 6;
    static constexpr int combCount = 8;
    static constexpr int allPassCount = 4;
    static constexpr int32_t stereoSpread = 23;
    static constexpr int32_t combLengths[combCount] = {1116, 1188, 1277, 1356,
                                                       1422, 1491, 1557, 1617};
    static constexpr int32_t allPassLengths[allPassCount] = {556, 441, 341, 225};
    static constexpr float inputGain = 0.015f;

    MFReverb2(int32_t effectId, MFSystemInfo& context, const MFDivisionSet* divisions = nullptr);

    void processSample(float& left, float& right) override;
    void process(float* left, float* right, int32_t count) override;
    void setParameter(int32_t index, float value) override;
    void reset() override;
    void controlTick() override;
    void restart() override;
    int32_t isEnabled() override { return 1; }
    void setMix(float value) override;
    void getParameterDisplay(int32_t index, float value, char* text) override;

    // Read-only views for tests.
    const MFAlignedArray& getComb(int channel, int k) const { return combs[channel][k].buffer; }
    const MFAlignedArray& getAllPass(int channel, int k) const {
        return allPasses[channel][k].buffer;
    }
    bool isSleeping() const { return sleeping; }
    float getWetCurrent() const { return wet.current; }

private:
    // Double-precision state-variable filter whose output is the high-pass.
    struct HighPass {
        double low = 0.0;
        double high = 0.0;
        double band = 0.0;
        double frequency = 0.0;
        double damping = 0.8899999856948853;
        double run(double x) {
            high = x + 1e-10 - low - damping * band;
            band = high * frequency + 1e-10 + band;
            low = low - 1e-10 + frequency * band;
            return high;
        }
        void clear() { low = high = band = 0.0; }
    };
    struct Comb {
        explicit Comb(MFBufferRegistry* r) : buffer(r) {}
        MFAlignedArray buffer;
        int32_t index = 0;
        int32_t length = 0;
        float store = 0.0f;
    };
    struct AllPass {
        explicit AllPass(MFBufferRegistry* r) : buffer(r) {}
        MFAlignedArray buffer;
        int32_t index = 0;
        int32_t length = 0;
    };

    void clearMemory();
    void deriveGains(float widthNow);
    void advanceRamps();

    Comb combs[2][combCount];
    AllPass allPasses[2][allPassCount];
    HighPass highLeft;
    HighPass highRight;

    MFRelaxed<float> roomFeedback = 0.84f;
    MFRelaxed<float> wetScale = 0.333333f;
    MFRelaxed<float> damping = 0.2f;
    MFRelaxed<float> width = 1.0f;
    MFRelaxed<float> frequency = 0.0f;
    MFRelaxed<float> dryTarget = 1.0f;
    MFRelaxed<float> wetTarget = 0.0f;
    MFRelaxed<float> dampingRest = 0.8f;

    mfdsp::MFMixRamp wet;
    mfdsp::MFMixRamp widthRamp;
    mfdsp::MFMixRamp dry;
    float wet1 = 0.0f;
    float wet2 = 0.0f;
    bool sleeping = false;
};
