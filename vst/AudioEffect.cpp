#include "vst/AudioEffect.h"

#include "vst/AEffGUIEditor.h"

using namespace vst;

namespace {
AudioEffect* self(AEffect* e) {
    return static_cast<AudioEffect*>(e->object);
}

intptr_t dispatchTrampoline(AEffect* e, int32_t opcode, int32_t index, intptr_t value, void* ptr,
                            float opt) {
    AudioEffect* plugin = self(e);
    intptr_t result = plugin->dispatcher(opcode, index, value, ptr, opt);
    if (opcode == effClose) {
        // The host releases the effect with this call; nothing may touch it afterwards.
        delete plugin;
        return 1;
    }
    return result;
}

void processTrampoline(AEffect* e, float** in, float** out, int32_t frames) {
    self(e)->processReplacing(in, out, frames);
}

void processDoubleTrampoline(AEffect* e, double** in, double** out, int32_t frames) {
    self(e)->processDoubleReplacing(in, out, frames);
}

void setParameterTrampoline(AEffect* e, int32_t index, float value) {
    self(e)->setParameter(index, value);
}

float getParameterTrampoline(AEffect* e, int32_t index) {
    return self(e)->getParameter(index);
}
} // namespace

AudioEffect::AudioEffect(HostCallback h, int32_t programs, int32_t params)
    : host(h), numParams(params) {
    effect.magic = effectMagic;
    effect.dispatcher = dispatchTrampoline;
    effect.process = processTrampoline;
    effect.setParameter = setParameterTrampoline;
    effect.getParameter = getParameterTrampoline;
    effect.numPrograms = programs;
    effect.numParams = params;
    effect.numInputs = 1;
    effect.numOutputs = 2;
    effect.ioRatio = 1.0f;
    effect.object = this;
    effect.uniqueID = fourCC('N', 'o', 'E', 'f');
    effect.version = 1;
    effect.processReplacing = processTrampoline;
    effect.processDoubleReplacing = processDoubleTrampoline;
}

AudioEffect::~AudioEffect() {
    delete editor;
}

void AudioEffect::setFlag(int32_t flag, bool state) {
    if (state)
        effect.flags |= flag;
    else
        effect.flags &= ~flag;
}

void AudioEffect::canProcessReplacing(bool state) {
    setFlag(effFlagsCanReplacing, state);
}
void AudioEffect::programsAreChunks(bool state) {
    setFlag(effFlagsProgramChunks, state);
}

void AudioEffect::setEditor(AEffGUIEditor* e) {
    editor = e;
    setFlag(effFlagsHasEditor, e != nullptr);
}

intptr_t AudioEffect::callHost(int32_t opcode, int32_t index, intptr_t value, void* ptr,
                               float opt) {
    return host ? host(&effect, opcode, index, value, ptr, opt) : 0;
}

void AudioEffect::setParameterAutomated(int32_t index, float value) {
    setParameter(index, value);
    callHost(audioMasterAutomate, index, 0, nullptr, value);
}

int32_t AudioEffect::getChunk(void**, bool) {
    return 0;
}
int32_t AudioEffect::setChunk(void*, int32_t, bool) {
    return 0;
}

intptr_t AudioEffect::dispatcher(int32_t opcode, int32_t index, intptr_t value, void* ptr,
                                 float opt) {
    switch (opcode) {
    case effOpen:
        open();
        return 0;
    case effClose:
        close();
        return 0;
    case effSetProgram:
        if (value >= 0 && value < effect.numPrograms)
            setProgram(int32_t(value));
        return 0;
    case effGetProgram:
        return getProgram();
    case effSetProgramName:
        if (ptr)
            setProgramName(static_cast<const char*>(ptr));
        return 0;
    case effGetProgramName:
        if (ptr)
            getProgramName(static_cast<char*>(ptr));
        return 0;
    case effGetParamLabel:
        if (ptr)
            getParameterLabel(index, static_cast<char*>(ptr));
        return 0;
    case effGetParamDisplay:
        if (ptr)
            getParameterDisplay(index, static_cast<char*>(ptr));
        return 0;
    case effGetParamName:
        if (ptr)
            getParameterName(index, static_cast<char*>(ptr));
        return 0;
    case effSetSampleRate:
        setSampleRate(opt);
        return 0;
    case effSetBlockSize:
        setBlockSize(int32_t(value));
        return 0;
    case effMainsChanged:
        if (value == 0)
            suspend();
        else
            resume();
        return 0;
    case effEditGetRect:
        if (editor && ptr)
            return editor->getRect(static_cast<ERect**>(ptr)) ? 1 : 0;
        if (ptr)
            *static_cast<ERect**>(ptr) = nullptr;
        return 0;
    case effEditOpen:
        return editor ? (editor->open(ptr) ? 1 : 0) : 0;
    case effEditClose:
        if (editor)
            editor->close();
        return 0;
    case effEditIdle:
        if (editor)
            editor->idle();
        return 0;
    case effGetChunk:
        return ptr ? getChunk(static_cast<void**>(ptr), index != 0) : 0;
    case effSetChunk:
        return (ptr && value > 0 && value <= INT32_MAX) ? setChunk(ptr, int32_t(value), index != 0)
                                                        : 0;
    default:
        return 0;
    }
}
