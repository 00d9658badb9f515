#include "tools/single/SingleEffectFactory.h"

#include "effects/MFBeatStretcher.h"
#include "effects/MFBitCrushVeld2.h"
#include "effects/MFChorusVeld2.h"
#include "effects/MFLevelDelay.h"
#include "effects/MFLooperX.h"
#include "effects/MFLooperX2.h"
#include "effects/MFPhaser.h"
#include "effects/MFReverb2.h"
#include "effects/MFReverserX.h"
#include "effects/MFScratchLooper.h"
#include "effects/MFStereoPanAmp.h"
#include "effects/MFTapeFingerX.h"
#include "effects/MFTonalDelay.h"
#include "effects/MFVEXFilter.h"
#include "effects/MFVinyl.h"

#include <cstring>
#include <iterator>

namespace {
template <typename Effect> std::unique_ptr<MFEffect> make(MFSystemInfo& context, int32_t id) {
    return std::make_unique<Effect>(id, context);
}

const SingleEffectEntry entries[] = {
    {"X-Loop", MFLooperX2::parameterGate, [](MFSystemInfo& c) { return make<MFLooperX2>(c, 182); }},
    {"Loop", MFLooperX::parameterGate, [](MFSystemInfo& c) { return make<MFLooperX>(c, 176); }},
    {"ScratchLoop", MFScratchLooper::gateIndex,
     [](MFSystemInfo& c) { return make<MFScratchLooper>(c, 184); }},
    {"Reverse", MFReverserX::parameterGate,
     [](MFSystemInfo& c) { return make<MFReverserX>(c, 181); }},
    {"Stretch", MFBeatStretcher::parameterGate,
     [](MFSystemInfo& c) { return make<MFBeatStretcher>(c, 177); }},
    {"Vinyl", MFVinyl::gateIndex, [](MFSystemInfo& c) { return make<MFVinyl>(c, 190); }},
    {"TapeStop", MFTapeFingerX::gateIndex,
     [](MFSystemInfo& c) { return make<MFTapeFingerX>(c, 180); }},
    {"Tonal-Delay", -1, [](MFSystemInfo& c) { return make<MFTonalDelay>(c, 188); }},
    {"Stutter", -1, [](MFSystemInfo& c) { return make<MFStereoPanAmp>(c, 183); }},
    {"Crush", -1, [](MFSystemInfo& c) { return make<MFBitCrushVeld2>(c, 187); }},
    {"Filter", -1, [](MFSystemInfo& c) { return make<MFVEXFilter>(c, 179); }},
    {"Phaser", -1, [](MFSystemInfo& c) { return make<MFPhaser>(c, 160); }},
    {"Chorus", -1, [](MFSystemInfo& c) { return make<MFChorusVeld2>(c, 185); }},
    {"Delay", -1, [](MFSystemInfo& c) { return make<MFLevelDelay>(c, 189); }},
    {"Reverb", -1, [](MFSystemInfo& c) { return make<MFReverb2>(c, 191); }},
};
} // namespace

const SingleEffectEntry* findSingleEffect(const char* name) {
    for (const SingleEffectEntry& e : entries)
        if (std::strcmp(e.name, name) == 0)
            return &e;
    return nullptr;
}
