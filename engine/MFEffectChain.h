#pragma once

#include "effects/MFBeatStretcher.h"
#include "effects/MFBitCrushVeld2.h"
#include "effects/MFChorusVeld2.h"
#include "effects/MFEffect.h"
#include "effects/MFLevelDelay.h"
#include "effects/MFLooperX.h"
#include "effects/MFLooperX2.h"
#include "effects/MFPhaser.h"
#include "effects/MFReverb2.h"
#include "effects/MFReverserX.h"
#include "effects/MFScratchLooper.h"
#include "effects/MFStereoPanAmp.h"
#include "effects/MFSystemInfo.h"
#include "effects/MFTapeFingerX.h"
#include "effects/MFTonalDelay.h"
#include "effects/MFVEXFilter.h"
#include "effects/MFVinyl.h"

#include <cstdint>

// The fifteen effects in chain order. All stages run in series on the same two
// buffers; stage 6 runs exactly one of its two alternatives, by the "Switch" value.
class MFEffectChain {
public:
    explicit MFEffectChain(MFSystemInfo& context);

    // The alternative at stage 6: 0 the vinyl, 1 the tape stop, anything else neither.
    MFEffect* stageSix(float switchValue);

    void run(float* left, float* right, int32_t count, float switchValue);

    // Every effect in chain order, both stage-6 alternatives included.
    MFEffect* const* all() { return order; }
    static constexpr int size = 15;

    MFLooperX2 xLoop;
    MFLooperX loop;
    MFScratchLooper scratchLoop;
    MFReverserX reverse;
    MFBeatStretcher stretch;
    MFVinyl vinyl;
    MFTapeFingerX tapeStop;
    MFTonalDelay tonalDelay;
    MFStereoPanAmp stutter;
    MFBitCrushVeld2 crush;
    MFVEXFilter filter;
    MFPhaser phaser;
    MFChorusVeld2 chorus;
    MFLevelDelay delay;
    MFReverb2 reverb;

private:
    MFEffect* order[size];
};
