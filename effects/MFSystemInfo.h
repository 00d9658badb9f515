#pragma once

#include "effects/MFBufferRegistry.h"
#include "platform/MFRelaxed.h"

#include <cstdint>
#include <vector>

class MFBPMChangeInterface;
class MFInitInterface;

// The read-only audio context every effect shares: sample rate, tempo and the
// constants derived from them. Only the plug-in object writes it.
class MFSystemInfo {
public:
    static constexpr float minimumRate = 11050.0f;
    static constexpr float maximumRate = 176000.0f;
    static constexpr double minimumTempo = 45.0;
    static constexpr double tempoCeiling = 500.0;

    MFSystemInfo(MFBufferRegistry& registry, std::vector<MFBPMChangeInterface*>& listeners);

    // Takes the rate over only inside 11050..176000; returns whether it did.
    bool setSampleRate(float rate);
    // Raises a tempo below 45 to 45 and ignores one of 500 or more.
    void setTempo(double bpm);
    // The plug-in's 64-sample tick, set once during construction.
    void setControlBlockSize(int size);

    void addTempoListener(MFBPMChangeInterface* listener);
    void removeTempoListener(MFBPMChangeInterface* listener);
    void notifyTempoListeners();

    MFRelaxed<double> tempo = 120.0;
    MFRelaxed<float> samplesPerBeat = 22100.0f;
    float controlBlockSize = 200.0f;
    int32_t controlBlockPeriod = 200;
    int32_t controlBlockPeriodCopy = 200;
    int32_t controlBlockCounter = 0;
    float controlBlockRecip = 1.0f / 200.0f;
    float sampleRate = 44100.0f;
    float samplesPerBeatPerTick = 0.0f;
    float rateRatio = 1.0f;
    float sampleTime = 1.0f / 44100.0f;
    float twoOverRate = 2.0f / 44100.0f;
    float twoPiOverRate = 6.2831855f / 44100.0f;
    float piOverRate = 3.1415927f / 44100.0f;
    float tickTime = 0.0f;
    float ticksPerMs = 0.0f;
    float samplesPerMs = 44.1f;
    float rateOverTwoPi = 44100.0f / 6.283185307f;
    float tableStepTime = 0.0f;

    MFBufferRegistry& bufferRegistry;
    std::vector<MFBPMChangeInterface*>& tempoListeners;

    // Shared by the lanes and tables: the step range the editor works on,
    // the objects behind init/copy/paste/Chaos, and the range of random fills.
    int32_t stepRangeStart = 0;
    int32_t stepRangeEnd = 31;
    std::vector<MFInitInterface*> initObjects;
    MFRelaxed<float> randomLow = 0.0f;
    // Set after init, copy, paste or Chaos changed lanes or tables: the editor redraws.
    MFRelaxed<bool> dirty = false;
    MFRelaxed<float> randomHigh = 1.0f;

    // Pitch of each MIDI note 0..127 in Hz, equal temperament with A4 (note 69) at 440 Hz;
    // the Tonal-Delay tunes its comb from it.
    static constexpr int noteCount = 128;
    float noteFrequency[noteCount] = {};

private:
    void deriveFromRate(float rate);
};
