// Renders of the factory content through the plug-in library must not depend on what
// the host did before playback (stopped blocks, an earlier export) nor on how it slices
// its blocks: bit for bit, not within a tolerance. And the content must leave headroom.

#include "plugin/FactoryRenders.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using factory::Render;

TEST(RepeatableRender, EveryFactoryStateIgnoresPrerollAndSlicing) {
    // Against playback from the first block in whole ticks: stopped pre-rolls of 0 to
    // 200 blocks, and blocks of 1, 37, 1024 samples and of random sizes.
    const Render reference{};
    std::vector<Render> others(4);
    others[0].prerollBlocks = 1, others[0].prerollSize = 37, others[0].blockSize = 37;
    others[1].prerollBlocks = 200, others[1].prerollSize = 64, others[1].blockSize = 1;
    others[2].prerollBlocks = 57, others[2].prerollSize = 100, others[2].blockSize = 0;
    others[3].prerollBlocks = 0, others[3].blockSize = 1024;
    ASSERT_FALSE(factory::allStates().empty());
    for (const factory::State& state : factory::allStates()) {
        const std::vector<float> expected = factory::render(state, reference);
        for (const Render& how : others)
            EXPECT_EQ(factory::difference(expected, factory::render(state, how)), "")
                << state.name << ", pre-roll " << how.prerollBlocks << " x " << how.prerollSize
                << ", blocks of " << (how.blockSize ? std::to_string(how.blockSize) : "random");
    }
}

// Each whole state played as `reference` and as `other` gives the same bits.
void expectWholeStatesAlike(const Render& reference, const Render& other) {
    for (const factory::State& state : factory::allStates()) {
        if (state.name.rfind("Presets/", 0) != 0)
            continue;
        const std::vector<float> expected = factory::render(state, reference);
        EXPECT_EQ(factory::difference(expected, factory::render(state, other)), "") << state.name;
    }
}

TEST(RepeatableRender, ASecondExportMatchesTheFirst) {
    // The same region exported twice by one instance, a couple of seconds apart.
    Render how;
    how.blockSize = 512;
    for (const factory::State& state : factory::allStates()) {
        if (state.name.rfind("Presets/", 0) != 0)
            continue;
        const auto [first, second] = factory::renderTwice(state, how, 400);
        EXPECT_EQ(factory::difference(first, second), "") << state.name;
    }
}

TEST(RepeatableRender, AHostLoopFromMidSongAndNoteModeIgnorePrerollAndSlicing) {
    // Playback from an odd step inside a host loop that wraps twice within the render.
    Render looped;
    looped.start = 5.25;
    looped.cycle = true;
    looped.cycleStart = 4.0;
    looped.cycleEnd = 7.0;
    looped.seconds = 3.5;
    Render other = looped;
    other.prerollBlocks = 30, other.prerollSize = 1000, other.blockSize = 0;
    expectWholeStatesAlike(looped, other);

    // A held note drives the sequence in note mode and picks the pattern in all others.
    Render held;
    held.holdNote = true;
    other = held;
    other.prerollBlocks = 45, other.prerollSize = 37, other.blockSize = 0;
    expectWholeStatesAlike(held, other);
}

// No preset takes the built-in drum loop (whose own peak is -1.9 dBFS through the plug-in)
// above -1 dBFS anywhere in its four bars.
TEST(FactoryLevels, NoPresetTakesTheLoopAboveMinusOneDbfs) {
    constexpr double ceilingDbfs = -1.0;
    factory::Render how;
    how.seconds = 8.0; // the whole loop: four bars at 120 bpm
    how.blockSize = 512;
    // A held key runs the note-mode presets; the others play pattern 0 as without it.
    how.holdNote = true;
    for (const factory::State& state : factory::allStates()) {
        std::vector<float> rates = {44100.0f};
        // The whole states at 48 kHz as well, where the Filter's top octave lies higher.
        if (state.name.rfind("Presets/", 0) == 0)
            rates.push_back(48000.0f);
        for (float rate : rates) {
            how.rate = rate;
            const std::vector<float> out = factory::render(state, how);
            const double peak =
                20.0 * std::log10(double(signal::peak(out.data(), out.size())) + 1e-30);
            EXPECT_LE(peak, ceilingDbfs) << state.name << " at " << rate << " Hz";
            RecordProperty(state.name + " @" + std::to_string(int(rate)), std::to_string(peak));
        }
    }
}

} // namespace
