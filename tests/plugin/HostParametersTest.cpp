// The host's view of the 117 parameters, checked row by row against the parameter
// table as published to users: names, switch property, defaults and display text.

#include "tools/host/PluginHost.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <sstream>
#include <string>

using namespace vst;

namespace {

constexpr float kept = -1.0f; // a value a lane, table or mouse area keeps

// The 117 names in tag order, one space between. The switches are the bypasses, 102 to 115.
const char* const nameList =
    "PatternKeys masterlevel XloopSize XloopEnvelope XloopSizechng XloopPitchChng "
    "XloopMix LoopSize LoopxFade LoopDir LoopDecay LoopMix ScratchSize ScratchFWD "
    "ScratchFwdSlope ScratchBWD ScratchBwdSlope ScratchMix ReversSize ReversXfade "
    "ReverseDecay ReversMix StretchSpeed StretchGrains StretchFade StretchMix VinylSpeed "
    "VinylSize VinylSlope StopMix TonalTune TonalFeed TonalWidth TonalHP TonalLevel "
    "TonalMix StutterTempo StutterAttack StutterDecay StutterMix CrushBit CrushReduce "
    "CrushDistort CrushMix FilterCutoff FilterReso FilterPeak FilterAttack FilterDecay "
    "FilterMix PhaserRate PhaserStages PhaserDepth PhaserFeed PhaserWidth PhaserMix "
    "ChorusRate ChorusDepth ChorusFeed ChorusWidth ChorusMix DelayLeft DelayFeed "
    "DelayDiff DelayWidth DelayDryLev DelayMix ReverbRoom ReverbDamp ReverbWidth "
    "ReverbHP ReverbDryLevel ReverbMix XloopSmoothA XloopSmoothB LoopSmoothA LoopSmoothB "
    "StretchSmoothA StretchSmoothB ScratchSmoothA ScratchSmoothB ReverseSmoothA "
    "ReverseSmoothB VinylSmoothA VinylSmoothB TonalSmoothA TonalSmoothB StutterSmoothA "
    "StutterSmoothB CrushSmoothA CrushSmoothB FilterSmoothA FilterSmoothB PhaserSmoothA "
    "PhaserSmoothB ChorusSmoothA ChorusSmoothB DelaySmoothA DelaySmoothB ReverbSmoothA "
    "ReverbSmoothB GlobalWet Bypass_X_Loop Bypass_Loop Bypass_Scratchlo_ Bypass_Reverse "
    "Bypass_Stretch Bypass_Vinyl Bypass_Tonaldela_ Bypass_Stutter Bypass_Crush "
    "Bypass_Filter Bypass_Phaser Bypass_Chorus Bypass_Delay Bypass_Reverb Swing";

// The values a fresh instance reports, in tag order.
const float initial[] = {
    kept,   0.50475,  0.5197, 1,        0.8247, 0.5,      1,      0.4797, 0.4998,   1,      1,
    1,      0.7,      0.2498, 0.6336,   0.3349, 0.6897,   1,      0.7299, 0.4894,   1,      1,
    0.5148, 0.199,    0.4946, 1,        0.3998, 0.2796,   0.685,  1,      0.284248, 0.9096, 0.505,
    0.1699, 0.829943, 0.3899, 0.666667, 0,      0.009999, 0.9989, 0.155,  0.5,      0,      1,
    0,      0.6393,   0.35,   0,        0.6448, 1,        0.3849, 1,      0.4899,   0.51,   0.7776,
    1,      0.19,     0.4994, 0.4998,   0.2316, 0.4299,   0.7037, 0.2588, 0.4881,   1,      kept,
    0.4199, 0.7198,   0.7044, 0.5068,   0.1444, kept,     0.2642, 0,      0,        0,      0,
    0,      0,        0.02,   0,        0,      0,        0.04,   0.1296, 0,        0.0499, 0,
    1,      0,        0,      0,        0.1296, 0,        0.2298, 0,      0,        0,      0,
    0,      0,        1,      0.5,      0.5,    0.5,      0.5,    0.5,    0.5,      0.5,    0.5,
    0.5,    0.5,      0.5,    0.5,      0.5,    0.5,      0};

class HostParameters : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(host.load(CADENZOID_PLUGIN_PATH)) << host.lastError(); }
    std::string text(int32_t opcode, int32_t index) {
        char buffer[256];
        std::memset(buffer, 'x', sizeof buffer);
        host.dispatch(opcode, index, 0, buffer);
        return buffer;
    }
    PluginHost host;
};

TEST_F(HostParameters, EveryRowAsTheTableGivesIt) {
    ASSERT_EQ(host.effect()->numParams, 117);
    std::istringstream names(nameList);
    for (int32_t tag = 0; tag < 117; ++tag) {
        std::string name;
        ASSERT_TRUE(names >> name);
        SCOPED_TRACE(name);
        EXPECT_EQ(text(effGetParamName, tag), name);
        // The label repeats the name: there is no separate unit for the host.
        EXPECT_EQ(text(effGetParamLabel, tag), name);

        VstParameterProperties p;
        std::memset(&p, 0x5A, sizeof p);
        EXPECT_EQ(host.dispatch(effGetParameterProperties, tag, 0, &p), 1);
        EXPECT_EQ(p.label, name);
        EXPECT_EQ(p.flags, tag >= 102 && tag <= 115 ? kVstParameterIsSwitch : 0);
        EXPECT_EQ(host.dispatch(effCanBeAutomated, tag), 1);

        const float value = host.getParameter(tag);
        if (initial[tag] != kept) {
            EXPECT_FLOAT_EQ(value, initial[tag]);
        }
        // "%f %s" with an empty unit: six decimals and a trailing space.
        char expected[64];
        std::snprintf(expected, sizeof expected, "%f ", double(value));
        EXPECT_EQ(text(effGetParamDisplay, tag), expected);
    }
}

TEST_F(HostParameters, BeyondTheTableIsEmpty) {
    for (int32_t index : {117, 118, 500}) {
        EXPECT_EQ(text(effGetParamName, index), "empty");
        EXPECT_EQ(text(effGetParamDisplay, index), "empty");
        VstParameterProperties p{};
        EXPECT_EQ(host.dispatch(effGetParameterProperties, index, 0, &p), 0);
        EXPECT_STREQ(p.label, "empty");
        EXPECT_EQ(host.getParameter(index), 0.0f);
    }
}

TEST_F(HostParameters, AutomationRoundTripsThroughTheMappedForms) {
    // The raw value is the truth: what the host sets is what it reads back, also for
    // parameters whose effect receives a quantised or rescaled form.
    for (int32_t index : {0, 1, 18, 22, 42, 61, 101, 105, 116}) {
        host.setParameter(index, 0.3141f);
        EXPECT_FLOAT_EQ(host.getParameter(index), 0.3141f) << index;
    }
}

} // namespace
