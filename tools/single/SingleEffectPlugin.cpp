// A VST 2.4 wrapper around one effect class with its gate open and fully wet, so
// that our effects can be measured side by side with other plug-ins through the
// same host library. The effect is chosen by the environment variable
// CADENZOID_EFFECT (for example "Reverb" or "Delay"); it is a tool, not a product.

#include "effects/MFBufferRegistry.h"
#include "effects/MFEffect.h"
#include "effects/MFSystemInfo.h"
#include "tools/single/SingleEffectFactory.h"
#include "vst/AudioEffectX.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {
class SingleEffectPlugin : public AudioEffectX {
public:
    SingleEffectPlugin(vst::HostCallback host, const SingleEffectEntry& entry)
        : AudioEffectX(host, 1, 0), context(registry, listeners), entry(entry) {
        setNumInputs(2);
        setNumOutputs(2);
        setUniqueID(vst::fourCC('c', 'd', 's', '1'));
        canProcessReplacing(true);
        context.setControlBlockSize(64);
        context.setSampleRate(44100.0f);
        effect = entry.create(context);
    }
    void setSampleRate(float rate) override {
        AudioEffectX::setSampleRate(rate);
        context.setSampleRate(rate);
        effect->reset();
        effect->updateBuffers(false);
    }
    void processReplacing(float** in, float** out, int32_t frames) override {
        for (int c = 0; c < 2; ++c)
            if (in[c] != out[c])
                std::memmove(out[c], in[c], sizeof(float) * std::size_t(frames));
        int32_t done = 0;
        while (done < frames) {
            if (counter == 64) {
                counter = 0;
                if (entry.gateIndex >= 0)
                    effect->setParameter(entry.gateIndex, 1.0f);
                effect->setMix(1.0f);
                effect->controlTick();
            }
            const int32_t n = std::min(64 - counter, frames - done);
            effect->process(out[0] + done, out[1] + done, n);
            done += n;
            counter += n;
        }
    }
    bool getEffectName(char* name) override {
        std::snprintf(name, vst::kVstMaxEffectNameLen, "Cadenzoid %s", entry.name);
        return true;
    }

private:
    MFBufferRegistry registry;
    std::vector<MFBPMChangeInterface*> listeners;
    MFSystemInfo context;
    const SingleEffectEntry& entry;
    std::unique_ptr<MFEffect> effect;
    int32_t counter = 64;
};
} // namespace

extern "C" __attribute__((visibility("default"))) vst::AEffect*
VSTPluginMain(vst::HostCallback host) {
    if (!host || host(nullptr, vst::audioMasterVersion, 0, 0, nullptr, 0.0f) == 0)
        return nullptr;
    const char* wanted = std::getenv("CADENZOID_EFFECT");
    const SingleEffectEntry* entry = findSingleEffect(wanted ? wanted : "");
    if (!entry)
        return nullptr;
    return (new SingleEffectPlugin(host, *entry))->getAeffect();
}
