#pragma once

#include "effects/MFAlignedArray.h"
#include "effects/MFBPMChangeInterface.h"
#include "effects/MFDsp.h"
#include "effects/MFEffect.h"
#include "platform/MFRelaxed.h"

#include <cstdint>

// Two delay lines in series per channel, modulated by a slow tempo-synced sine, with
// feedback and an input high-pass; the width turns the right channel's modulation
// from in phase to opposite phase.
class MFChorusVeld2 : public MFEffect, public MFBPMChangeInterface {
public:
    static constexpr int32_t parameterCount = 4;
    static constexpr int rateCount = 27;
    static constexpr float mixCap = 0.99f;
    static constexpr float glideMs = 36.0f;

    MFChorusVeld2(int32_t effectId, MFSystemInfo& context,
                  const MFDivisionSet* divisions = nullptr);
    ~MFChorusVeld2() override;

    void process(float* left, float* right, int32_t count) override;
    void restart() override;
    void setParameter(int32_t index, float value) override;
    void updateBuffers(bool keepContents) override;
    int32_t isEnabled() override { return 1; }
    void setMix(float value) override;
    void getParameterDisplay(int32_t index, float value, char* text) override;
    void bpmChanged() override;

    // Read-only views for tests.
    int32_t getLineLength() const { return lineLength; }
    float getLfoRate() const { return lfoRate; }
    float getMixCurrent() const { return mixCurrent; }
    float getMixTarget() const { return mixTarget; }
    float getDepthNow() const { return depthNow; }
    float getWidthNow() const { return widthNow; }
    float getTimeA(int channel) const { return channels[channel].timeA.value; }
    float getTimeB(int channel) const { return channels[channel].timeB.value; }
    const MFAlignedArray& getLineA(int channel) const { return channels[channel].lineA; }
    const MFAlignedArray& getLineB(int channel) const { return channels[channel].lineB; }

private:
    struct Channel {
        explicit Channel(MFBufferRegistry* r) : lineA(r), lineB(r) {}
        MFAlignedArray lineA;
        MFAlignedArray lineB;
        float high = 0.0f;
        float band = 0.0f;
        float low = 0.0f;
        mfdsp::MFBlockSmoother timeA;
        mfdsp::MFBlockSmoother timeB;
        float lastA = 0.0f;
        float lastB = 0.0f;
        void clearState();
        float run(float in, float scale, float feedback, int32_t writeIndex, int32_t length);
    };

    void tick();
    // Moves `now` one tick towards `target` over the glide time; true while moving.
    bool glide(float target, float& now, float& latch, float& step, int32_t& ticks);

    Channel channels[2];
    int32_t writeIndex = 0;
    int32_t lineLength = 0;
    // Rewritten when the buffers are re-sized, which a tempo change does on the audio thread.
    MFRelaxed<float> rateScale = 1.0f;

    MFRelaxed<float> lfoRate = 0.0f;
    MFRelaxed<float> depthTarget = 0.0f;
    MFRelaxed<float> feedbackTarget = 0.0f;
    MFRelaxed<float> widthTarget = 0.0f;
    MFRelaxed<float> mixTarget = 0.0f;

    int32_t tickCounter = 64;
    float mixCurrent = 0.0f;
    float mixStep = 0.0f;
    float depthNow = 0.0f;
    float depthLatch = 0.0f;
    float depthGlide = 0.0f;
    int32_t depthTicks = 0;
    float widthNow = 0.0f;
    float widthLatch = 0.0f;
    float widthGlide = 0.0f;
    int32_t widthTicks = 0;
    float widthOffset = 0.0f;
    float phase = 0.0f;
    float lfoValue = 0.0f;
    mfdsp::MFBlockSmoother feedbackRamp;
};
