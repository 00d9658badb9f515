#pragma once

#include "effects/MFDivisionSet.h"
#include "effects/MFSystemInfo.h"
#include "platform/MFRelaxed.h"

#include <cstdint>
#include <memory>

class MFBufferRegistry;
class MFOptionMenuInterface;

// Base of every effect. An effect sees numbered normalised parameters, a gate, a wet
// amount, a control tick every 64 samples and runs of stereo samples it rewrites in
// place. It knows nothing of zones, MIDI, the host or the editor.
class MFEffect {
public:
    static constexpr int nameLength = 21;
    static constexpr int parameterNameLength = 32;

    MFEffect(int32_t effectId, MFSystemInfo& context, int parameterCount = 0,
             const MFDivisionSet* divisions = nullptr);
    MFEffect(const MFEffect&) = delete;
    MFEffect& operator=(const MFEffect&) = delete;
    virtual ~MFEffect();

    virtual void processSample(float& left, float& right);
    virtual void process(float* left, float* right, int32_t count);
    virtual void setParameter(int32_t index, float value);
    virtual void setOption(int32_t index, int32_t value);
    virtual int32_t getOption(int32_t index);
    virtual void getParameterName(int32_t index, char* text);
    virtual void reset();
    virtual void controlTick();
    virtual void updateBuffers(bool keepContents);
    virtual int32_t gateOn();
    virtual void gateOff();
    // Playback starts or jumps: running state that is not audio history (modulation
    // phases, counters, knob glides) goes back to where it starts, so that what follows
    // does not depend on how long, or in what blocks, the host ran the effect before.
    // Sound still to be heard stays; a silent effect may drop what it holds. Audio
    // thread, at a tick, before the lane's values and controlTick.
    virtual void restart();
    virtual int32_t isEnabled();
    virtual void setMix(float value);
    virtual float getParameterDefault(int32_t index);
    virtual int32_t canChange();
    virtual void setRegistry(MFBufferRegistry* r);
    // text must hold at least 64 characters.
    virtual void getParameterDisplay(int32_t index, float value, char* text);
    virtual bool isBipolar(int32_t index);
    virtual void setDivisionSet(int32_t index);
    virtual void fillOptions(int32_t index, MFOptionMenuInterface& menu);
    virtual float getParameterSteps(int32_t index);

    int32_t getParameterCount() const { return parameterCount; }
    float getParameterValue(int32_t index) const;
    const char* getName() const { return name; }
    int32_t getEffectId() const { return effectId; }
    int32_t getStatus() const { return status; }
    float getMix() const { return mix; }

    static constexpr int32_t statusIdle = 0;
    static constexpr int32_t statusResizing = 2;
    static constexpr int32_t statusUnusable = 3;

protected:
    void setName(const char* text);
    void setParameterName(int32_t index, const char* text);
    void setParameterDefault(int32_t index, float value);
    bool validIndex(int32_t index) const { return index >= 0 && index < parameterCount; }
    // The division table in force (variant chosen by setDivisionSet).
    const MFDivisionTable& divisionTable() const { return divisions->table(divisionSetIndex); }
    // The gate is the last parameter of a gated effect: a change to 0 closes it, any other
    // change opens it (again, when it was open: a re-trigger). The value is stored after.
    void switchGate(int32_t index, float value);
    // Sends every parameter its default; the last step of a class's constructor.
    void applyDefaults();
    // Adds this tempo listener to the context; a class that implements
    // MFBPMChangeInterface calls it from its constructor and the matching remove
    // from its destructor.
    void listenToTempo(class MFBPMChangeInterface* listener);
    void stopListeningToTempo(class MFBPMChangeInterface* listener);

    std::unique_ptr<MFRelaxed<float>[]> parameters;
    MFRelaxed<float> mixValue = 0.5f;
    MFRelaxed<float> dryGain = 0.70710677f;
    MFRelaxed<float> wetGain = 0.70710677f;
    MFRelaxed<float> mix = 0.5f;
    MFRelaxed<int32_t> status = statusIdle;
    char name[nameLength] = {};
    std::unique_ptr<char[][parameterNameLength]> parameterNames;
    std::unique_ptr<float[]> parameterDefaults;
    int32_t effectId;
    int32_t parameterCount;
    MFSystemInfo& context;
    MFBufferRegistry* registry;
    MFRelaxed<int32_t> divisionSetIndex = 0;
    const MFDivisionSet* divisions;
};
