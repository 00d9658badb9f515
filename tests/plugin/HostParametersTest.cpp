// The host's view of the 117 parameters, checked row by row against the parameter
// table as published to users: names, switch property, defaults and display text.

#include "tools/host/PluginHost.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

using namespace vst;

namespace {

constexpr float kept = -1.0f; // a value a lane, table or mouse area keeps

struct HostRow {
    int32_t tag;
    const char* name;
    float initial;
    bool isSwitch;
};

const HostRow hostRows[] = {
    {0, "PatternKeys", kept, false},
    {1, "masterlevel", 0.50475, false},
    {2, "XloopSize", 0.5197, false},
    {3, "XloopEnvelope", 1, false},
    {4, "XloopSizechng", 0.8247, false},
    {5, "XloopPitchChng", 0.5, false},
    {6, "XloopMix", 1, false},
    {7, "LoopSize", 0.4797, false},
    {8, "LoopxFade", 0.4998, false},
    {9, "LoopDir", 1, false},
    {10, "LoopDecay", 1, false},
    {11, "LoopMix", 1, false},
    {12, "ScratchSize", 0.7, false},
    {13, "ScratchFWD", 0.2498, false},
    {14, "ScratchFwdSlope", 0.6336, false},
    {15, "ScratchBWD", 0.3349, false},
    {16, "ScratchBwdSlope", 0.6897, false},
    {17, "ScratchMix", 1, false},
    {18, "ReversSize", 0.7299, false},
    {19, "ReversXfade", 0.4894, false},
    {20, "ReverseDecay", 1, false},
    {21, "ReversMix", 1, false},
    {22, "StretchSpeed", 0.5148, false},
    {23, "StretchGrains", 0.199, false},
    {24, "StretchFade", 0.4946, false},
    {25, "StretchMix", 1, false},
    {26, "VinylSpeed", 0.3998, false},
    {27, "VinylSize", 0.2796, false},
    {28, "VinylSlope", 0.685, false},
    {29, "StopMix", 1, false},
    {30, "TonalTune", 0.284248, false},
    {31, "TonalFeed", 0.9096, false},
    {32, "TonalWidth", 0.505, false},
    {33, "TonalHP", 0.1699, false},
    {34, "TonalLevel", 0.829943, false},
    {35, "TonalMix", 0.3899, false},
    {36, "StutterTempo", 0.666667, false},
    {37, "StutterAttack", 0, false},
    {38, "StutterDecay", 0.009999, false},
    {39, "StutterMix", 0.9989, false},
    {40, "CrushBit", 0.155, false},
    {41, "CrushReduce", 0.5, false},
    {42, "CrushDistort", 0, false},
    {43, "CrushMix", 1, false},
    {44, "FilterCutoff", 0, false},
    {45, "FilterReso", 0.6393, false},
    {46, "FilterPeak", 0.35, false},
    {47, "FilterAttack", 0, false},
    {48, "FilterDecay", 0.6448, false},
    {49, "FilterMix", 1, false},
    {50, "PhaserRate", 0.3849, false},
    {51, "PhaserStages", 1, false},
    {52, "PhaserDepth", 0.4899, false},
    {53, "PhaserFeed", 0.51, false},
    {54, "PhaserWidth", 0.7776, false},
    {55, "PhaserMix", 1, false},
    {56, "ChorusRate", 0.19, false},
    {57, "ChorusDepth", 0.4994, false},
    {58, "ChorusFeed", 0.4998, false},
    {59, "ChorusWidth", 0.2316, false},
    {60, "ChorusMix", 0.4299, false},
    {61, "DelayLeft", 0.7037, false},
    {62, "DelayFeed", 0.2588, false},
    {63, "DelayDiff", 0.4881, false},
    {64, "DelayWidth", 1, false},
    {65, "DelayDryLev", kept, false},
    {66, "DelayMix", 0.4199, false},
    {67, "ReverbRoom", 0.7198, false},
    {68, "ReverbDamp", 0.7044, false},
    {69, "ReverbWidth", 0.5068, false},
    {70, "ReverbHP", 0.1444, false},
    {71, "ReverbDryLevel", kept, false},
    {72, "ReverbMix", 0.2642, false},
    {73, "XloopSmoothA", 0, false},
    {74, "XloopSmoothB", 0, false},
    {75, "LoopSmoothA", 0, false},
    {76, "LoopSmoothB", 0, false},
    {77, "StretchSmoothA", 0, false},
    {78, "StretchSmoothB", 0, false},
    {79, "ScratchSmoothA", 0.02, false},
    {80, "ScratchSmoothB", 0, false},
    {81, "ReverseSmoothA", 0, false},
    {82, "ReverseSmoothB", 0, false},
    {83, "VinylSmoothA", 0.04, false},
    {84, "VinylSmoothB", 0.1296, false},
    {85, "TonalSmoothA", 0, false},
    {86, "TonalSmoothB", 0.0499, false},
    {87, "StutterSmoothA", 0, false},
    {88, "StutterSmoothB", 1, false},
    {89, "CrushSmoothA", 0, false},
    {90, "CrushSmoothB", 0, false},
    {91, "FilterSmoothA", 0, false},
    {92, "FilterSmoothB", 0.1296, false},
    {93, "PhaserSmoothA", 0, false},
    {94, "PhaserSmoothB", 0.2298, false},
    {95, "ChorusSmoothA", 0, false},
    {96, "ChorusSmoothB", 0, false},
    {97, "DelaySmoothA", 0, false},
    {98, "DelaySmoothB", 0, false},
    {99, "ReverbSmoothA", 0, false},
    {100, "ReverbSmoothB", 0, false},
    {101, "GlobalWet", 1, false},
    {102, "Bypass_X_Loop", 0.5, true},
    {103, "Bypass_Loop", 0.5, true},
    {104, "Bypass_Scratchlo_", 0.5, true},
    {105, "Bypass_Reverse", 0.5, true},
    {106, "Bypass_Stretch", 0.5, true},
    {107, "Bypass_Vinyl", 0.5, true},
    {108, "Bypass_Tonaldela_", 0.5, true},
    {109, "Bypass_Stutter", 0.5, true},
    {110, "Bypass_Crush", 0.5, true},
    {111, "Bypass_Filter", 0.5, true},
    {112, "Bypass_Phaser", 0.5, true},
    {113, "Bypass_Chorus", 0.5, true},
    {114, "Bypass_Delay", 0.5, true},
    {115, "Bypass_Reverb", 0.5, true},
    {116, "Swing", 0, false},
};

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
    for (const HostRow& row : hostRows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(text(effGetParamName, row.tag), row.name);
        // The label repeats the name: there is no separate unit for the host.
        EXPECT_EQ(text(effGetParamLabel, row.tag), row.name);

        VstParameterProperties p;
        std::memset(&p, 0x5A, sizeof p);
        EXPECT_EQ(host.dispatch(effGetParameterProperties, row.tag, 0, &p), 1);
        EXPECT_STREQ(p.label, row.name);
        EXPECT_EQ(p.flags, row.isSwitch ? kVstParameterIsSwitch : 0);
        EXPECT_EQ(host.dispatch(effCanBeAutomated, row.tag), 1);

        const float value = host.getParameter(row.tag);
        if (row.initial != kept) {
            EXPECT_FLOAT_EQ(value, row.initial);
        }
        // "%f %s" with an empty unit: six decimals and a trailing space.
        char expected[64];
        std::snprintf(expected, sizeof expected, "%f ", double(value));
        EXPECT_EQ(text(effGetParamDisplay, row.tag), expected);
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
