// The smallest VST 2.4 effect on our ABI layer: copies input to output. It is the
// baseline the renderer's benchmark pairs the plug-in against, and a second
// library for the host library's tests.

#include "vst/AudioEffectX.h"

#include <cstring>

namespace {
class PassThroughEffect : public AudioEffectX {
public:
    explicit PassThroughEffect(vst::HostCallback host) : AudioEffectX(host, 1, 1) {
        setNumInputs(2);
        setNumOutputs(2);
        setUniqueID(vst::fourCC('p', 'a', 's', 's'));
        canProcessReplacing(true);
    }
    void processReplacing(float** in, float** out, int32_t frames) override {
        for (int c = 0; c < 2; ++c)
            if (in[c] != out[c])
                std::memmove(out[c], in[c], sizeof(float) * std::size_t(frames));
    }
    bool getEffectName(char* name) override {
        std::strcpy(name, "PassThrough");
        return true;
    }
};
} // namespace

extern "C" __attribute__((visibility("default"))) vst::AEffect*
VSTPluginMain(vst::HostCallback host) {
    if (!host || host(nullptr, vst::audioMasterVersion, 0, 0, nullptr, 0.0f) == 0)
        return nullptr;
    return (new PassThroughEffect(host))->getAeffect();
}
