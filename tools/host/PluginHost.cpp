#include "tools/host/PluginHost.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstring>

using namespace vst;

namespace {
// The host being loaded: an effect calls back from inside its entry point,
// before the host knows its AEffect.
thread_local PluginHost* loadingHost = nullptr;

using EntryPoint = AEffect* (*)(HostCallback);
} // namespace

PluginHost::PluginHost() : random(1) {}

PluginHost::~PluginHost() {
    unload();
}

bool PluginHost::load(const std::string& path) {
    unload();
    library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        const char* why = dlerror();
        error = "cannot load " + path + ": " + (why ? why : "unknown error");
        return false;
    }
    auto entry = reinterpret_cast<EntryPoint>(dlsym(library, "VSTPluginMain"));
    if (!entry)
        entry = reinterpret_cast<EntryPoint>(dlsym(library, "main"));
    if (!entry) {
        error = path + " has no VSTPluginMain or main";
        unload();
        return false;
    }
    loadingHost = this;
    plugin = entry(&PluginHost::callback);
    loadingHost = nullptr;
    if (!plugin || plugin->magic != effectMagic) {
        error = path + " did not create a VST 2.4 effect";
        plugin = nullptr;
        unload();
        return false;
    }
    plugin->user = this;
    dispatch(effOpen);
    return true;
}

void PluginHost::unload() {
    if (plugin) {
        stop();
        dispatch(effClose);
        plugin = nullptr;
    }
    if (library) {
        dlclose(library);
        library = nullptr;
    }
}

void PluginHost::start(float sampleRate, int32_t maxBlock) {
    rate = sampleRate;
    maxBlockSize = std::max(1, maxBlock);
    dispatch(effSetSampleRate, 0, 0, nullptr, sampleRate);
    dispatch(effSetBlockSize, 0, maxBlockSize);
    for (auto& s : scratch)
        s.assign(std::size_t(maxBlockSize), 0.0f);
    spareInput.assign(std::size_t(maxBlockSize), 0.0f);
    spareOutput.assign(std::size_t(maxBlockSize), 0.0f);
    inputs.assign(std::size_t(std::max(2, plugin ? plugin->numInputs : 2)), spareInput.data());
    outputs.assign(std::size_t(std::max(2, plugin ? plugin->numOutputs : 2)), spareOutput.data());
    dispatch(effMainsChanged, 0, 1);
    dispatch(effStartProcess);
    running = true;
}

void PluginHost::stop() {
    if (!running)
        return;
    dispatch(effStopProcess);
    dispatch(effMainsChanged, 0, 0);
    running = false;
}

intptr_t PluginHost::dispatch(int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt) {
    return plugin ? plugin->dispatcher(plugin, opcode, index, value, ptr, opt) : 0;
}

std::string PluginHost::effectName() {
    char text[256] = {};
    dispatch(effGetEffectName, 0, 0, text);
    return text;
}

std::string PluginHost::vendorString() {
    char text[256] = {};
    dispatch(effGetVendorString, 0, 0, text);
    return text;
}

std::string PluginHost::parameterName(int32_t index) {
    char text[256] = {};
    dispatch(effGetParamName, index, 0, text);
    return text;
}

std::string PluginHost::parameterDisplay(int32_t index) {
    char text[256] = {};
    dispatch(effGetParamDisplay, index, 0, text);
    return text;
}

int32_t PluginHost::canDo(const char* text) {
    return int32_t(dispatch(effCanDo, 0, 0, const_cast<char*>(text)));
}

void PluginHost::setParameter(int32_t index, float value) {
    if (plugin)
        plugin->setParameter(plugin, index, value);
}

float PluginHost::getParameter(int32_t index) {
    return plugin ? plugin->getParameter(plugin, index) : 0.0f;
}

int32_t PluginHost::findParameter(const std::string& name) {
    if (!plugin)
        return -1;
    for (int32_t i = 0; i < plugin->numParams; ++i)
        if (parameterName(i) == name)
            return i;
    return -1;
}

std::vector<uint8_t> PluginHost::getChunk(bool isPreset) {
    void* data = nullptr;
    const intptr_t size = dispatch(effGetChunk, isPreset ? 1 : 0, 0, &data);
    if (size <= 0 || !data)
        return {};
    const auto* bytes = static_cast<const uint8_t*>(data);
    return std::vector<uint8_t>(bytes, bytes + size);
}

intptr_t PluginHost::setChunk(const std::vector<uint8_t>& data, bool isPreset) {
    return dispatch(effSetChunk, isPreset ? 1 : 0, intptr_t(data.size()),
                    const_cast<uint8_t*>(data.data()));
}

void PluginHost::queueMidi(const MidiMessage& message) {
    auto at = std::upper_bound(
        midi.begin() + std::ptrdiff_t(midiNext), midi.end(), message,
        [](const MidiMessage& a, const MidiMessage& b) { return a.frame < b.frame; });
    midi.insert(at, message);
}

void PluginHost::setRandomBlocks(uint32_t seed) {
    random.seed(seed);
    randomBlocks = true;
}

void PluginHost::process(const float* inLeft, const float* inRight, float* outLeft, float* outRight,
                         int64_t frames) {
    int64_t done = 0;
    while (done < frames) {
        int32_t n = randomBlocks
                        ? int32_t(std::uniform_int_distribution<int32_t>(1, maxBlockSize)(random))
                        : std::min(blockSize, maxBlockSize);
        n = int32_t(std::min<int64_t>(n, frames - done));
        float* il = scratch[0].data();
        float* ir = scratch[1].data();
        std::copy(inLeft + done, inLeft + done + n, il);
        std::copy(inRight + done, inRight + done + n, ir);
        if (inPlace) {
            processBlock(il, ir, il, ir, n);
            std::copy(il, il + n, outLeft + done);
            std::copy(ir, ir + n, outRight + done);
        } else {
            float* ol = scratch[2].data();
            float* orr = scratch[3].data();
            // Hosts hand over output buffers with old contents; the effect must overwrite them.
            std::fill(ol, ol + n, 1234.5f);
            std::fill(orr, orr + n, -1234.5f);
            processBlock(il, ir, ol, orr, n);
            std::copy(ol, ol + n, outLeft + done);
            std::copy(orr, orr + n, outRight + done);
        }
        done += n;
    }
}

void PluginHost::processBlock(float* inLeft, float* inRight, float* outLeft, float* outRight,
                              int32_t frames) {
    sendMidiFor(frames);
    inputs[0] = inLeft;
    inputs[1] = inRight;
    outputs[0] = outLeft;
    outputs[1] = outRight;
    plugin->processReplacing(plugin, inputs.data(), outputs.data(), frames);
    if (plugin->numOutputs == 1)
        std::copy(outLeft, outLeft + frames, outRight);
    advanceClock(frames);
}

void PluginHost::sendMidiFor(int32_t frames) {
    eventStore.clear();
    while (midiNext < midi.size() && midi[midiNext].frame < position + frames) {
        const MidiMessage& m = midi[midiNext++];
        VstMidiEvent e{};
        e.type = kVstMidiType;
        e.byteSize = int32_t(sizeof(VstMidiEvent));
        e.deltaFrames = int32_t(std::max<int64_t>(0, m.frame - position));
        std::memcpy(e.midiData, m.bytes, 3);
        eventStore.push_back(e);
    }
    if (eventStore.empty())
        return;
    const std::size_t count = eventStore.size();
    eventList.assign(sizeof(VstEvents) + count * sizeof(VstEvent*), 0);
    auto* list = reinterpret_cast<VstEvents*>(eventList.data());
    list->numEvents = int32_t(count);
    for (std::size_t i = 0; i < count; ++i)
        list->events[i] = reinterpret_cast<VstEvent*>(&eventStore[i]);
    dispatch(effProcessEvents, 0, 0, list);
}

void PluginHost::advanceClock(int32_t frames) {
    position += frames;
    if (!clock.playing)
        return;
    const double samplesPerBeat = double(rate) * 60.0 / clock.tempo;
    clock.ppqPosition += double(frames) / samplesPerBeat;
    if (clock.cycleActive && clock.cycleEnd > clock.cycleStart &&
        clock.ppqPosition >= clock.cycleEnd)
        clock.ppqPosition = clock.cycleStart + (clock.ppqPosition - clock.cycleEnd);
}

intptr_t PluginHost::callback(AEffect* effect, int32_t opcode, int32_t index, intptr_t value,
                              void* ptr, float opt) {
    PluginHost* host =
        effect && effect->user ? static_cast<PluginHost*>(effect->user) : loadingHost;
    if (opcode == audioMasterVersion)
        return 2400;
    return host ? host->answer(opcode, index, value, ptr, opt) : 0;
}

intptr_t PluginHost::answer(int32_t opcode, int32_t, intptr_t value, void* ptr, float) {
    switch (opcode) {
    case audioMasterAutomate:
        ++automateCalls;
        return 0;
    case audioMasterCurrentId:
        return plugin ? plugin->uniqueID : 0;
    case audioMasterWantMidi:
        ++wantMidiRequests;
        return 1;
    case audioMasterGetTime: {
        ++timeInfoRequests;
        lastTimeInfoMask = int32_t(value);
        if (!clock.provideTimeInfo)
            return 0;
        timeInfo = VstTimeInfo{};
        timeInfo.samplePos = double(position);
        timeInfo.sampleRate = rate;
        timeInfo.ppqPos = clock.ppqPosition;
        timeInfo.tempo = clock.tempo;
        timeInfo.barStartPos = double(int64_t(clock.ppqPosition / 4.0)) * 4.0;
        timeInfo.cycleStartPos = clock.cycleStart;
        timeInfo.cycleEndPos = clock.cycleEnd;
        timeInfo.timeSigNumerator = 4;
        timeInfo.timeSigDenominator = 4;
        timeInfo.flags = kVstPpqPosValid | kVstTempoValid | kVstBarsValid | kVstTimeSigValid;
        if (clock.playing)
            timeInfo.flags |= kVstTransportPlaying;
        if (clock.cycleActive)
            timeInfo.flags |= kVstTransportCycleActive | kVstCyclePosValid;
        return reinterpret_cast<intptr_t>(&timeInfo);
    }
    case audioMasterGetSampleRate:
        return intptr_t(rate);
    case audioMasterGetBlockSize:
        return maxBlockSize;
    case audioMasterGetCurrentProcessLevel:
        return 0;
    case audioMasterGetVendorString:
        if (ptr)
            std::snprintf(static_cast<char*>(ptr), kVstMaxVendorStrLen, "%s", vendorAnswer.c_str());
        return 1;
    case audioMasterGetProductString:
        if (ptr)
            std::snprintf(static_cast<char*>(ptr), kVstMaxProductStrLen, "%s", "PluginHost");
        return 1;
    case audioMasterGetVendorVersion:
        return 1;
    case audioMasterCanDo:
        return 0;
    case audioMasterBeginEdit:
        ++beginEditCalls;
        return 1;
    case audioMasterEndEdit:
        ++endEditCalls;
        return 1;
    case audioMasterIOChanged:
    case audioMasterUpdateDisplay:
    case audioMasterSizeWindow:
        return 1;
    default:
        return 0;
    }
}
