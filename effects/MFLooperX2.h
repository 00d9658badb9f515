#pragma once
#include "effects/MFAlignedArray.h"
#include "effects/MFBPMChangeInterface.h"
#include "effects/MFDsp.h"
#include "effects/MFEffect.h"
#include "platform/MFRelaxed.h"

#include <cstdint>

// X-Loop: records up to a bar when the gate opens and plays repeats of its start as
// gated slices (fade in, sustain, fade out, silence). From repeat to repeat the slice
// length and the playback rate shrink or grow, for rising or falling machine-gun rolls.
class MFLooperX2 : public MFEffect, public MFBPMChangeInterface {
public:
    static constexpr int32_t parameterSize = 0;
    static constexpr int32_t parameterEnvelope = 1;
    static constexpr int32_t parameterSizeChange = 2;
    static constexpr int32_t parameterPitchChange = 3;
    static constexpr int32_t parameterGate = 4;
    static constexpr int32_t parameterTotal = 5;
    // Slice shape in samples, the same at every sample rate.
    static constexpr float fadeStep = 0.025f;
    static constexpr int32_t fadeSamples = 40;
    static constexpr int32_t minimumSlice = 322;
    static constexpr float minimumRate = 0.1f;
    static constexpr float maximumRate = 4.0f;
    // Below this slice length a shrink is gentler, so the roll does not collapse at once.
    static constexpr int32_t gentleShrinkBelow = 1932;

    MFLooperX2(int32_t effectId, MFSystemInfo& context, const MFDivisionSet* divisions = nullptr);
    ~MFLooperX2() override;

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

    enum class Phase { idle, fadeIn, sustain, fadeOut, wait };
    Phase getPhase() const;
    int32_t getBarLength() const { return barLength; }
    int32_t getSliceLength() const { return sliceLength; }
    int32_t getSizeLength() const { return sizeLength; }
    int32_t getSustainEnd() const { return sustainEnd; }
    int32_t getPhaseCounter() const { return phaseCounter; }
    float getRate() const { return rate; }
    float getSizeFactor() const { return sizeFactor; }
    float getRateFactor() const { return rateFactor; }
    float getEnvelopeFraction() const { return envelopeFraction; }
    bool isActive() const { return active; }

private:
    // Clamps a new slice length to the bar, then to the shortest slice.
    int32_t clampSlice(int32_t s) const;
    void nextRepeat();
    void retrigger();
    // Grows both buffers to `samples`; false while the grower is still making room.
    bool growBuffers(int32_t samples);
    float readAt(const float* buffer) const;

    mfdsp::MFMixRamp ramp;
    MFAlignedArray bufferLeft;
    MFAlignedArray bufferRight;
    int32_t barLength = 0;
    int32_t sliceLength = minimumSlice;
    MFRelaxed<int32_t> sizeLength = minimumSlice;
    MFRelaxed<float> envelopeFraction = 1.0f;
    MFRelaxed<float> sizeFactor = 1.0f;
    MFRelaxed<float> rateFactor = 1.0f;
    bool recording = false;
    int32_t writeIndex = 0;
    float readPosition = 0.0f;
    float readLimit = 0.0f;
    float rate = 1.0f;
    int32_t phaseCounter = 0;
    int32_t sustainEnd = 0;
    int32_t retriggerMark = 0;
    bool fadingIn = false;
    float fadeInGain = 0.0f;
    bool sustaining = false;
    bool fadingOut = false;
    float fadeOutGain = 0.0f;
    bool waiting = false;
    bool retriggerPending = false;
    bool active = false;
};
