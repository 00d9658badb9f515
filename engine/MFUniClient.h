#pragma once

#include "effects/MFAlignedArray.h"
#include "effects/MFBufferRegistry.h"
#include "effects/MFSystemInfo.h"
#include "engine/MFAligned.h"
#include "engine/MFEffectChain.h"
#include "engine/MFTransport.h"
#include "platform/MFRelaxed.h"
#include "vst/AudioEffectX.h"

#include <cstdint>
#include <string>
#include <vector>

class MFBPMChangeInterface;

// The plug-in's common base over the host interface.
class MFPluginBase : public AudioEffectX {
public:
    using AudioEffectX::AudioEffectX;
};

// The one object the host sees. It owns the whole engine by value: the shared
// context, the chain of effects, the block driver's state and the transport.
class MFUniClient : public MFPluginBase, public MFAligned {
public:
    static constexpr int32_t hostParameterCount = 117;
    static constexpr int32_t constructedProgramCount = 128;
    static constexpr int32_t programCount = 64;
    static constexpr int32_t tickPeriod = 64;
    static constexpr float dcCoefficient = 0.998f;
    static constexpr float dcFloor = 1e-20f;
    static constexpr int32_t timeInfoMask = 0x1E02;
    static constexpr int32_t noiseTableSize = 1024;
    static constexpr int32_t loadWaitLimit = 500;

    explicit MFUniClient(vst::HostCallback host);
    ~MFUniClient() override;

    // Host lifecycle.
    void suspend() override;
    void resume() override;
    void setSampleRate(float rate) override;
    void setBlockSize(int32_t size) override;
    void processReplacing(float** inputs, float** outputs, int32_t frames) override;
    void processDoubleReplacing(double**, double**, int32_t) override {}

    // Parameters (values only until the parameter registry exists).
    void setParameter(int32_t index, float value) override;
    float getParameter(int32_t index) override;
    void setParameterAutomated(int32_t index, float value) override;
    bool beginEdit(int32_t index) override;
    bool endEdit(int32_t index) override;

    // Identification and capabilities.
    bool getEffectName(char* name) override;
    bool getVendorString(char* text) override;
    bool getProductString(char* text) override;
    int32_t getVendorVersion() override { return 1400; }
    int32_t getVstVersion() override { return 2400; }
    int32_t getPlugCategory() override { return vst::kPlugCategEffect; }
    int32_t canDo(const char* text) override;
    int32_t getGetTailSize() override { return int32_t(getSampleRate()); }
    int32_t getNumMidiInputChannels() override { return 1; }
    int32_t getNumMidiOutputChannels() override { return 0; }
    int32_t setTotalSampleToProcess(int32_t value) override { return value; }

    // Programs (names only until the preset library exists).
    void getProgramName(char* name) override;
    bool getProgramNameIndexed(int32_t category, int32_t index, char* text) override;

    // Re-derives everything that depends on the sample rate and resends all values.
    void applyAllParameters();

    // The main thread's side of the load handshake: silence the audio thread and wait
    // for the block in flight to end; false if it did not end within the limit.
    bool beginStructureChange(int32_t waitLimit);
    void endStructureChange() { loading.set(false); }

    // Read-only views for the editor, the tests and the renderer.
    const MFSystemInfo& getContext() const { return context; }
    const MFTransport& getTransport() const { return transport; }
    float getPeakLeft() const { return peakLeft; }
    float getPeakRight() const { return peakRight; }
    float getMasterGain() const { return masterGain; }
    int32_t getNoiseIndex() const { return noiseIndex; }
    const float* getNoiseTable() const { return noiseTable; }
    bool isHostFXpansion() const { return hostIsFXpansion; }
    MFEffectChain& getChain() { return chain; }
    const MFBufferRegistry& getBufferRegistry() const { return bufferRegistry; }

protected:
    // One 64-sample control tick at sample index i of the current block.
    virtual void runTick(int32_t i);

    void setMasterTarget(float value) { masterTarget = value; }
    void setMixWeights(float wet, float dry);

private:
    void flush(int32_t count, int32_t endIndex);
    void applyTempoChange();
    void finishBlock(int32_t frames);
    void sizeSwingRing();
    void fillNoiseTable();

    std::vector<std::string> presetNames;
    std::string currentPresetName = "default";
    int32_t folderIndex = 0;

    std::vector<MFBPMChangeInterface*> tempoListeners;
    MFBufferRegistry bufferRegistry;
    MFSystemInfo context;

    float masterTarget = 1.0f;
    float masterGain = 1.0f;
    MFRelaxed<float> peakLeft = 0.0f;
    MFRelaxed<float> peakRight = 0.0f;
    MFRelaxed<float> wetGain = 1.0f;
    MFRelaxed<float> dryGain = 0.0f;
    float denormalOffset = 1e-8f;
    float velocityOffsets[3] = {1.2e-06f, 2.4e-06f, 3.6e-06f};
    int32_t velocityOffsetIndex = 0;
    float noiseTable[noiseTableSize];
    int32_t noiseIndex = 0;

    // Host parameter values, until the registry of named records takes over.
    MFRelaxed<float> hostValues[hostParameterCount];
    MFRelaxed<float> vinylSwitch = 0.0f;

    MFEffectChain chain;
    MFTransport transport;
    MFTransport::BlockTiming blockTiming;

    alignas(32) float workLeft[2][tickPeriod] = {};
    alignas(32) float workRight[2][tickPeriod] = {};
    int32_t pendingCount = 0;
    float* blockOutLeft = nullptr;
    float* blockOutRight = nullptr;
    float dcLeftX = 0.0f, dcLeftY = 0.0f, dcRightX = 0.0f, dcRightY = 0.0f;

    float ticksPerSecond = 0.0f;
    float secondsPerTick = 0.0f;
    MFAlignedArray swingRing;
    int32_t swingWrite = 0;

    bool hostIsFXpansion = false;
    uint8_t ignoreProgramChange = 1;
    uint8_t isolateMaps = 0;
    MFFlag audioRunning;
    MFFlag loading;
    MFFlag mapsEditing;
};
