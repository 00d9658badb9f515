// Bad input samples reaching any effect: NaN and infinities count as silence, and no
// input whatsoever leaves an effect's output non-finite.

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "engine/MFEffectChain.h"
#include "engine/MFRoundingGuard.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

namespace {

constexpr float rate = 44100.0f;
constexpr std::size_t length = 66150; // 1.5 s: the loop effects capture and replay the bursts

// The gate parameter of each gated effect, in chain order; -1 for the others.
constexpr int32_t gateIndex[MFEffectChain::size] = {4,  4,  5,  3,  3,  3,  2, -1,
                                                    -1, -1, -1, -1, -1, -1, -1};

// Every effect of a chain, opened fully wet with its lane's gate on.
struct OpenChain {
    TestContext context{rate};
    MFEffectChain chain{context.info};
    std::vector<EffectDriver> drivers;

    OpenChain() {
        drivers.reserve(MFEffectChain::size);
        chain.stutter.setParameter(0, 0.5f); // away from unity gain, so the stage works
        chain.stutter.setParameter(1, 0.3f);
        chain.tonalDelay.setParameter(MFTonalDelay::parameterLevel, 0.5f);
        chain.tonalDelay.gateOn();
        chain.filter.setParameter(MFVEXFilter::parameterResonance, 1.0f);
        for (int k = 0; k < MFEffectChain::size; ++k) {
            drivers.emplace_back(*chain.all()[k], gateIndex[k]);
            drivers.back().setGate(1.0f);
            drivers.back().setMix(1.0f);
            drivers.back().setRunPattern({64, 17, 1});
        }
    }
    // The output of effect k alone for this input.
    void run(int k, std::vector<float>& l, std::vector<float>& r) {
        MFRoundingGuard truncation;
        drivers[std::size_t(k)].run(l, r);
    }
};

std::vector<float> music(unsigned seed) {
    std::vector<float> x = signal::noise(length, seed);
    const std::vector<float> tone = signal::sine(220.0, rate, length, 0.4f);
    for (std::size_t i = 0; i < length; ++i)
        x[i] = 0.3f * x[i] + tone[i];
    return x;
}

// Bursts of the given values: single samples, a whole tick, and a ragged run.
void burst(std::vector<float>& x, const std::vector<float>& values) {
    std::size_t v = 0;
    auto put = [&](std::size_t from, std::size_t count) {
        for (std::size_t i = from; i < from + count; ++i)
            x[i] = values[v++ % values.size()];
    };
    put(100, 1);
    put(1000, 2);
    put(6400, 64);
    put(20011, 37);
    put(50000, 5);
}

const char* const names[MFEffectChain::size] = {
    "X-Loop",  "Loop",  "ScratchLoop", "Reverse", "Stretch", "Vinyl", "TapeStop", "Tonal-Delay",
    "Stutter", "Crush", "Filter",      "Phaser",  "Chorus",  "Delay", "Reverb"};

} // namespace

// NaN and infinite samples give exactly what silence at those samples gives, in every
// effect, both channels, down to the last bit and over the whole run.
TEST(EffectInputGuard, NonFiniteSamplesCountAsSilence) {
    const float inf = std::numeric_limits<float>::infinity();
    const std::vector<float> bad = {std::numeric_limits<float>::quiet_NaN(), inf, -inf,
                                    -std::numeric_limits<float>::quiet_NaN()};
    OpenChain poisoned, silent;
    for (int k = 0; k < MFEffectChain::size; ++k) {
        SCOPED_TRACE(names[k]);
        std::vector<float> l = music(1), r = music(2);
        std::vector<float> zl = l, zr = r;
        burst(l, bad);
        burst(r, bad);
        burst(zl, {0.0f});
        burst(zr, {0.0f});
        poisoned.run(k, l, r);
        silent.run(k, zl, zr);
        ASSERT_TRUE(signal::allFinite(l.data(), length));
        ASSERT_TRUE(signal::allFinite(r.data(), length));
        EXPECT_EQ(0, std::memcmp(l.data(), zl.data(), length * sizeof(float)));
        EXPECT_EQ(0, std::memcmp(r.data(), zr.data(), length * sizeof(float)));
    }
}

// Absurdly large finite samples, up to the largest float, never make any output sample of
// any effect non-finite: no filter, feedback path or quantiser overflows.
TEST(EffectInputGuard, HugeSamplesLeaveEveryOutputFinite) {
    const std::vector<float> huge = {FLT_MAX, -FLT_MAX, 1e30f, -3e38f, 1e20f};
    OpenChain chain;
    for (int k = 0; k < MFEffectChain::size; ++k) {
        SCOPED_TRACE(names[k]);
        std::vector<float> l = music(3), r = music(4);
        burst(l, huge);
        burst(r, huge);
        chain.run(k, l, r);
        EXPECT_TRUE(signal::allFinite(l.data(), length));
        EXPECT_TRUE(signal::allFinite(r.data(), length));
    }
}
