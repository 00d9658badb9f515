#pragma once

#include "engine/MFEffectChain.h"
#include "support/EffectHarness.h"

#include <cstdint>
#include <string>
#include <vector>

// Every effect of a chain, each with its own driver that sends its lane's gate (for the
// seven gated effects) and mix at every tick. Tests that hold for all effects take one
// effect of it by its place in the chain.
struct EffectChainRig {
    static constexpr int size = MFEffectChain::size;
    // The effects' places in the chain.
    enum Stage {
        xLoop,
        loop,
        scratchLoop,
        reverse,
        stretch,
        vinyl,
        tapeStop,
        tonalDelay,
        stutter,
        crush,
        filter,
        phaser,
        chorus,
        delay,
        reverb
    };
    // The gate parameter of each effect in chain order; -1 where the lane has none.
    static const int32_t gateIndex[size];
    // Names for test output, in chain order.
    static const char* const names[size];
    // A test name part for effect k: letters and digits only.
    static std::string testName(int k);

    TestContext context;
    MFEffectChain chain{context.info};
    std::vector<EffectDriver> drivers;

    explicit EffectChainRig(float rate = 44100.0f, double tempo = 120.0);
    MFEffect& effect(int k) { return *chain.all()[k]; }
    EffectDriver& driver(int k) { return drivers[std::size_t(k)]; }
    // Gate open (where there is one) and fully wet, from the next tick on.
    void open(int k);
};
