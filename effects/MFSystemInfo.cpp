#include "effects/MFSystemInfo.h"

#include "effects/MFBPMChangeInterface.h"

#include <algorithm>
#include <cmath>

MFSystemInfo::MFSystemInfo(MFBufferRegistry& registry,
                           std::vector<MFBPMChangeInterface*>& listeners)
    : bufferRegistry(registry), tempoListeners(listeners) {
    tempoListeners.reserve(16);
    initObjects.reserve(64);
    for (int note = 0; note < noteCount; ++note)
        noteFrequency[note] = float(440.0 * std::pow(2.0, (note - 69) / 12.0));
}

bool MFSystemInfo::setSampleRate(float rate) {
    if (!(rate >= minimumRate && rate <= maximumRate))
        return false;
    deriveFromRate(rate);
    return true;
}

void MFSystemInfo::deriveFromRate(float r) {
    const float b = controlBlockSize;
    sampleRate = r;
    sampleTime = 1.0f / r;
    rateRatio = r / 44100.0f;
    twoOverRate = 2.0f / r;
    twoPiOverRate = 6.2831855f / r;
    piOverRate = 3.1415927f / r;
    tickTime = (1.0f / r) * b;
    ticksPerMs = (r / b) * 0.001f;
    samplesPerMs = r * 0.001f;
    samplesPerBeat = float(r / (tempo * 0.016666666666666666));
    samplesPerBeatPerTick = samplesPerBeat / b;
    tableStepTime = 1.0f / (r * 0.0009765625f);
    rateOverTwoPi = float(r / 6.283185307);
}

void MFSystemInfo::setTempo(double bpm) {
    if (bpm < minimumTempo)
        bpm = minimumTempo;
    if (bpm >= tempoCeiling)
        return;
    tempo = bpm;
    samplesPerBeat = float(sampleRate / (tempo * 0.016666666666666666));
    samplesPerBeatPerTick = samplesPerBeat / controlBlockSize;
}

void MFSystemInfo::setControlBlockSize(int size) {
    controlBlockSize = float(size);
    controlBlockPeriod = size;
    controlBlockPeriodCopy = size;
    controlBlockRecip = 1.0f / float(size);
}

void MFSystemInfo::addTempoListener(MFBPMChangeInterface* listener) {
    tempoListeners.push_back(listener);
}

void MFSystemInfo::removeTempoListener(MFBPMChangeInterface* listener) {
    tempoListeners.erase(std::remove(tempoListeners.begin(), tempoListeners.end(), listener),
                         tempoListeners.end());
}

void MFSystemInfo::notifyTempoListeners() {
    for (MFBPMChangeInterface* listener : tempoListeners)
        listener->bpmChanged();
}

bool MFSystemInfo::takeGrownBuffers() {
    const uint32_t delivered = bufferGrower.deliveries();
    if (delivered == grownSeen)
        return false;
    grownSeen = delivered;
    notifyTempoListeners();
    return true;
}
