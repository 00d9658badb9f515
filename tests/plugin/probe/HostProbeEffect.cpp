// A test effect that reports what its host did: the MIDI events it received with their
// sample offsets, and the time information of the last block. Read back through
// getParameter, it lets the tests check the host library from the other side.

#include "vst/AudioEffectX.h"

#include <cstring>

namespace {
class HostProbeEffect : public AudioEffectX {
public:
    enum Report {
        eventCount,
        lastDelta,
        lastStatus,
        lastData1,
        ppq,
        tempo,
        playing,
        cycleEnd,
        reportCount
    };

    explicit HostProbeEffect(vst::HostCallback host) : AudioEffectX(host, 1, reportCount) {
        setNumInputs(2);
        setNumOutputs(2);
        setUniqueID(vst::fourCC('p', 'r', 'o', 'b'));
        canProcessReplacing(true);
    }
    int32_t processEvents(vst::VstEvents* events) override {
        for (int32_t i = 0; i < events->numEvents; ++i) {
            const auto* e = reinterpret_cast<const vst::VstMidiEvent*>(events->events[i]);
            if (e->type != vst::kVstMidiType)
                continue;
            values[eventCount] += 1.0f;
            values[lastDelta] = float(e->deltaFrames);
            values[lastStatus] = float(uint8_t(e->midiData[0]));
            values[lastData1] = float(uint8_t(e->midiData[1]));
        }
        return 1;
    }
    void processReplacing(float** in, float** out, int32_t frames) override {
        if (const vst::VstTimeInfo* t = getTimeInfo(0x1E02)) {
            values[ppq] = float(t->ppqPos);
            values[tempo] = float(t->tempo);
            values[playing] = (t->flags & vst::kVstTransportPlaying) ? 1.0f : 0.0f;
            values[cycleEnd] = float(t->cycleEndPos);
        }
        for (int c = 0; c < 2; ++c)
            if (in[c] != out[c])
                std::memmove(out[c], in[c], sizeof(float) * std::size_t(frames));
    }
    float getParameter(int32_t index) override {
        return index >= 0 && index < reportCount ? values[index] : 0.0f;
    }

private:
    float values[reportCount] = {};
};
} // namespace

extern "C" __attribute__((visibility("default"))) vst::AEffect*
VSTPluginMain(vst::HostCallback host) {
    if (!host || host(nullptr, vst::audioMasterVersion, 0, 0, nullptr, 0.0f) == 0)
        return nullptr;
    return (new HostProbeEffect(host))->getAeffect();
}
