// What the effects show: their names and their parameters' names, defaults, display texts
// and option menus, byte for byte as the panels, the host and the preset files use them.

#include "effects/MFOptionMenuInterface.h"
#include "support/EffectChainRig.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {
using Stage = EffectChainRig::Stage;
using enum EffectChainRig::Stage;

struct Menu : MFOptionMenuInterface {
    std::vector<std::string> entries;
    void addEntry(const char* text) override { entries.emplace_back(text); }
};

TEST(EffectLabels, NamesAndParameterNames) {
    const struct {
        int k;
        const char* name;
        std::vector<const char*> parameters;
    } cases[] = {
        {xLoop, "Looper", {"Size", "Env", "S.Chng", "P.Chng", "Gate"}},
        {loop, "Looper", {"Size", "Direction", "XFade", "Decay", "Gate"}},
        {scratchLoop,
         "ScratchLooper",
         {"Size", "Fwd Spin", "Fwd Slope", "Bwd Spin", "Bwd Slope", "Gate"}},
        {reverse, "Reverser", {"Size", "XFade", "dec", "trig"}},
        {stretch, "Stretcher", {"Amount", "Grainsize", "XFade", "Gate"}},
        {vinyl, "vinyl", {"speed", "size", "slope"}},
        {tapeStop, "Tapefinger", {"Time", "Slope"}},
        {tonalDelay, "Delay", {"Delay", "Feedback", "Width", "Cutoff", "Level"}},
        {stutter, "StereoPanAmp", {"L", "R"}},
        {crush, nullptr, {"bit", "srate", "dist"}},
        {filter, "filter", {"FilterCutoff", "FilterReso", "classicfiltertyp_", "vms"}},
        {delay, nullptr, {"Time_Le", "diff", "Feedbac", "width"}},
    };
    EffectChainRig rig;
    char text[64];
    for (const auto& c : cases) {
        MFEffect& fx = rig.effect(c.k);
        SCOPED_TRACE(EffectChainRig::names[c.k]);
        if (c.name) {
            EXPECT_STREQ(fx.getName(), c.name);
        }
        for (std::size_t i = 0; i < c.parameters.size(); ++i) {
            fx.getParameterName(int32_t(i), text);
            EXPECT_STREQ(text, c.parameters[i]);
        }
    }
    // Past the last parameter every effect names the place "unused".
    for (int k = 0; k < EffectChainRig::size; ++k) {
        rig.effect(k).getParameterName(rig.effect(k).getParameterCount(), text);
        EXPECT_STREQ(text, "unused") << EffectChainRig::names[k];
    }
}

TEST(EffectLabels, Defaults) {
    const struct {
        int k;
        int32_t from;
        std::vector<float> defaults; // from that parameter on
    } cases[] = {
        {xLoop, 0, {0.6f, 1.0f, 0.5f, 0.5f, 0.5f}},
        {loop, 0, {0.6f, 1.0f, 0.2f, 0.5f, 0.5f}},
        {scratchLoop, 0, {1.0f}},
        {scratchLoop, 5, {0.0f}},
        {reverse, 0, {0.5f, 0.5f, 0.5f, 0.5f}},
        {stretch, 0, {0.6f, 1.0f, 0.2f, 0.5f}},
        {vinyl, 0, {0.8499f, 1.0f, 0.9799f, 1.0f}},
        {crush, 1, {0.22f}},
        {delay, 1, {0.2699f, 0.1499f, 0.7198f, 1.0f}},
    };
    EffectChainRig rig;
    for (const auto& c : cases)
        for (std::size_t i = 0; i < c.defaults.size(); ++i) {
            const int32_t p = c.from + int32_t(i);
            EXPECT_FLOAT_EQ(rig.effect(c.k).getParameterDefault(p), c.defaults[i])
                << EffectChainRig::names[c.k] << " parameter " << p;
        }
}

TEST(EffectLabels, DisplayTexts) {
    const struct {
        int k;
        int32_t index;
        float value;
        const char* text;
    } cases[] = {
        {xLoop, 0, 1.0f, "bar"},
        {xLoop, 1, 0.5f, "50.00 %"},
        {xLoop, 2, 0.25f, "-50.00 %"},
        {xLoop, 3, 0.25f, "-50.00 %"},
        {loop, 0, 1.0f, "bar"},
        {loop, 0, 0.0f, "1\\128T"},
        {loop, 1, 0.75f, "50.00 %"},
        {loop, 2, 1.0f, "100 %"},
        {loop, 3, 0.3f, ""},
        {scratchLoop, 0, 1.0f, "1\\2"},
        {scratchLoop, 1, 5e-5f, "-100 %"},
        {scratchLoop, 3, 0.75f, "50.00 %"},
        {scratchLoop, 5, 1.0f, "TODO"},
        {reverse, 0, 1.0f, "bar"},
        {reverse, 0, 0.0f, "1\\128T"},
        {reverse, 1, 0.25f, "25.00 %"},
        {reverse, 2, 0.25f, ""},
        {stretch, 0, 1.0f, "100 %"},
        {stretch, 1, 0.25f, "-50.00 %"},
        {stretch, 2, 0.125f, "12.50 %"},
        {stretch, 3, 0.125f, ""},
        {vinyl, 0, 0.3f, "todo"},
        {vinyl, 3, 0.3f, "todo"},
        {tapeStop, 0, 0.0f, "1\\128T"},
        {tapeStop, 0, 1.0f, "bar"},
        {tapeStop, 1, 0.5f, "0.00 %"},
        {tonalDelay, 0, 60.0f / 126.0f, "C3"},
        {tonalDelay, 0, 70.0f / 126.0f, "A#3"},
        {tonalDelay, 4, 0.5f, ""},
        {crush, 1, 0.3f, "todo"},
        {filter, 0, 0.3f, "todo"},
        {filter, 3, 0.3f, "todo"},
        {phaser, 3, 0.667f, "5 Stages"},
        {phaser, 1, 0.5f, "50.00 %"},
        {chorus, 0, 0.5f, "todo"},
        {delay, 0, 0.2f, "todo"},
    };
    EffectChainRig rig;
    char text[64];
    for (const auto& c : cases) {
        rig.effect(c.k).getParameterDisplay(c.index, c.value, text);
        EXPECT_STREQ(text, c.text)
            << EffectChainRig::names[c.k] << " parameter " << c.index << " at " << c.value;
    }
    // The Phaser's free-running rate shows a number.
    rig.chain.phaser.setOption(0, 0);
    rig.chain.phaser.getParameterDisplay(0, 0.2f, text);
    EXPECT_STREQ(text, "20.00");
}

// Bipolar knobs, step counts and the note-value menus, which follow the division variant.
TEST(EffectLabels, BipolarKnobsStepsAndMenus) {
    EffectChainRig rig;
    const struct {
        int k;
        int32_t index;
        bool bipolar;
    } knobs[] = {{loop, 1, true},        {loop, 2, false},    {stretch, 1, true},
                 {stretch, 0, false},    {tapeStop, 1, true}, {scratchLoop, 3, true},
                 {scratchLoop, 2, false}};
    for (const auto& c : knobs)
        EXPECT_EQ(rig.effect(c.k).isBipolar(c.index), c.bipolar)
            << EffectChainRig::names[c.k] << " parameter " << c.index;
    EXPECT_FLOAT_EQ(rig.chain.tonalDelay.getParameterSteps(0), 127.0f);
    EXPECT_FLOAT_EQ(rig.chain.phaser.getParameterSteps(3), 8.0f);
    EXPECT_FLOAT_EQ(rig.chain.phaser.getParameterSteps(0), 16.0f);

    const struct {
        int k;
        std::size_t count;
        const char *first, *last;
    } menus[] = {{xLoop, 16, "bar", "1\\128T"},
                 {loop, 16, "bar", "1\\128T"},
                 {reverse, 16, "bar", "1\\128T"},
                 {scratchLoop, 10, "1\\2", "1\\32T"}};
    for (const auto& c : menus) {
        SCOPED_TRACE(EffectChainRig::names[c.k]);
        MFEffect& fx = rig.effect(c.k);
        Menu menu;
        fx.fillOptions(0, menu);
        ASSERT_EQ(menu.entries.size(), c.count);
        EXPECT_EQ(menu.entries.front(), c.first);
        EXPECT_EQ(menu.entries.back(), c.last);
        EXPECT_FLOAT_EQ(fx.getParameterSteps(0), float(c.count));
    }
    Menu all;
    rig.chain.loop.fillOptions(0, all);
    EXPECT_EQ(all.entries[4], "1\\4");
    EXPECT_EQ(all.entries[2], "1\\2");
    for (const int k : {loop, reverse}) {
        rig.effect(k).setDivisionSet(MFDivisionSet::straight);
        Menu straight;
        rig.effect(k).fillOptions(0, straight);
        EXPECT_LT(straight.entries.size(), 16u);
        EXPECT_FLOAT_EQ(rig.effect(k).getParameterSteps(0), float(straight.entries.size()));
    }
}

// An index past the parameters changes none of them (the Stutter's amp takes any index
// other than 0 as its right gain).
TEST(EffectLabels, UnknownIndexesChangeNothing) {
    EffectChainRig rig;
    for (int k = 0; k < EffectChainRig::size; ++k) {
        if (k == stutter)
            continue;
        MFEffect& fx = rig.effect(k);
        std::vector<float> before;
        for (int32_t p = 0; p < fx.getParameterCount(); ++p)
            before.push_back(fx.getParameterValue(p));
        fx.setParameter(fx.getParameterCount() + 2, 0.37f);
        fx.setParameter(-1, 0.37f);
        for (int32_t p = 0; p < fx.getParameterCount(); ++p)
            EXPECT_EQ(fx.getParameterValue(p), before[std::size_t(p)])
                << EffectChainRig::names[k] << " parameter " << p;
    }
}

} // namespace
