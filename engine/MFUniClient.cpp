#include "engine/MFUniClient.h"

#include "effects/MFBPMChangeInterface.h"
#include "engine/MFPluginData.h"
#include "engine/MFRoundingGuard.h"
#include "platform/MFSleep.h"
#include "platform/MFText.h"

#include <cmath>
#include <cstring>

using namespace vst;

namespace {
constexpr int32_t uniqueId = fourCC('c', 'd', 'z', 'x');
constexpr int32_t presetCategoryCount = 15;

void copyText(char* out, const char* text, std::size_t capacity) {
    mfCopyText(out, capacity, text);
}
} // namespace

MFUniClient::MFUniClient(HostCallback hostCallback)
    : MFPluginBase(hostCallback, constructedProgramCount, hostParameterCount),
      context(bufferRegistry, tempoListeners), chain(context), swingRing(&bufferRegistry) {
    presetNames.assign(presetCategoryCount, "default");

    char vendor[kVstMaxVendorStrLen + 1] = {};
    if (getHostVendorString(vendor))
        hostIsFXpansion = std::strcmp(vendor, "FXpansion") == 0;

    ignoreProgramChange = 1;
    audioRunning.set(false);
    loading.set(false);
    mapsEditing.set(false);

    noTail(false);
    setUniqueID(uniqueId);
    setNumInputs(2);
    setNumOutputs(2);
    canProcessReplacing(true);
    programsAreChunks(true);

    context.setControlBlockSize(tickPeriod);
    context.setSampleRate(getSampleRate());

    for (auto& v : hostValues)
        v = 0.0f;

    transport.refreshTransportGate();
    applyAllParameters();
    setNumPrograms(programCount);

    noiseIndex = 0;
    fillNoiseTable();
}

MFUniClient::~MFUniClient() = default;

void MFUniClient::fillNoiseTable() {
    // The minimal standard generator from a fixed seed, so every instance hears the same noise.
    uint64_t state = 20537;
    for (float& entry : noiseTable) {
        state = (state * 16807u) % 2147483647u;
        entry = float(double(state) * (1.0 / 2147483648.0));
    }
}

void MFUniClient::suspend() {
    bufferRegistry.clearAll();
}

void MFUniClient::resume() {
    callHost(audioMasterWantMidi, 0, 1);
    dcLeftX = dcLeftY = dcRightX = dcRightY = 0.0f;
}

void MFUniClient::setSampleRate(float rate) {
    AudioEffectX::setSampleRate(rate);
    context.setSampleRate(rate);
    applyAllParameters();
}

void MFUniClient::setBlockSize(int32_t size) {
    AudioEffectX::setBlockSize(size);
}

void MFUniClient::applyAllParameters() {
    context.setSampleRate(getSampleRate());
    ticksPerSecond = context.sampleRate / float(tickPeriod);
    secondsPerTick = 1.0f / ticksPerSecond;
    sizeSwingRing();
    for (int k = 0; k < MFEffectChain::size; ++k) {
        MFEffect* effect = chain.all()[k];
        effect->reset();
        effect->updateBuffers(false);
        effect->gateOn();
    }
}

void MFUniClient::sizeSwingRing() {
    // One entry per sample of one second: the longest swing delay there can be.
    const uint32_t entries = uint32_t(context.rateRatio * 44100.0f);
    if (entries > swingRing.getCapacity()) {
        swingRing.setSize(entries);
        swingRing.clear();
    } else {
        swingRing.setSize(entries);
    }
    if (swingWrite >= int32_t(entries))
        swingWrite = 0;
}

void MFUniClient::setParameter(int32_t index, float value) {
    if (index >= 0 && index < hostParameterCount)
        hostValues[index] = value;
}

float MFUniClient::getParameter(int32_t index) {
    return (index >= 0 && index < hostParameterCount) ? float(hostValues[index]) : 0.0f;
}

void MFUniClient::setParameterAutomated(int32_t index, float value) {
    if (index >= hostParameterCount)
        return;
    AudioEffectX::setParameterAutomated(index, value);
}

bool MFUniClient::beginEdit(int32_t index) {
    return index < hostParameterCount && AudioEffectX::beginEdit(index);
}

bool MFUniClient::endEdit(int32_t index) {
    return index < hostParameterCount && AudioEffectX::endEdit(index);
}

bool MFUniClient::getEffectName(char* name) {
    copyText(name, "Cadenzoid", kVstMaxEffectNameLen);
    return true;
}

bool MFUniClient::getVendorString(char* text) {
    copyText(text, "Maple Forge", kVstMaxVendorStrLen);
    return true;
}

bool MFUniClient::getProductString(char* text) {
    copyText(text, "Cadenzoid", kVstMaxProductStrLen);
    return true;
}

int32_t MFUniClient::canDo(const char* text) {
    static const char* const yes[] = {"receiveVstEvents", "receiveVstMidiEvent",
                                      "receiveVstTimeInfo"};
    static const char* const no[] = {"sendVstMidiEvent", "sendVstEvent"};
    for (const char* s : yes)
        if (std::strcmp(text, s) == 0)
            return 1;
    for (const char* s : no)
        if (std::strcmp(text, s) == 0)
            return 0;
    return -1;
}

void MFUniClient::getProgramName(char* name) {
    copyText(name, presetNames[0].c_str(), kVstMaxProgNameLen + 1);
}

bool MFUniClient::getProgramNameIndexed(int32_t, int32_t index, char* text) {
    // Without a preset library every program is the current state.
    (void)index;
    copyText(text, presetNames[0].c_str(), kVstMaxProgNameLen + 1);
    return true;
}

bool MFUniClient::beginStructureChange(int32_t waitLimit) {
    loading.set(true);
    for (int32_t tries = 0; audioRunning.get(); ++tries) {
        if (waitLimit >= 0 && tries >= waitLimit)
            return false;
        mfSleepOneMillisecond();
    }
    return true;
}

void MFUniClient::setMixWeights(float wet, float dry) {
    wetGain = wet;
    dryGain = dry;
}

void MFUniClient::flush(int32_t count, int32_t endIndex) {
    chain.run(workLeft[0], workRight[0], count, vinylSwitch);
    const int32_t start = endIndex - count;
    const float weight[2] = {wetGain, dryGain};
    for (int row = 0; row < 2; ++row) {
        for (int32_t k = 0; k < count; ++k)
            blockOutLeft[start + k] = workLeft[row][k] * weight[row] + blockOutLeft[start + k];
        for (int32_t k = 0; k < count; ++k)
            blockOutRight[start + k] = workRight[row][k] * weight[row] + blockOutRight[start + k];
    }
    pendingCount = 0;
}

void MFUniClient::applyTempoChange() {
    context.setTempo(transport.hostTempoRaw);
    context.notifyTempoListeners();
}

void MFUniClient::runTick(int32_t i) {
    if (pendingCount > 0)
        flush(pendingCount, i);
    context.controlBlockCounter = 0;
    if (transport.tempoKnown && transport.hostTempo != context.tempo)
        applyTempoChange();
}

void MFUniClient::processReplacing(float** inputs, float** outputs, int32_t frames) {
    if (loading.get()) {
        std::memset(outputs[0], 0, sizeof(float) * std::size_t(frames > 0 ? frames : 0));
        if (outputs[1])
            std::memset(outputs[1], 0, sizeof(float) * std::size_t(frames > 0 ? frames : 0));
        return;
    }
    audioRunning.set(true);
    noiseIndex = (noiseIndex + 1) % noiseTableSize;

    blockTiming = transport.beginBlock(getTimeInfo(timeInfoMask), frames, context.samplesPerBeat);

    blockOutLeft = outputs[0];
    blockOutRight = outputs[1];
    const float* inLeft = inputs[0];
    const float* inRight = inputs[1];
    {
        MFRoundingGuard truncation;
        for (int32_t i = 0; i < frames; ++i) {
            const float left = inLeft[i];
            const float right = inRight[i];
            if (context.controlBlockCounter == tickPeriod)
                runTick(i);
            // Outputs are cleared only after the input sample was read: hosts may run in place.
            blockOutLeft[i] = 0.0f;
            blockOutRight[i] = 0.0f;
            workLeft[0][pendingCount] = left;
            workRight[0][pendingCount] = right;
            workLeft[1][pendingCount] = left;
            workRight[1][pendingCount] = right;
            transport.advance(blockTiming);
            ++context.controlBlockCounter;
            ++pendingCount;
            denormalOffset = -denormalOffset;
        }
        if (pendingCount != 0)
            flush(pendingCount, frames);
        if (frames > 0)
            finishBlock(frames);
    }
    audioRunning.set(false);
}

void MFUniClient::finishBlock(int32_t frames) {
    float* left = blockOutLeft;
    float* right = blockOutRight;

    if (masterGain != masterTarget) {
        const float step = (masterTarget - masterGain) / float(frames);
        float gain = masterGain;
        for (int32_t i = 0; i < frames; ++i) {
            gain += step;
            left[i] *= gain;
            right[i] *= gain;
        }
        masterGain = masterTarget;
    } else if (masterTarget != 1.0f) {
        for (int32_t i = 0; i < frames; ++i) {
            left[i] *= masterTarget;
            right[i] *= masterTarget;
        }
    }

    // Largest sample, not largest magnitude: the meters read positive excursions only.
    float peakL = 0.0f, peakR = 0.0f;
    for (int32_t i = 0; i < frames; ++i) {
        peakL = left[i] > peakL ? left[i] : peakL;
        peakR = right[i] > peakR ? right[i] : peakR;
    }
    peakLeft = peakL;
    peakRight = peakR;

    // DC blocker on everything that leaves the plug-in. Its decay after the input stops
    // would pass through the denormal range for thousands of samples; a state far below
    // audibility (-400 dB) is set to zero instead.
    float xl = dcLeftX, yl = dcLeftY, xr = dcRightX, yr = dcRightY;
    for (int32_t i = 0; i < frames; ++i) {
        const float inL = left[i];
        yl = (inL - xl) + yl * dcCoefficient;
        yl = std::fabs(yl) < dcFloor ? 0.0f : yl;
        xl = inL;
        left[i] = yl;
        const float inR = right[i];
        yr = (inR - xr) + yr * dcCoefficient;
        yr = std::fabs(yr) < dcFloor ? 0.0f : yr;
        xr = inR;
        right[i] = yr;
    }
    dcLeftX = xl;
    dcLeftY = yl;
    dcRightX = xr;
    dcRightY = yr;
}
