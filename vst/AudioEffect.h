#pragma once

#include "vst/VstAbi.h"

class AEffGUIEditor;

// The effect side of the host interface: owns the AEffect structure the host sees
// and turns the host's opcodes into virtual operations.
class AudioEffect {
public:
    AudioEffect(vst::HostCallback host, int32_t numPrograms, int32_t numParams);
    virtual ~AudioEffect();
    AudioEffect(const AudioEffect&) = delete;
    AudioEffect& operator=(const AudioEffect&) = delete;

    vst::AEffect* getAeffect() { return &effect; }

    virtual intptr_t dispatcher(int32_t opcode, int32_t index, intptr_t value, void* ptr,
                                float opt);

    virtual void open() {}
    virtual void close() {}
    virtual void suspend() {}
    virtual void resume() {}
    virtual void setSampleRate(float rate) { sampleRate = rate; }
    virtual void setBlockSize(int32_t size) { blockSize = size; }

    virtual void processReplacing(float** inputs, float** outputs, int32_t frames) = 0;
    virtual void processDoubleReplacing(double**, double**, int32_t) {}

    virtual void setParameter(int32_t, float) {}
    virtual float getParameter(int32_t) { return 0.0f; }
    virtual void setParameterAutomated(int32_t index, float value);

    virtual void setProgram(int32_t program) { curProgram = program; }
    virtual int32_t getProgram() { return curProgram; }
    virtual void setProgramName(const char*) {}
    virtual void getProgramName(char* name) { *name = '\0'; }
    virtual void getParameterLabel(int32_t, char* label) { *label = '\0'; }
    virtual void getParameterDisplay(int32_t, char* text) { *text = '\0'; }
    virtual void getParameterName(int32_t, char* text) { *text = '\0'; }

    // Chunks: the host gets a pointer to memory the effect keeps; 0 means no chunk.
    virtual int32_t getChunk(void** data, bool isPreset);
    virtual int32_t setChunk(void* data, int32_t byteSize, bool isPreset);

    float getSampleRate() const { return sampleRate; }
    int32_t getBlockSize() const { return blockSize; }
    int32_t getNumPrograms() const { return effect.numPrograms; }
    AEffGUIEditor* getEditor() const { return editor; }

protected:
    void setUniqueID(int32_t id) { effect.uniqueID = id; }
    void setNumInputs(int32_t n) { effect.numInputs = n; }
    void setNumOutputs(int32_t n) { effect.numOutputs = n; }
    void setNumPrograms(int32_t n) { effect.numPrograms = n; }
    void canProcessReplacing(bool state);
    void programsAreChunks(bool state);
    void setFlag(int32_t flag, bool state);
    // Takes ownership of the editor and announces it to the host.
    void setEditor(AEffGUIEditor* e);
    intptr_t callHost(int32_t opcode, int32_t index = 0, intptr_t value = 0, void* ptr = nullptr,
                      float opt = 0.0f);

    vst::HostCallback host;
    vst::AEffect effect{};
    AEffGUIEditor* editor = nullptr;
    float sampleRate = 44100.0f;
    int32_t blockSize = 1024;
    int32_t curProgram = 0;
    int32_t numParams;
};
