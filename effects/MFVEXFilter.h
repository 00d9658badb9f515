#pragma once

#include "effects/MFAlignedArray.h"
#include "effects/MFEffect.h"

#include <array>

// Filter: a resonant multimode filter with two banks of ten modes, built from
// state-variable stages whose coefficients come from cutoff x resonance tables.
// Bank 1 builds each mode from detuned copies side by side.
class MFVEXFilter : public MFEffect {
public:
    static constexpr int32_t parameterCutoff = 0;
    static constexpr int32_t parameterResonance = 1;
    static constexpr int32_t parameterMode = 2;
    static constexpr int32_t parameterBank = 3;
    static constexpr int32_t parameterTotal = 4;
    static constexpr int32_t modeCount = 10;
    static constexpr int32_t bankCount = 2;
    static constexpr int32_t stagesPerMode = 4;
    static constexpr int32_t tableSize = 122;
    static constexpr int32_t tableColumns = 11;
    static constexpr float glideMs = 24.0f;
    // The cutoff follows its formula up to this fraction of the sample rate, and stops there.
    static constexpr float ceilingFraction = 0.45f;

    // One state-variable stage, both channels; f, d and the input gain g are shared.
    // g levels the output that the mode takes from the stage (see designStage).
    struct Stage {
        float bandL = 0.0f, lowL = 0.0f, highL = 0.0f;
        float bandR = 0.0f, lowR = 0.0f, highR = 0.0f;
        float f = 0.0f;
        float d = 1.0f;
        float g = 1.0f;
        void run(float xl, float xr) {
            bandL = highL * f + bandL + 1e-18f;
            lowL = bandL * f + lowL + 1e-18f;
            highL = xl * g - d * bandL - lowL;
            bandR = highR * f + bandR + 1e-18f;
            lowR = bandR * f + lowR + 1e-18f;
            highR = xr * g - d * bandR - lowR;
        }
    };

    // The output a mode takes from a stage.
    enum class Tap { low, band, high };

    // Damping and frequency tables of one stage of one mode family: 11 x 11 pairs
    // (value, slope to the next column) plus one spare pair that the clamp reaches.
    struct StageTable {
        std::array<float, tableSize> dampValue{}, dampSlope{};
        std::array<float, tableSize> freqValue{}, freqSlope{};
    };

    MFVEXFilter(int32_t effectId, MFSystemInfo& context, const MFDivisionSet* divisions = nullptr);
    ~MFVEXFilter() override = default;

    void process(float* left, float* right, int32_t count) override;
    void setParameter(int32_t index, float value) override;
    void controlTick() override;
    void restart() override;
    void updateBuffers(bool keepContents) override;
    void reset() override;
    void setMix(float value) override;
    void getParameterDisplay(int32_t index, float value, char* text) override;
    float getParameterSteps(int32_t index) override;
    int32_t isEnabled() override { return 1; }

    int32_t getMode() const { return mode; }
    int32_t getBank() const { return bank; }
    float getCutoffCurrent() const { return cutoffCurrent; }
    // Cutoff in hertz for a normalised cutoff, as the tick computes it (before the ceiling).
    static float cutoffHz(float c);
    const Stage& stage(int32_t b, int32_t m, int32_t s) const { return stages[b][m][s]; }

private:
    static constexpr int32_t familySingle = 0;
    static constexpr int32_t familySeries = 1;
    static constexpr int32_t familyCount = 2;

    void buildTables();
    // Coefficients that give the stage, at the output tap, the magnitude of the analogue
    // prototype 1 / (s^2 + k s + 1) (and its high and band forms) at the warped frequency
    // sin(w / 2) / sin(wc / 2), for a cutoff wc in radians per sample (0 < wc < pi).
    static void designStage(float wc, float k, Tap tap, Stage& s);
    void stageCoefficients(int32_t family, int32_t stageIndex, float q, float c, float hz, Tap tap,
                           Stage& s) const;
    float runChain(int32_t copy, int32_t channel, float x);
    void processBank0(float& wl, float& wr, float xl, float xr);
    void processBank1(float& wl, float& wr, float xl, float xr);

    StageTable tables[familyCount][2];

    MFRelaxed<float> cutoffTarget = 0.5f;
    MFRelaxed<float> resonance = 0.0f;
    MFRelaxed<int32_t> mode = 0;
    MFRelaxed<int32_t> bank = 0;
    MFRelaxed<float> mixTarget = 0.0f;

    float mixCurrent = 0.0f;
    float mixStep = 0.0f;
    float cutoffLatch = -1.0f;
    float cutoffCurrent = 0.5f;
    float cutoffGlide = 0.0f;
    float cutoffTicks = 0.0f;
    bool settleNextTick = false; // a restart: the next tick takes its targets at once
    float gainTarget = 1.0f;
    float gain = 1.0f;

    Stage stages[bankCount][modeCount][stagesPerMode];

    // Sample and hold of modes 8 and 9.
    float holdCounter = 0.0f;
    float holdRate = 1.0f;
    float heldL = 0.0f, heldR = 0.0f;

    // Mode 6: comb with a one-pole pair and soft clip in the loop, two copies.
    MFAlignedArray chainLine[2][2];
    float poleState[2][2][2] = {};
    int32_t chainLength = 0;
    int32_t chainWrite = 0;
    float chainA = 1.0f, chainB = 0.0f, chainT = 1.0f;
    float chainDelay[2] = {1.0f, 1.0f};
    float chainFeedback = 0.0f;
};
