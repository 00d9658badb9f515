#pragma once

#include <cstdint>

// The process-wide generator behind every random fill: a Park-Miller style state in
// int32 with 32-bit wrap-around and a truncating remainder, so the state can go negative.
// Shared by all instances in the process, like the clipboards; editor threads only.
class MFRandom {
public:
    static constexpr int32_t initialSeed = 645637;
    static constexpr int32_t multiplier = 16807;
    static constexpr int32_t modulus = 2147483647;

    // Advances the state and returns the new state.
    static int32_t nextState();
    // Advances the state and maps it to roughly 0..1: state * 2^-32 + 0.5.
    static float next();
    static int32_t state();
    static void reseed(int32_t seed = initialSeed);

    // The pure step, for callers that keep their own state.
    static constexpr int32_t step(int32_t s) {
        const int32_t wrapped = int32_t(uint32_t(s) * uint32_t(multiplier));
        return wrapped % modulus;
    }
    static constexpr float toUnit(int32_t s) { return float(s) * 2.3283064e-10f + 0.5f; }
};
