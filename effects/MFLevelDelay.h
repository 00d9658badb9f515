#pragma once

#include "effects/MFAlignedArray.h"
#include "effects/MFBPMChangeInterface.h"
#include "effects/MFDsp.h"
#include "effects/MFEffect.h"

// Delay: a tempo-synced stereo delay whose two lines feed each other through a soft
// saturation, with a 32 ms glide on time changes and a right line offset for width.
class MFLevelDelay : public MFEffect, public MFBPMChangeInterface {
public:
    static constexpr int32_t parameterTime = 0;
    static constexpr int32_t parameterDiffusion = 1;
    static constexpr int32_t parameterFeedback = 2;
    static constexpr int32_t parameterWidth = 3;
    static constexpr int32_t parameterDry = 4;
    static constexpr int32_t parameterTotal = 5;
    static constexpr int32_t timeCount = 16;
    // Echo lengths in divisions of a beat, shortest first.
    static constexpr float divisionsPerBeat[timeCount] = {
        42.666668f, 32.0f, 21.333334f, 16.0f, 10.666667f, 8.0f, 5.333333f, 4.0f,
        2.666667f,  2.0f,  1.333333f,  1.0f,  0.666667f,  0.5f, 0.333333f, 0.25f};
    static constexpr float glideMs = 32.0f;

    MFLevelDelay(int32_t effectId, MFSystemInfo& context, const MFDivisionSet* divisions = nullptr);
    ~MFLevelDelay() override;

    void process(float* left, float* right, int32_t count) override;
    void setParameter(int32_t index, float value) override;
    void controlTick() override;
    void restart() override;
    void updateBuffers(bool keepContents) override;
    void setMix(float value) override;
    void getParameterDisplay(int32_t index, float value, char* text) override;
    int32_t isEnabled() override { return 1; }
    void bpmChanged() override;

    float getLeftTarget() const { return leftTime.target; }
    float getRightTarget() const { return rightTime.target; }
    float getLeftTime() const { return leftTime.sample.value; }
    float getRightTime() const { return rightTime.sample.value; }
    int32_t getLineLength() const { return lineLength; }
    const MFAlignedArray& getLine(int channel) const { return channel == 0 ? lineLeft : lineRight; }

private:
    // One line's delay time: a target, a control-rate glide towards it, and the
    // per-sample smoothing of the glided value.
    struct TimeGlide {
        MFRelaxed<float> target = 0.0f;
        float current = 0.0f;
        float glide = 0.0f;
        float latch = 0.0f;
        float ticks = 0.0f;
        mfdsp::MFBlockSmoother sample;
        void tick(float ticksPerMs, float blockRecip);
    };

    void updateTargets();
    float readLine(const float* line, float position) const;

    TimeGlide leftTime;
    TimeGlide rightTime;
    MFRelaxed<float> spreadRest = 1.0f;
    MFRelaxed<float> widthValue = 0.0f;
    MFRelaxed<float> crossFeed = 0.0f;
    MFRelaxed<float> selfFeed = 0.0f;
    MFRelaxed<float> wetTarget = 0.0f;
    MFRelaxed<float> dryTarget = 1.0f;
    mfdsp::MFBlockSmoother wet;
    mfdsp::MFBlockSmoother dry;
    MFAlignedArray lineLeft;
    MFAlignedArray lineRight;
    float outLeft = 0.0f;
    float outRight = 0.0f;
    int32_t writeIndex = 0;
    int32_t lineLength = 0;
    // Zeros written in a row while silent; a whole line of them leaves nothing to clear.
    int32_t silentRun = 0;
    // Gain on the lines' input: it fades in over a tick when the lines wake from silence.
    float inputFade = 0.0f;
};
