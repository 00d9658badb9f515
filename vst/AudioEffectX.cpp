#include "vst/AudioEffectX.h"

#include "vst/AEffGUIEditor.h"

using namespace vst;

AudioEffectX::AudioEffectX(HostCallback h, int32_t programs, int32_t params)
    : AudioEffect(h, programs, params) {}

bool AudioEffectX::getSpeakerArrangement(VstSpeakerArrangement** input,
                                         VstSpeakerArrangement** output) {
    if (input)
        *input = nullptr;
    if (output)
        *output = nullptr;
    return false;
}

bool AudioEffectX::beginEdit(int32_t index) {
    return callHost(audioMasterBeginEdit, index) != 0;
}

bool AudioEffectX::endEdit(int32_t index) {
    return callHost(audioMasterEndEdit, index) != 0;
}

int32_t AudioEffectX::getMasterVersion() {
    const intptr_t version = callHost(audioMasterVersion);
    return version ? int32_t(version) : 1;
}

VstTimeInfo* AudioEffectX::getTimeInfo(int32_t mask) {
    return reinterpret_cast<VstTimeInfo*>(callHost(audioMasterGetTime, 0, mask));
}

bool AudioEffectX::getHostVendorString(char* text) {
    text[0] = '\0';
    return callHost(audioMasterGetVendorString, 0, 0, text) != 0;
}

intptr_t AudioEffectX::dispatcher(int32_t opcode, int32_t index, intptr_t value, void* ptr,
                                  float opt) {
    char* text = static_cast<char*>(ptr);
    switch (opcode) {
    case effProcessEvents:
        return ptr ? processEvents(static_cast<VstEvents*>(ptr)) : 0;
    case effCanBeAutomated:
        return canParameterBeAutomated(index) ? 1 : 0;
    case effGetProgramNameIndexed:
        return text ? (getProgramNameIndexed(int32_t(value), index, text) ? 1 : 0) : 0;
    case effGetPlugCategory:
        return getPlugCategory();
    case effGetEffectName:
        return text ? (getEffectName(text) ? 1 : 0) : 0;
    case effGetVendorString:
        return text ? (getVendorString(text) ? 1 : 0) : 0;
    case effGetProductString:
        return text ? (getProductString(text) ? 1 : 0) : 0;
    case effGetVendorVersion:
        return getVendorVersion();
    case effCanDo:
        return text ? canDo(text) : 0;
    case effGetTailSize:
        return getGetTailSize();
    case effGetParameterProperties:
        return ptr ? (getParameterProperties(index, static_cast<VstParameterProperties*>(ptr)) ? 1
                                                                                               : 0)
                   : 0;
    case effGetVstVersion:
        return getVstVersion();
    case effEditKeyDown:
        return editor ? (editor->onKeyDown(index, int32_t(value), int32_t(opt)) ? 1 : 0) : 0;
    case effEditKeyUp:
        return editor ? (editor->onKeyUp(index, int32_t(value), int32_t(opt)) ? 1 : 0) : 0;
    case effGetSpeakerArrangement:
        return getSpeakerArrangement(reinterpret_cast<VstSpeakerArrangement**>(value),
                                     static_cast<VstSpeakerArrangement**>(ptr))
                   ? 1
                   : 0;
    case effSetTotalSampleToProcess:
        return setTotalSampleToProcess(int32_t(value));
    case effGetNumMidiInputChannels:
        return getNumMidiInputChannels();
    case effGetNumMidiOutputChannels:
        return getNumMidiOutputChannels();
    default:
        return AudioEffect::dispatcher(opcode, index, value, ptr, opt);
    }
}

bool AudioEffectX::updateDisplay() {
    return callHost(audioMasterUpdateDisplay, 0, 0, nullptr) != 0;
}
