#include "support/EffectChainRig.h"

#include <cctype>

// X-Loop, Loop, ScratchLoop, Reverse, Stretch, Vinyl and TapeStop have a gate.
const int32_t EffectChainRig::gateIndex[size] = {4,  4,  5,  3,  3,  3,  2, -1,
                                                 -1, -1, -1, -1, -1, -1, -1};
static_assert(MFLooperX2::parameterGate == 4 && MFLooperX::parameterGate == 4 &&
              MFScratchLooper::gateIndex == 5 && MFReverserX::parameterGate == 3 &&
              MFBeatStretcher::parameterGate == 3 && MFVinyl::gateIndex == 3 &&
              MFTapeFingerX::gateIndex == 2);

const char* const EffectChainRig::names[size] = {
    "X-Loop",  "Loop",  "ScratchLoop", "Reverse", "Stretch", "Vinyl", "TapeStop", "Tonal-Delay",
    "Stutter", "Crush", "Filter",      "Phaser",  "Chorus",  "Delay", "Reverb"};

std::string EffectChainRig::testName(int k) {
    std::string name;
    for (const char* c = names[k]; *c; ++c)
        if (std::isalnum(static_cast<unsigned char>(*c)))
            name += *c;
    return name;
}

EffectChainRig::EffectChainRig(float rate, double tempo) : context(rate, tempo) {
    drivers.reserve(size);
    for (int k = 0; k < size; ++k) {
        // As when the host sets the rate: every effect sizes its buffers for it.
        effect(k).updateBuffers(false);
        drivers.emplace_back(effect(k), gateIndex[k]);
    }
}

void EffectChainRig::open(int k) {
    driver(k).setGate(1.0f);
    driver(k).setMix(1.0f);
}
