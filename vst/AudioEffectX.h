#pragma once

#include "vst/AudioEffect.h"

// The 2.x extensions of the effect interface: events, time information, names,
// capabilities and the editing handshake.
class AudioEffectX : public AudioEffect {
public:
    AudioEffectX(vst::HostCallback host, int32_t numPrograms, int32_t numParams);

    intptr_t dispatcher(int32_t opcode, int32_t index, intptr_t value, void* ptr,
                        float opt) override;

    virtual int32_t processEvents(vst::VstEvents*) { return 0; }
    virtual bool canParameterBeAutomated(int32_t) { return true; }
    virtual bool getProgramNameIndexed(int32_t, int32_t, char*) { return false; }
    virtual bool getParameterProperties(int32_t, vst::VstParameterProperties*) { return false; }
    virtual bool getEffectName(char*) { return false; }
    virtual bool getVendorString(char*) { return false; }
    virtual bool getProductString(char*) { return false; }
    virtual int32_t getVendorVersion() { return 0; }
    virtual int32_t canDo(const char*) { return 0; }
    virtual int32_t getVstVersion() { return 2400; }
    virtual int32_t getPlugCategory() { return vst::kPlugCategUnknown; }
    virtual int32_t getGetTailSize() { return 0; }
    virtual bool getSpeakerArrangement(vst::VstSpeakerArrangement** input,
                                       vst::VstSpeakerArrangement** output);
    virtual int32_t setTotalSampleToProcess(int32_t value) { return value; }
    virtual int32_t getNumMidiInputChannels() { return 0; }
    virtual int32_t getNumMidiOutputChannels() { return 0; }
    virtual bool beginEdit(int32_t index);
    virtual bool endEdit(int32_t index);

protected:
    void noTail(bool state) { setFlag(vst::effFlagsNoSoundInStop, state); }
    int32_t getMasterVersion();
    vst::VstTimeInfo* getTimeInfo(int32_t mask);
    bool getHostVendorString(char* text);
    // Asks the host to read names and values again, after a program or preset change.
    bool updateDisplay();
};
