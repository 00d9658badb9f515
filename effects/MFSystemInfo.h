#pragma once

#include "effects/MFBufferGrower.h"
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
    // Every rate a host offers, 11.025 to 192 kHz, is taken over (176.4 and 192 kHz
    // sessions exist; refusing them left every length wrong by the ratio of the rates).
    static constexpr float minimumRate = 11025.0f;
    static constexpr float maximumRate = 192000.0f;
    static constexpr double minimumTempo = 45.0;
    static constexpr double tempoCeiling = 500.0;
    // The longest a beat can last, in samples: the slowest tempo at the highest rate.
    // Buffers that grow with the tempo reserve their room from it.
    static constexpr float longestBeat = maximumRate * 60.0f / float(minimumTempo);

    MFSystemInfo(MFBufferRegistry& registry, std::vector<MFBPMChangeInterface*>& listeners);

    // Takes the rate over only inside minimumRate..maximumRate; returns whether it did.
    bool setSampleRate(float rate);
    // Raises a tempo below 45 to 45 and ignores one of 500 or more.
    void setTempo(double bpm);
    // The plug-in's 64-sample tick, set once during construction.
    void setControlBlockSize(int size);

    void addTempoListener(MFBPMChangeInterface* listener);
    void removeTempoListener(MFBPMChangeInterface* listener);
    void notifyTempoListeners();
    // Once the grower has handed over room that listeners asked for on the audio thread,
    // tells them again (bpmChanged), so they take up the lengths of the tempo in force.
    // The block driver calls it at every tick; returns whether it told them.
    bool takeGrownBuffers();

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
    MFBufferGrower bufferGrower;

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

    uint32_t grownSeen = 0;
};
