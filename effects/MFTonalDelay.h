#pragma once

#include "effects/MFAlignedArray.h"
#include "effects/MFDoubleFilter.h"
#include "effects/MFDsp.h"
#include "effects/MFEffect.h"

// Tonal-Delay: a very short stereo feedback delay tuned to a MIDI note, a comb that
// rings at that pitch. The read head glides to a new length, so a note change bends.
class MFTonalDelay : public MFEffect {
public:
    static constexpr int32_t parameterNote = 0;
    static constexpr int32_t parameterFeedback = 1;
    static constexpr int32_t parameterWidth = 2;
    static constexpr int32_t parameterCutoff = 3;
    static constexpr int32_t parameterLevel = 4;
    static constexpr int32_t parameterTotal = 5;
    // Fixed whatever the sample rate: the lowest notes wrap around, which is accepted.
    static constexpr int32_t lineLength = 21576;
    static constexpr int32_t glideOption = -1;

    MFTonalDelay(int32_t effectId, MFSystemInfo& context, const MFDivisionSet* divisions = nullptr);

    void process(float* left, float* right, int32_t count) override;
    void setParameter(int32_t index, float value) override;
    void setOption(int32_t index, int32_t value) override;
    int32_t getOption(int32_t index) override;
    void reset() override;
    void controlTick() override;
    void restart() override;
    void updateBuffers(bool keepContents) override;
    int32_t gateOn() override;
    void setMix(float value) override;
    void getParameterDisplay(int32_t index, float value, char* text) override;
    float getParameterSteps(int32_t index) override;
    int32_t isEnabled() override { return 1; }

    int32_t getDelaySamples() const { return delaySamples; }
    float getReadRate() const { return readRate; }
    // Distance from the read head back to the write head, in samples.
    float getHeadDistance() const;

private:
    mfdsp::MFMixRamp wetRamp;
    mfdsp::MFMixRamp dryRamp;
    MFRelaxed<float> wetTarget = 0.0f;
    MFRelaxed<float> dryTarget = 1.0f;
    MFRelaxed<int32_t> delaySamples = 1;
    // Moved by the audio thread, read by a note change from any thread.
    MFRelaxed<int32_t> writeIndex = 0;
    MFRelaxed<int32_t> glide = 1;
    MFRelaxed<float> crossGain = 0.0f;
    MFRelaxed<float> straightGain = 1.0f;
    MFRelaxed<float> feedback = 0.5f;
    MFRelaxed<float> filterCoefficient = 0.0625f;
    // Written by a note change from another thread as well as by the tick; a
    // reader sees the old or new value, never a torn one.
    MFRelaxed<float> readPosition = 0.0f;
    MFRelaxed<float> readRate = 1.0f;
    MFAlignedArray lineLeft;
    MFAlignedArray lineRight;
    MFDoubleFilter filterLeft, filterRight;
};
